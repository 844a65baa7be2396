#include "host/settings/texts.h"

namespace vnq {

std::string_view LanguageFolder(int languageId) {
  switch (languageId) {
    case 1028:
      return "Chinese_Traditional";
    case 1033:
      return "English";
    case 2052:
      return "Chinese_Simplified";
    default:
      return "";
  }
}

std::string LangIniPath(std::string_view appPath, int languageId) {
  std::string path(appPath);
  path.append("\\Language\\").append(LanguageFolder(languageId));
  return path + "\\lang.ini";
}

}  // namespace vnq
