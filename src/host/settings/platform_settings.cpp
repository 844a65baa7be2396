#include "host/settings/platform_settings.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "host/settings/ini_values.h"
#include "support/numbers.h"

namespace vnq {

namespace {

constexpr int kHighestLanguageId = 0xFFFF;
constexpr int kHighestCodePage = 65535;
constexpr int kLongestTimeoutS = 3600;
constexpr int kLongestBusyTimeoutMs = 600000;
constexpr int kHighestLimitMb = 65536;

bool IsIpv4Address(std::string_view text) {
  int numbers = 0;
  while (numbers < 4) {
    const size_t end = std::min(text.find('.'), text.size());
    const std::string_view part = text.substr(0, end);
    if (part.empty() || part.size() > 3) return false;
    if (part.find_first_not_of("0123456789") != part.npos) return false;
    if (ParseInt16(part).value_or(256) > 255) return false;
    ++numbers;
    if (end == text.size()) return numbers == 4;
    text.remove_prefix(end + 1);
  }
  return false;
}

void ReadLocale(IniValues& reader, PlatformSettings& settings) {
  reader.Read("locale", "language_id", 0, kHighestLanguageId, settings.languageId);
  settings.codePage = DefaultCodePage(settings.languageId);
  settings.codePageIsGiven =
      reader.Read("locale", "code_page", 1, kHighestCodePage, settings.codePage);
}

void ReadAddress(IniValues& reader, std::string_view section, std::string& address) {
  if (!reader.Read(section, "bind_address", address) || IsIpv4Address(address)) return;
  reader.Fail(section, "bind_address", address, "an IPv4 address");
}

void ReadDurability(IniValues& reader, SqlDurability& durability) {
  std::string value;
  if (!reader.Read("database", "durability", value)) return;
  if (value == "receipt") {
    durability = SqlDurability::kReceipt;
  } else if (value == "commit") {
    durability = SqlDurability::kCommit;
  } else if (value == "none") {
    durability = SqlDurability::kNone;
  } else {
    reader.Fail("database", "durability", value, "one of receipt, commit, none");
  }
}

void ReadCommit(IniValues& reader, SqlCommit& commit) {
  std::string value;
  if (!reader.Read("database", "commit", value)) return;
  if (value == "turn" || value == "statement") {
    commit = value == "turn" ? SqlCommit::kTurn : SqlCommit::kStatement;
  } else {
    reader.Fail("database", "commit", value, "one of turn, statement");
  }
}

void ReadDatabase(IniValues& reader, PlatformSettings& settings) {
  reader.Read("database", "driver", settings.databaseDriver);
  reader.Read("database", "socket", settings.databaseSocket);
  reader.Read("database", "connect_timeout_s", 1, kLongestTimeoutS, settings.connectTimeoutS);
  reader.Read("database", "statement_timeout_s", 1, kLongestTimeoutS, settings.statementTimeoutS);
  reader.Read("database", "busy_timeout_ms", 0, kLongestBusyTimeoutMs, settings.busyTimeoutMs);
  ReadDurability(reader, settings.durability);
  ReadCommit(reader, settings.commit);
}

void ReadDrives(const IniValues& reader, std::map<std::string, std::string>& drives) {
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string drive(1, letter);
    if (const auto folder = reader.Find("drives", drive)) drives[drive] = *folder;
  }
}

void ReadLimits(IniValues& reader, LimitSettings& limits) {
  const std::pair<std::string_view, int*> keys[] = {
      {"connection_output_mb", &limits.connectionOutputMb},
      {"output_mb", &limits.outputMb},
      {"input_mb", &limits.inputMb},
      {"record_mb", &limits.recordMb},
      {"pending_mb", &limits.pendingMb},
      {"push_mb", &limits.pushMb},
  };
  for (const auto& [key, value] : keys) reader.Read("limits", key, 1, kHighestLimitMb, *value);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.erase(0, kByteOrderMark.size());
  return bytes;
}

}  // namespace

std::string SystemLocaleName() {
  for (const char* variable : {"LC_ALL", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

int LanguageIdOfLocale(std::string_view localeName) {
  const std::string_view name = localeName.substr(0, localeName.find_first_of(".@"));
  if (name == "zh_CN" || name == "zh_SG") return 2052;
  if (name == "zh_TW" || name == "zh_HK") return 1028;
  return name == "en_US" ? 1033 : 0;
}

int DefaultCodePage(int languageId) {
  if (languageId == 2052) return 936;
  return languageId == 1028 ? 950 : 1252;
}

std::string PlatformIniPath(std::string_view appPath) {
  return std::string(appPath) + "/platform.ini";
}

std::optional<PlatformSettings> ReadPlatformSettings(const std::string& path,
                                                     std::string_view localeName,
                                                     std::string& error) {
  const IniData data = IniData::Parse(ReadFile(path));
  IniValues reader(path, data, error);
  PlatformSettings settings;
  settings.languageId = LanguageIdOfLocale(localeName);
  ReadLocale(reader, settings);
  ReadAddress(reader, "network", settings.bindAddress);
  ReadDatabase(reader, settings);
  ReadLimits(reader, settings.limits);
  ReadDrives(reader, settings.drives);
  ReadAddress(reader, "metrics", settings.metricsAddress);
  reader.Read("metrics", "port", 0, 65535, settings.metricsPort);
  ReadProtection(reader, settings.protection);
  ReadNodes(reader, settings.nodes);
  ReadListeners(reader, settings.bindAddress, settings.listeners);
  reader.Read("services", "stop_command", settings.stopCommand);
  reader.Read("services", "start_command", settings.startCommand);
  return reader.ok() ? std::optional(std::move(settings)) : std::nullopt;
}

bool ApplyOverrides(const PlatformOverrides& overrides, PlatformSettings& settings,
                    std::string& error) {
  if (overrides.bindAddress && !IsIpv4Address(*overrides.bindAddress)) {
    error = "--bind " + *overrides.bindAddress + " is not an IPv4 address";
    return false;
  }
  if (overrides.bindAddress) settings.bindAddress = *overrides.bindAddress;
  if (overrides.languageId) settings.languageId = *overrides.languageId;
  settings.codePageIsGiven = settings.codePageIsGiven || overrides.codePage;
  if (overrides.codePage) settings.codePage = *overrides.codePage;
  if (!settings.codePageIsGiven) settings.codePage = DefaultCodePage(settings.languageId);
  return true;
}

}  // namespace vnq
