// The files of a program's folder, made where they are missing.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings/platform_settings.h"
#include "platform/system/code_page.h"
#include "platform/system/paths.h"

namespace vnq {

struct IniKey {
  std::string section, key;
};

/// The keys of platform.ini, as a new file names them, those that it holds as comments included. Of
/// sections that may have any name, and of the drives, it has one for all.
std::vector<IniKey> PlatformIniKeys();

/// Whether platform.ini may hold a key, both names in lower case. Sections of listeners have any
/// name, and what one of them may hold, all may; a drive is any letter.
bool IsPlatformIniKey(std::string_view section, std::string_view key);

/// Makes folders and files below one program folder. Nothing that is there is touched; what root
/// makes belongs to the owner of the folder around it. What was made is said on `out`, what could
/// not be made on `err`.
class AppFolderMaker {
 public:
  AppFolderMaker(std::string appPath, std::ostream& out, std::ostream& err)
      : appPath_(std::move(appPath)), out_(out), err_(err) {}

  /// platform.ini, for a language and a code page. `loopbackOnly` binds the listeners to 127.0.0.1.
  bool MakePlatformIni(int languageId, int codePage, bool loopbackOnly);

  /// DataBase.ini with every key, for the embedded database.
  bool MakeDataBaseIni();

  /// The client version file, which lets every client in.
  bool MakeVersionFile();

  /// The language files in the deployment's code page. One that the page cannot hold is left out,
  /// which is said.
  bool MakeLanguageFiles(const CodePage& codePage, int languageId);

  /// The folders on the way to a file.
  bool MakeFoldersOf(const std::string& file);

  /// True when a file, folder or table was made.
  bool madeSomething() const { return madeSomething_; }
  void NoteMade(std::string_view what);

 private:
  bool MakeFile(const std::string& file, std::string_view bytes);
  bool MakeLanguageFile(std::string_view folder, const CodePage& codePage, bool isConfigured);
  bool Fail(const std::string& what, const std::string& why);

  std::string appPath_;
  PathMapper paths_;
  std::ostream& out_;
  std::ostream& err_;
  bool madeSomething_ = false;
};

}  // namespace vnq
