// The texts that a person sees, in the language of the machine.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/settings/ini_strings.h"

namespace vnq {

/// The folder of a language's texts by system locale identifier: 1028, 1033 and 2052 have one, any
/// other gives the empty text.
std::string_view LanguageFolder(int languageId);

/// The path of the texts below the program's folder, with backslashes. A language without a folder
/// leaves two of them in a row.
std::string LangIniPath(std::string_view appPath, int languageId);

class Texts {
 public:
  /// `strings` must outlive this object.
  Texts(IniStrings& strings, std::string_view appPath, int languageId)
      : strings_(strings), langIniPath_(vnq::LangIniPath(appPath, languageId)) {}

  /// The text of a key such as "im13" in the section IndexForm, read afresh. Empty when it is
  /// missing.
  std::string ReadLang(std::string_view key) { return ReadLang("IndexForm", key); }

  /// The text of a key in another section of the same file.
  std::string ReadLang(std::string_view section, std::string_view key) {
    return ReadIniString(langIniPath_, section, key);
  }

  /// Any value of any INI file; see IniStrings.
  std::string ReadIniString(std::string_view path, std::string_view section, std::string_view key) {
    return strings_.ReadIniString(path, section, key);
  }

  const std::string& LangIniPath() const { return langIniPath_; }

 private:
  IniStrings& strings_;
  std::string langIniPath_;
};

}  // namespace vnq
