#include <algorithm>

#include "host/settings/setting_keys.h"
#include "platform/system/ini_file.h"
#include "support/ascii_case.h"
#include "support/nearest_name.h"
#include "tools/doctor/doctor.h"
#include "tools/folder/app_folder.h"

namespace vnq {

namespace {

using Names = std::vector<std::string>;

Names KeysOf(const std::vector<IniKey>& known, const std::string& section) {
  Names keys;
  for (const IniKey& each : known) {
    if (each.section == section) keys.push_back(each.key);
  }
  return keys;
}

Names SectionsOf(const std::vector<IniKey>& known) {
  Names sections;
  for (const IniKey& each : known) {
    if (sections.empty() || sections.back() != each.section) sections.push_back(each.section);
  }
  return sections;
}

std::vector<IniKey> DataBaseIniKeys() {
  std::vector<IniKey> keys;
  keys.reserve(SettingKeys().size());
  for (const SettingKey& key : SettingKeys()) {
    keys.push_back({std::string(key.section), AsciiLower(key.key)});
  }
  return keys;
}

/// The names of one file against those that are known.
class KeyCheck {
 public:
  KeyCheck(const std::string& path, std::vector<IniKey> known, bool isShared, Findings& findings)
      : path_(path), known_(std::move(known)), isShared_(isShared), findings_(findings) {}

  void Check() {
    const IniData data = IniData::Parse(ReadWholeFile(path_));
    const Names sections = SectionsOf(known_);
    for (const std::string& section : data.Sections()) {
      const bool isKnown = section.starts_with("listener ") ||
                           std::find(sections.begin(), sections.end(), section) != sections.end();
      if (isKnown) {
        for (const std::string& key : data.Keys(section)) CheckKey(section, key);
      } else if (!data.Keys(section).empty()) {
        Say("section [" + section + "]", NearestName(section, sections));
      }
    }
  }

 private:
  void CheckKey(const std::string& section, const std::string& key) {
    if (isShared_ ? IsKnown(section, key) : IsPlatformIniKey(section, key)) return;
    const std::string listener = section.starts_with("listener ") ? "listener clients" : section;
    Say("[" + section + "] " + key, NearestName(key, KeysOf(known_, listener)));
  }

  bool IsKnown(const std::string& section, const std::string& key) const {
    const Names keys = KeysOf(known_, section);
    return std::find(keys.begin(), keys.end(), key) != keys.end();
  }

  // Other programs of the suite may keep settings of their own in a file that is shared.
  void Say(const std::string& what, const std::string& nearest) {
    const std::string line = path_ + ": " + what + " is nothing that the server reads";
    if (!nearest.empty()) {
      findings_.Warning(line + "; did you mean " + nearest + "? Correct it in the file");
    } else if (isShared_) {
      findings_.Ok(line);
    } else {
      findings_.Warning(line + "; vnqctl setting list shows what it does");
    }
  }

  const std::string path_;
  const std::vector<IniKey> known_;
  const bool isShared_;
  Findings& findings_;
};

}  // namespace

void ExamineKeys(const ProgramFolder& folder, Findings& findings) {
  KeyCheck(PlatformIniPath(folder.appPath), PlatformIniKeys(), false, findings).Check();
  KeyCheck(folder.ini, DataBaseIniKeys(), true, findings).Check();
}

}  // namespace vnq
