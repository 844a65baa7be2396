#include "tools/folder/app_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "host/settings/setting_keys.h"
#include "host/settings/texts.h"
#include "platform/system/file_access.h"
#include "support/numbers.h"
#include "tools/folder/shipped_texts.h"
#include "tools/terminal/command_line.h"

namespace vnq {

namespace {

constexpr std::string_view kRestOfPlatformIni =
    R"(; milliseconds that the server gives more messages to come where it has only stored some, so that
; they are one commit; whoever asks for something meanwhile waits for so long, and what one client
; sends in this time arrives in one piece; 0: none
;gather_ms=0

[database]
; for a database server: postgresql, or the name of an ODBC driver
;driver=FreeTDS
;connect_timeout_s=5
;statement_timeout_s=10
;socket=/var/run/postgresql
; how long a statement on the embedded database waits for another program's write
;busy_timeout_ms=2000
; receipt: what is acknowledged survives a power cut; commit: every statement is synced; none
;durability=receipt
; turn: what the server does between two looks at the network is one commit; statement: each is one
;commit=turn

[limits]
; what peers may have the server hold, in megabytes: waiting to be sent to one connection, which
; ends above it, and to all; received and not worked off; of one unfinished record, and of all; of
; notifications for the next push
;connection_output_mb=128
;output_mb=512
;input_mb=64
;record_mb=16
;pending_mb=128
;push_mb=4

[protection]
; walls against peers who mean harm, each down by itself; SECURITY.md tells what each gives, what it
; costs and which belong together
; commands of clients only behind a login, and only in the name of who has logged in
;login_first=no
;sender_is_user=no
; addresses and networks, such as 127.0.0.1,10.1.0.0/16, or none, that may take a user over without a
; password, write in anybody's name, use port 6003 and use port 6008
;phone_log_from=
;interface_information_from=
;control_from=
;endpoint_from=
; new connections of an address a minute, records of a connection and of an address a second; 0 is no
; limit, and who does not count
;connections_per_minute=0
;records_per_second=0
;address_records_per_second=0
;unlimited_from=
; bytes of a record, elements of a list in it, seconds for which a peer may take nothing; 0 is no limit
;longest_record=0
;longest_list=0
;unread_timeout_s=0
; failed logins of one name from one address, and of all names from one, until a lock of some seconds
;login_failures=0
;login_address_failures=0
;login_lock_s=300
;login_slowdown_ms=0
;hide_passwords_in_log=no
; cannot be taken back: only where no other program reads passwords
;hash_passwords=no
; slots of gone peers on 6001, 6002, 6003 and 6007 come back; a new connection inherits nothing
;sweep_all_ports=no
;clear_slots=no
; no receipt for what is not in the database; no standing still while a sibling service restarts
;receipt_when_stored=no
;restart_in_background=no

; listeners beside the six ports, a section each, with any name: which port's protocol, where, and how
; it travels; certificates are read again on SIGHUP
;[listener clients]
;protocol=6004
;address=0.0.0.0
;port=16004
;tls=yes
;certificate=/etc/vnq/fullchain.pem
;key=/etc/vnq/privkey.pem
; plain or websocket
;framing=plain
; from where connections come with a PROXY header, and none without
;proxy_from=127.0.0.1

[drives]
; the folder that stands for a drive letter in paths from settings and tables
;D=/srv/im

[services]
; %s is the service's name
;stop_command=systemctl stop %s
;start_command=systemctl start %s

[log]
; how much standard error tells (debug, info, warning, error) and how (text, json); milliseconds that
; nothing else could run in are told from here on, 0: never; all three are read again on SIGHUP
;level=info
;format=text
;slow_ms=1000

[nodes]
; several servers on one database server, see docs/nodes.md
;bus=nats://127.0.0.1:4222
;name=one
;cluster=vnq
;user=
;password=
;ca=

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

std::vector<IniKey> PlatformIniKeys() {
  std::vector<IniKey> keys;
  std::istringstream lines(PlatformIni(0, 0, false));
  std::string section;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(';')) line.erase(0, 1);
    const size_t equals = line.find('=');
    if (line.starts_with('[')) {
      section = line.substr(1, line.find(']') - 1);
    } else if (equals != line.npos && line.find(' ') > equals) {  // a sentence has blanks
      keys.push_back({section, line.substr(0, equals)});
    }
  }
  return keys;
}

bool IsPlatformIniKey(std::string_view section, std::string_view key) {
  constexpr std::string_view kListener = "listener ";
  if (section == "drives") return key.size() == 1;
  for (const IniKey& known : PlatformIniKeys()) {
    const bool isListener = known.section.starts_with(kListener) && section.starts_with(kListener);
    if ((isListener || known.section == section) && known.key == key) return true;
  }
  return false;
}

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
