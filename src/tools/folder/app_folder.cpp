#include "tools/folder/app_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/settings/settings.h"
#include "host/settings/texts.h"
#include "support/numbers.h"
#include "tools/folder/shipped_texts.h"

namespace vnq {

namespace {

constexpr std::string_view kDataBaseIni = R"(; Settings of the server, read once when it starts.
; A value may have at most 127 bytes in the code page that platform.ini names.

[server_connection]
; access: the embedded database, a file below the program's folder; anything else: a database server
DB_TYPE=access
DataBaseName=\Web\Data\vnq.db
DataPaw=
; for a database server
DB_USER=
DB_PWD=
DB_NAME=
DB_SERVER=
DB_PORT=
; 1: managers are told of new applications and group files
CheckIM0=0
; 1: the mobile push
CheckIM1=0
offline_information=0
; 1: broadcasts are kept in the database
chats=0
; a number that every client is told at login
control_computer=0
; host of the web service beside this server
DataBaseIp=127.0.0.1

[message_push]
; seconds between two pushes, at most 32; 0: never
interval_time=30

[delete_chats]
; 1: when the server starts, messages of chatsday days ago and older go
options=0
chatsday=30

[delete_offline_files]
; 1: records of offline files go after 15 days; 2: after 60 days
options=0

[delete_offline_notices]
; 1: notices of noticeday days ago and older go
options=0
noticeday=30
)";

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

[drives]
; the folder that stands for a drive letter in paths from settings and tables
;D=/srv/im

[services]
; %s is the service's name
;stop_command=systemctl stop %s
;start_command=systemctl start %s
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
  return MakeFile(paths_.Map(DataBaseIniPath(appPath_)), kDataBaseIni);
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
  std::filesystem::create_directories(folder, error);
  return error ? Fail("folder " + folder.string(), error.message()) : true;
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
  NoteMade(file);
  return true;
}

void AppFolderMaker::NoteMade(std::string_view what) {
  out_ << "made " << what << "\n";
  madeSomething_ = true;
}

bool AppFolderMaker::Fail(const std::string& what, const std::string& why) {
  err_ << "cannot make " << what << ": " << why << "\n";
  return false;
}

}  // namespace vnq
