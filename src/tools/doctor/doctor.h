// The checks of vnqctl doctor, one group a source file. Each says what it found; a finding names
// the file, the key and the value, and what to do. Nothing is changed by any of them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/database/database.h"
#include "host/database/database_engine.h"
#include "host/settings/ini_strings.h"
#include "host/settings/platform_settings.h"
#include "host/settings/settings.h"
#include "tools/doctor/findings.h"

namespace vnq {

/// A program's folder as its settings describe it.
struct ExaminedFolder {
  std::string appPath;  ///< absolute, without a separator at its end
  PlatformSettings platform;
  std::shared_ptr<const CodePage> codePage;  ///< never null
  IniStrings strings;
  Settings settings;
  DatabaseEngine engine = DatabaseEngine::kSqlite;
  std::string ini;  ///< path of DataBase.ini, for messages

  std::string Map(const std::string& path) const { return strings.paths().Map(path); }
};

/// platform.ini, without which nothing else can be read: null when it cannot be used.
std::unique_ptr<ExaminedFolder> ExamineFolder(const std::string& appPath,
                                              std::string_view localeName, Findings& findings);

/// The keys of DataBase.ini and the rest of platform.ini.
void ExamineSettings(ExaminedFolder& folder, Findings& findings);

/// The language file of the configured language.
void ExamineTexts(ExaminedFolder& folder, Findings& findings);

/// The client version file.
void ExamineVersionFile(const ExaminedFolder& folder, Findings& findings);

/// Opens the database and looks at what it is. Null when it cannot be used.
std::unique_ptr<Database> ExamineDatabase(const ExaminedFolder& folder, Findings& findings);

/// Tables, columns, indexes and required rows. False when statements would fail.
bool ExamineSchema(Database& database, const ExaminedFolder& folder, Findings& findings);

/// Whether texts come back as they were written and compare as everywhere in the system, and
/// whether one of two equal rows can be changed: tried in a transaction that is rolled back.
void ExamineTextsInDatabase(Database& database, const ExaminedFolder& folder, Findings& findings);

/// The picture root, the push address and the keyword lists.
void ExamineRows(Database& database, const ExaminedFolder& folder, Findings& findings);

/// Whether this server's ports are free, or taken by itself.
void ExaminePorts(const ExaminedFolder& folder, Findings& findings);

// --- For the sources of the checks ---

/// "/srv/im/Web/Data/DataBase.ini: [section] key=value".
std::string KeyAt(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value);

/// What is wrong with how the bytes of a file in the configured code page were saved; empty when
/// nothing is.
std::string EncodingFault(std::string_view bytes, const CodePage& codePage);

/// The whole file; empty when it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace vnq
