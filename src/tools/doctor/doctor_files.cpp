#include <algorithm>
#include <filesystem>

#include "host/settings/texts.h"
#include "host/values/fields.h"
#include "platform/system/file_access.h"
#include "platform/system/ini_file.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"
#include "tools/folder/shipped_texts.h"

namespace vnq {

namespace {

struct TextKey {
  std::string section, key;
};

// The keys of a language file that comes with the program.
std::vector<TextKey> ShippedKeys() {
  std::vector<TextKey> keys;
  std::string_view rest = ShippedLanguageFile("English");
  std::string section;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const size_t equals = line.find('=');
    if (line.starts_with('[')) {
      section = std::string(line.substr(1, line.find(']') - 1));
    } else if (!line.starts_with(';') && equals != line.npos) {
      keys.push_back({section, std::string(line.substr(0, equals))});
    }
  }
  return keys;
}

/// The checks of one language file.
class TextCheck {
 public:
  TextCheck(std::string path, const std::string& bytes, const CodePage& codePage,
            Findings& findings)
      : path_(std::move(path)),
        data_(IniData::Parse(bytes)),
        codePage_(codePage),
        findings_(findings) {}

  void Check() {
    const auto keys = ShippedKeys();
    for (const TextKey& key : keys) CheckKey(key);
    if (!missing_.empty()) {
      findings_.Warning(path_ + ": keys are missing and show nothing: " + missing_ +
                        "; take them from the file that vnqctl init --app-path OTHER writes");
    }
    if (!faulty_ && missing_.empty()) {
      findings_.Ok("texts: " + path_ + " has all " + std::to_string(keys.size()));
    }
  }

 private:
  void CheckKey(const TextKey& key) {
    const auto bytes = data_.Find(key.section, key.key);
    if (!bytes) {
      missing_ += (missing_.empty() ? "[" : ", [") + key.section + "] " + key.key;
      return;
    }
    const std::string text = codePage_.FromBytes(*bytes);
    const std::string at = KeyAt(path_, key.section, key.key, text);
    if (bytes->size() > kIniValueBytes) {
      Fault(at + " has " + std::to_string(bytes->size()) +
            " bytes in the code page, and what stands behind 127 is not read; shorten it");
    }
    if (text.find_first_of("|'") != text.npos) {
      Fault(at +
            " holds a vertical bar or a single quote, which breaks the record or statement"
            " that carries it; take it out");
    }
  }

  void Fault(const std::string& what) {
    findings_.Error(what);
    faulty_ = true;
  }

  std::string path_;
  IniData data_;
  const CodePage& codePage_;
  Findings& findings_;
  std::string missing_;
  bool faulty_ = false;
};

// The first line as the server takes it: NULs and tabs are blanks.
std::string FirstLine(const std::string& bytes) {
  std::string line = bytes.substr(0, bytes.find('\n'));
  if (line.ends_with('\r')) line.pop_back();
  std::replace(line.begin(), line.end(), '\0', ' ');
  std::replace(line.begin(), line.end(), '\t', ' ');
  return line;
}

}  // namespace

void ExamineTexts(ProgramFolder& folder, Findings& findings) {
  const int language = folder.platform.languageId;
  const std::string platformIni = PlatformIniPath(folder.appPath);
  if (LanguageFolder(language).empty()) {
    findings.Warning(KeyAt(platformIni, "locale", "language_id", std::to_string(language)) +
                     " has no texts, so people see none; 1033, 2052 and 1028 have");
    return;
  }
  const std::string path = folder.Map(LangIniPath(folder.appPath, language));
  const std::string unreadable = ReadFault(path);
  if (!unreadable.empty()) return findings.Error(unreadable);
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    findings.Error(path + " is missing, so people see no texts; vnqctl init --app-path " +
                   ShellWord(folder.appPath) + " writes it where code page " +
                   std::to_string(folder.codePage->number()) + " holds its characters");
    return;
  }
  const std::string bytes = ReadWholeFile(path);
  const std::string fault = EncodingFault(bytes, *folder.codePage);
  if (!fault.empty()) return findings.Error(path + ": " + fault);
  TextCheck(path, bytes, *folder.codePage, findings).Check();
}

void ExamineVersionFile(const ProgramFolder& folder, Findings& findings) {
  const std::string path = folder.Map(folder.appPath + "\\Web\\download\\log.txt");
  const std::string unreadable = ReadFault(path);
  if (!unreadable.empty()) return findings.Error(unreadable);
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    return findings.Warning(path +
                            " is missing, so clients of any version are let in; vnqctl init"
                            " --app-path " +
                            ShellWord(folder.appPath) + " writes 0|0");
  }
  const std::string line = FirstLine(ReadWholeFile(path));
  const auto versions = Fields::Split(line);
  const auto lowest = ToInt32(versions[0]), current = ToInt32(versions[1]);
  if (!lowest || !current) {
    return findings.Error(path + ": the first line is \"" + line +
                          "\", and lowest|current is expected, two numbers such as 1005|1007");
  }
  if (*lowest > *current) {
    return findings.Warning(path + ": " + line +
                            " refuses the current client itself; the lowest version stands first");
  }
  findings.Ok("version file: clients from " + std::to_string(*lowest) + " on are let in, " +
              std::to_string(*current) + " is current");
}

}  // namespace vnq
