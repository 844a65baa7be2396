#include "tools/settings/setting_command.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "host/settings/program_folder.h"
#include "host/settings/setting_keys.h"
#include "platform/system/file_access.h"
#include "platform/system/ini_file.h"
#include "support/ascii_case.h"
#include "support/numbers.h"
#include "tools/company/company.h"
#include "tools/folder/app_folder.h"
#include "tools/settings/ini_edit.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

constexpr std::string_view kListener = "listener ";

std::string ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool Failed(std::string& error, std::string why) {
  error = std::move(why);
  return false;
}

// In its place at once, with the mode and the owner that it had.
bool ReplaceFile(const std::string& path, const std::string& bytes, std::string& error) {
  std::string growing = path + ".XXXXXX";
  const int descriptor = mkostemp(growing.data(), O_CLOEXEC);
  struct stat before {};
  const bool wasThere = stat(path.c_str(), &before) == 0;
  bool done =
      descriptor >= 0 &&
      write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
      fchmod(descriptor, wasThere ? before.st_mode & 07777 : 0640) == 0 &&
      (!wasThere || geteuid() != 0 || fchown(descriptor, before.st_uid, before.st_gid) == 0) &&
      fsync(descriptor) == 0 && rename(growing.c_str(), path.c_str()) == 0;
  if (!done) error = path + ": " + std::strerror(errno);
  if (descriptor >= 0) close(descriptor);
  if (!done) unlink(growing.c_str());
  if (done && !wasThere) GiveToFolderOwner(path);
  return done;
}

// --- Where a name leads ---

/// One setting: how it is read and written.
class Place {
 public:
  virtual ~Place() = default;
  /// Nothing where it is not set.
  virtual std::optional<std::string> Get(std::string& error) = 0;
  virtual bool Set(const std::string& value, std::string& error) = 0;
};

class DataBaseIniPlace : public Place {
 public:
  DataBaseIniPlace(const ProgramFolder& folder, const SettingKey& key)
      : folder_(folder), key_(key) {}

  std::optional<std::string> Get(std::string&) override {
    const auto value = IniData::Parse(ReadBytes(folder_.ini)).Find(key_.section, key_.key);
    if (!value) return std::nullopt;
    return folder_.codePage->FromBytes(*value);
  }

  bool Set(const std::string& value, std::string& error) override {
    const std::string at = "[" + std::string(key_.section) + "] " + std::string(key_.key);
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != value.npos) {
      return Failed(error, at + ": a value is one line");
    }
    if (!folder_.codePage->Holds(value)) {
      return Failed(error, at + ": code page " + std::to_string(folder_.codePage->number()) +
                               " does not hold all characters of " + value);
    }
    const std::string bytes = folder_.codePage->ToBytes(value);
    if (bytes.size() > kIniValueBytes) {
      return Failed(error, at + ": " + std::to_string(bytes.size()) +
                               " bytes, and what stands behind 127 is not read");
    }
    if (key_.kind == SettingKey::Kind::kNumber && !ParseInt16(value)) {
      return Failed(error, at + "=" + value + " is no number from -32768 to 32767");
    }
    if (key_.key == "DB_TYPE" && value != "access" && AsciiLower(value) == "access") {
      return Failed(error, at + ": the letter case counts; access is the embedded database");
    }
    return ReplaceFile(folder_.ini,
                       SetIniValue(ReadBytes(folder_.ini), key_.section, key_.key, bytes), error);
  }

 private:
  const ProgramFolder& folder_;
  const SettingKey& key_;
};

class PlatformIniPlace : public Place {
 public:
  PlatformIniPlace(const std::string& appPath, std::string section, std::string key)
      : path_(PlatformIniPath(appPath)), section_(std::move(section)), key_(std::move(key)) {}

  std::optional<std::string> Get(std::string&) override {
    return IniData::Parse(ReadBytes(path_)).Find(section_, key_);
  }

  // The new file is read as the server reads it before it takes the old one's place.
  bool Set(const std::string& value, std::string& error) override {
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != value.npos) {
      return Failed(error, "[" + section_ + "] " + key_ + ": a value is one line");
    }
    const std::string bytes = SetIniValue(ReadBytes(path_), section_, key_, value);
    const std::string tried = path_ + ".tried";
    std::ofstream(tried, std::ios::binary) << bytes;
    const auto settings = ReadPlatformSettings(tried, SystemLocaleName(), error);
    unlink(tried.c_str());
    if (!settings) {
      if (error.starts_with(tried)) error.replace(0, tried.size(), path_);
      return false;
    }
    if (!CodePage::Open(settings->codePage)) {
      return Failed(error, "[locale] code_page=" + value + " is not known; 936, 950 and 1252 are");
    }
    return ReplaceFile(path_, bytes, error);
  }

 private:
  std::string path_, section_, key_;
};

/// A column of one row of a table.
class RowPlace : public Place {
 public:
  /// keys  the columns that tell the row, and their values.
  RowPlace(const std::string& appPath, const std::string& table, const std::string& where,
           std::string column, std::vector<std::pair<std::string, std::string>> keys)
      : appPath_(appPath),
        select_("Select * from " + table + " where " + where),
        column_(std::move(column)),
        keys_(std::move(keys)) {}

  std::optional<std::string> Get(std::string& error) override {
    if (!Open(error)) return std::nullopt;
    Cursor row(company_->database());
    row.Open(Sql(select_));
    if (row.RecordCount() == 0) return std::nullopt;
    return OrEmpty(row[column_]);
  }

  bool Set(const std::string& value, std::string& error) override {
    return Open(error) && company_->Change(
                              [&] {
                                Cursor row(company_->database());
                                row.Open(Sql(select_));
                                if (row.RecordCount() == 0) {
                                  row.AddNew();
                                  for (const auto& [key, is] : keys_) row.Set(key, is);
                                }
                                row.Set(column_, value);
                                row.Update();
                                return true;
                              },
                              error);
  }

 private:
  bool Open(std::string& error) {
    if (!company_) company_ = Company::Open(appPath_, error);
    return company_ != nullptr;
  }

  std::string appPath_, select_, column_;
  std::vector<std::pair<std::string, std::string>> keys_;
  std::unique_ptr<Company> company_;
};

std::unique_ptr<Place> FindRow(const std::string& appPath, const std::vector<std::string>& parts) {
  if (parts[0] == "tab_config" && parts.size() == 3) {
    return std::make_unique<RowPlace>(
        appPath, "Tab_Config",
        "Col_Name='" + parts[1] + "' and Col_Genre='" + parts[2] + "' and Col_Disabled=0",
        "Col_Data",
        std::vector<std::pair<std::string, std::string>>{
            {"Col_Name", parts[1]}, {"Col_Genre", parts[2]}, {"Col_Disabled", "0"}});
  }
  if (parts[0] == "plug" && parts.size() == 2 && ParseInt32(parts[1])) {
    return std::make_unique<RowPlace>(
        appPath, "Plug", "Plug_Site=" + parts[1] + " order by Plug_Index desc", "Plug_Target",
        std::vector<std::pair<std::string, std::string>>{{"Plug_Site", parts[1]},
                                                         {"Plug_Index", "1"}});
  }
  return nullptr;
}

std::vector<std::string> Parts(const std::string& name) {
  std::vector<std::string> parts(1);
  for (const char c : name) {
    if (c == '.') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::unique_ptr<Place> FindPlatformPlace(const std::string& appPath, const std::string& name) {
  const std::vector<std::string> parts = Parts(name);
  if (parts.size() != 2) return nullptr;
  const std::string section = AsciiLower(parts[0]), key = AsciiLower(parts[1]);
  if (!IsPlatformIniKey(section, key)) return nullptr;
  return std::make_unique<PlatformIniPlace>(appPath, section, key);
}

std::unique_ptr<Place> FindPlace(const ProgramFolder& folder, const std::string& name,
                                 std::string& error) {
  std::vector<std::string> parts = Parts(name);
  parts[0] = AsciiLower(parts[0]);
  if (name.find('\'') == name.npos) {
    if (auto row = FindRow(folder.appPath, parts)) return row;
  }
  if (parts.size() == 2) {
    for (const SettingKey& key : SettingKeys()) {
      if (parts[0] == key.section && AsciiLower(parts[1]) == AsciiLower(key.key))
        return std::make_unique<DataBaseIniPlace>(folder, key);
    }
  }
  error = "there is no setting " + name + "; vnqctl setting list shows them, and beside them are " +
          "Tab_Config.NAME.GENRE and Plug.SITE";
  return nullptr;
}

using PlaceWork = bool (*)(const SettingOptions&, Place&, std::ostream&, std::string&);
using Work = bool (*)(const SettingOptions&, const ProgramFolder&, std::ostream&, std::string&);

// A setting of platform.ini can be looked at and changed also where the file keeps the folder from
// being opened.
int WithPlace(const SettingOptions& options, PlaceWork work, std::ostream& out, std::ostream& err) {
  std::string error;
  auto place = FindPlatformPlace(AbsoluteAppPath(options.appPath), options.name);
  std::optional<ProgramFolder> folder;
  if (!place) {
    folder = OpenProgramFolder(options.appPath, {}, SystemLocaleName(), error);
    if (folder) place = FindPlace(*folder, options.name, error);
  }
  const bool done = place && work(options, *place, out, error);
  return done ? kExitDone : Fail(err, "setting", error);
}

int WithFolder(const SettingOptions& options, Work work, std::ostream& out, std::ostream& err) {
  std::string error;
  const auto folder = OpenProgramFolder(options.appPath, {}, SystemLocaleName(), error);
  const bool done = folder && work(options, *folder, out, error);
  return done ? kExitDone : Fail(err, "setting", error);
}

bool List(const SettingOptions& options, const ProgramFolder& folder, std::ostream& out,
          std::string&) {
  Listing listing{{"setting", "value"}, {}};
  std::string ignored;
  const auto add = [&](std::string_view section, std::string_view key, bool isSecret,
                       Place&& place) {
    const auto value = place.Get(ignored);
    listing.rows.push_back({std::string(section) + "." + std::string(key),
                            isSecret && value && !value->empty() ? "***" : value.value_or("")});
  };
  for (const SettingKey& key : SettingKeys()) {
    add(key.section, key.key, key.kind == SettingKey::Kind::kSecret, DataBaseIniPlace(folder, key));
  }
  for (const IniKey& key : PlatformIniKeys()) {
    if (key.section == "drives" || key.section.starts_with(kListener)) continue;
    add(key.section, key.key, false, PlatformIniPlace(folder.appPath, key.section, key.key));
  }
  listing.Print(options.json, out);
  return true;
}

bool Get(const SettingOptions& options, Place& place, std::ostream& out, std::string& error) {
  const auto value = place.Get(error);
  if (!value && error.empty()) error = options.name + " is not set";
  if (value) out << *value << "\n";
  return value.has_value();
}

bool Set(const SettingOptions& options, Place& place, std::ostream& out, std::string& error) {
  if (!place.Set(options.value, error)) return false;
  const bool isReadAgain = AsciiLower(options.name).starts_with("log.");
  out << "the server reads it when it starts" << (isReadAgain ? ", and on SIGHUP\n" : "\n");
  return true;
}

}  // namespace

int RunSettingList(const SettingOptions& options, std::ostream& out, std::ostream& err) {
  return WithFolder(options, List, out, err);
}

int RunSettingGet(const SettingOptions& options, std::ostream& out, std::ostream& err) {
  return WithPlace(options, Get, out, err);
}

int RunSettingSet(const SettingOptions& options, std::ostream& out, std::ostream& err) {
  return WithPlace(options, Set, out, err);
}

void AddSettingCommand(CLI::App& app, int& exitCode) {
  CLI::App* setting = app.add_subcommand("setting", "Look at settings and change them");
  setting->require_subcommand(1);
  const auto add = [&](const char* name, const char* words,
                       int (*run)(const SettingOptions&, std::ostream&, std::ostream&)) {
    const auto options = std::make_shared<SettingOptions>();
    CLI::App* command = setting->add_subcommand(name, words);
    AddAppPath(*command, options->appPath)->required();
    command->callback(
        [options, run, &exitCode] { exitCode = run(*options, std::cout, std::cerr); });
    return std::pair(command, options.get());
  };
  const char* kName =
      "SECTION.KEY of DataBase.ini or platform.ini, Tab_Config.NAME.GENRE or Plug.SITE";
  const auto [list, listed] = add("list", "Show the settings of the two files", RunSettingList);
  list->add_flag("--json", listed->json, "As a JSON array, an object a setting");
  const auto [get, asked] = add("get", "Print one setting", RunSettingGet);
  get->add_option("NAME", asked->name, kName)->required();
  const auto [set, wanted] = add("set", "Change one setting", RunSettingSet);
  set->add_option("NAME", wanted->name, kName)->required();
  set->add_option("VALUE", wanted->value, "Its new value")->required();
}

}  // namespace vnq
