#include "tools/folder/app_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/settings/setting_keys.h"
#include "host/settings/texts.h"
#include "platform/system/file_access.h"
#include "support/numbers.h"
#include "tools/folder/shipped_texts.h"
#include "tools/terminal/command_line.h"

namespace vnq {

namespace {

constexpr std::string_view kRestOfPlatformIni = R"(
[database]
; for a database server: postgresql, or the name of an ODBC driver
;driver=FreeTDS
;connect_timeout_s=5
;statement_timeout_s=10
; how long a statement on the embedded database waits for another program's write
;busy_timeout_ms=2000
; receipt: what is acknowledged survives a power cut; commit: every statement is synced; none
;durability=receipt
; turn: what the server does between two looks at the network is one commit; statement: each is one
;commit=turn

[limits]
; what peers may have the server hold, in megabytes: waiting to be sent to one connection, which ends
; above it, and to all; received and not worked off; of one unfinished record, and of all; of
; notifications for the next push
;connection_output_mb=128
;output_mb=512
;input_mb=64
;record_mb=16
;pending_mb=128
;push_mb=4

[drives]
; the folder that stands for a drive letter in paths from settings and tables
;D=/srv/im

[services]
; %s is the service's name
;stop_command=systemctl stop %s
;start_command=systemctl start %s

[metrics]
; a listener for a monitoring system: /metrics, /livez, /readyz; without a port there is none
;bind_address=127.0.0.1
;port=9464
)";

constexpr int kLanguages[] = {1033, 2052, 1028};

std::string PlatformIni(int languageId, int codePage, bool loopbackOnly) {
  std::string text =
      "; What this deployment tells about its machine (UTF-8). The command line wins.\n\n[locale]\n"
      "; 1033 English, 2052 simplified Chinese, 1028 traditional Chinese\n";
  text += "language_id=" + FormatNumber(int64_t{languageId}) + "\n";
  text += "; the code page of the wire and of the INI files: 936, 950, 1252, ...\n";
  text += "code_page=" + FormatNumber(int64_t{codePage}) + "\n";
  text += "\n[network]\n; address of all listeners; 0.0.0.0: every address of this machine\n";
  text += loopbackOnly ? "bind_address=127.0.0.1\n" : ";bind_address=0.0.0.0\n";
  return text.append(kRestOfPlatformIni);
}

}  // namespace

bool AppFolderMaker::MakePlatformIni(int languageId, int codePage, bool loopbackOnly) {
  return MakeFile(PlatformIniPath(appPath_), PlatformIni(languageId, codePage, loopbackOnly));
}

bool AppFolderMaker::MakeDataBaseIni() {
  return MakeFile(paths_.Map(DataBaseIniPath(appPath_)), NewDataBaseIni());
}

bool AppFolderMaker::MakeVersionFile() {
  return MakeFile(paths_.Map(appPath_ + "\\Web\\download\\log.txt"), "0|0\n");
}

bool AppFolderMaker::MakeLanguageFiles(const CodePage& codePage, int languageId) {
  bool ok = true;
  for (int language : kLanguages) {
    ok = MakeLanguageFile(LanguageFolder(language), codePage, language == languageId) && ok;
  }
  if (LanguageFolder(languageId).empty()) {
    out_ << "note: language id " << languageId << " has no texts, and the server will show none;"
         << " set language_id in " << PlatformIniPath(appPath_) << " to 1033, 2052 or 1028\n";
  }
  return ok;
}

bool AppFolderMaker::MakeLanguageFile(std::string_view folder, const CodePage& codePage,
                                      bool isConfigured) {
  const std::string_view text = ShippedLanguageFile(folder);
  if (codePage.Holds(text)) {
    return MakeFile(paths_.Map(appPath_ + "\\Language\\" + std::string(folder) + "\\lang.ini"),
                    codePage.ToBytes(text));
  }
  out_ << "left out the texts in " << folder << ": code page " << codePage.number()
       << " does not hold their characters";
  if (isConfigured) out_ << "; it is the configured language, so the server will show no texts";
  out_ << "\n";
  return true;
}

bool AppFolderMaker::MakeFoldersOf(const std::string& file) {
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) return true;
  if (!MakeFoldersOf(folder.string())) return false;
  std::filesystem::create_directory(folder, error);
  if (error) return Fail("folder " + folder.string(), error.message());
  GiveToFolderOwner(folder.string());
  return true;
}

bool AppFolderMaker::MakeFile(const std::string& file, std::string_view bytes) {
  if (!MakeFoldersOf(file)) return false;
  std::FILE* stream = std::fopen(file.c_str(), "wbx");
  if (stream == nullptr) return errno == EEXIST || Fail("file " + file, std::strerror(errno));
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
  if (std::fclose(stream) != 0 || !written) {
    const std::string why = std::strerror(errno);
    std::remove(file.c_str());
    return Fail("file " + file, why);
  }
  GiveToFolderOwner(file);
  NoteMade(file);
  return true;
}

void AppFolderMaker::NoteMade(std::string_view what) {
  out_ << "made " << what << "\n";
  madeSomething_ = true;
}

bool AppFolderMaker::Fail(const std::string& what, const std::string& why) {
  vnq::Fail(err_, "init", "cannot make " + what + ": " + why);
  return false;
}

}  // namespace vnq
