// The checks of vnqctl doctor, one group a source file. Each says what it found; a finding names
// the file, the key and the value, and what to do. Nothing is changed by any of them.
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "host/database/database.h"
#include "host/settings/program_folder.h"

namespace vnq {

/// What the checks have to say, one line a finding; or, as JSON, an array with an object a finding.
class Findings {
 public:
  explicit Findings(std::ostream& out, bool json = false) : out_(out), json_(json) {
    if (json_) out_ << '[';
  }

  /// The last line: how many there are.
  void Conclude();

  /// What was checked and is as it should be.
  void Ok(std::string_view what) { Line("ok", what); }

  /// The server works, but hardly as it is meant.
  void Warning(std::string_view what) {
    Line("warning", what);
    ++warnings_;
  }

  /// Something does not work.
  void Error(std::string_view what) {
    Line("error", what);
    ++errors_;
  }

  int errors() const { return errors_; }
  int warnings() const { return warnings_; }

 private:
  void Line(std::string_view kind, std::string_view what);

  std::ostream& out_;
  const bool json_;
  bool hasLines_ = false;
  int errors_ = 0;
  int warnings_ = 0;
};

/// The folder and its settings files. A value of platform.ini that cannot be used is an error, and
/// the default stands in its place for what is looked at behind it. Nothing comes back where there
/// is no such folder.
std::optional<ProgramFolder> ExamineFolder(const std::string& appPath, std::string_view localeName,
                                           Findings& findings);

/// Names of sections and keys in the two settings files that the server does not know.
void ExamineKeys(const ProgramFolder& folder, Findings& findings);

/// Whose the files of the folder are, who may read them, the room beside them, and the write-ahead
/// log of the embedded database, which must not have been opened yet.
void ExamineFiles(const ProgramFolder& folder, int64_t leastFreeMb, Findings& findings);

/// The keys of DataBase.ini and the rest of platform.ini.
void ExamineSettings(ProgramFolder& folder, Findings& findings);

/// The certificates of the listeners beside the six fixed ones.
void ExamineListeners(const ProgramFolder& folder, Findings& findings);

/// The language file of the configured language.
void ExamineTexts(ProgramFolder& folder, Findings& findings);

/// The client version file.
void ExamineVersionFile(const ProgramFolder& folder, Findings& findings);

/// Where to show how far the check of a large file has come.
struct CheckProgress {
  std::ostream* out = nullptr;  ///< null: nobody watches
  int64_t leastMb = 64;         ///< a smaller file is checked before anybody wonders
};

/// Opens the database and looks at what it is. Null when it cannot be used.
std::unique_ptr<Database> ExamineDatabase(const ProgramFolder& folder, CheckProgress progress,
                                          Findings& findings);

/// Tables, columns, indexes and required rows. False when statements would fail.
bool ExamineSchema(Database& database, const ProgramFolder& folder, Findings& findings);

/// Whether texts come back as they were written and compare as everywhere in the system, and
/// whether one of two equal rows can be changed: tried in a transaction that is rolled back.
void ExamineTextsInDatabase(Database& database, const ProgramFolder& folder, Findings& findings);

/// Whether the bus to the other nodes can be reached, and their database be shared; nothing where
/// the server is alone.
void ExamineNodes(const ProgramFolder& folder, Findings& findings);

/// Whether a process may have a connection for each device of all users. `process`: its number, or
/// "self".
void ExamineDescriptors(Database& database, const std::string& process, Findings& findings);

/// The server of the folder, where one runs.
struct RunningServer {
  bool runs = false, answers = false;
  std::string process = "self";  ///< its number, where it answers
};
RunningServer LookForServer(const ProgramFolder& folder, Findings& findings);

/// Whether the ports are free for a server, or who has them.
void ExaminePorts(const ProgramFolder& folder, const RunningServer& server, Findings& findings);

/// Users who seem to be online and have no session.
void ExaminePresence(Database& database, const ProgramFolder& folder, const RunningServer& server,
                     Findings& findings);

/// The picture root, the push address, the keyword lists, accounts and stored passwords.
void ExamineRows(Database& database, const ProgramFolder& folder, Findings& findings);

// --- For the sources of the checks ---

/// "/srv/im/Web/Data/DataBase.ini: [section] key=value".
std::string KeyAt(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value);

/// "; vnqctl setting set --app-path DIR NAME VALUE", the command that cures a finding.
std::string SettingCure(const ProgramFolder& folder, std::string_view name, std::string_view value);

/// What is wrong with how the bytes of a file in the configured code page were saved; empty when
/// nothing is.
std::string EncodingFault(std::string_view bytes, const CodePage& codePage);

/// The whole file; empty when it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace vnq
