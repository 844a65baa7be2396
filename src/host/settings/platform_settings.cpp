#include "host/settings/platform_settings.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <iterator>

#include "host/settings/ini_values.h"
#include "support/numbers.h"

namespace vnq {

namespace {

constexpr int kHighestLanguageId = 0xFFFF;
constexpr int kHighestCodePage = 65535;
constexpr int kLongestTimeoutS = 3600;
constexpr int kLongestBusyTimeoutMs = 600000;
constexpr int kLongestGatherMs = 100;
constexpr int kHighestLimitMb = 65536;
constexpr int kSlowestMs = 3'600'000;

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

// One of several words, by its place among them.
std::optional<size_t> ReadWord(IniValues& reader, std::string_view section, std::string_view key,
                               std::initializer_list<std::string_view> words) {
  std::string value;
  if (!reader.Read(section, key, value)) return std::nullopt;
  const auto found = std::find(words.begin(), words.end(), value);
  if (found != words.end()) return static_cast<size_t>(found - words.begin());
  std::string wanted = "one of";
  for (const std::string_view word : words) {
    wanted.append(word == *words.begin() ? " " : ", ").append(word);
  }
  reader.Fail(section, key, value, wanted);
  return std::nullopt;
}

void ReadDurability(IniValues& reader, SqlDurability& durability) {
  constexpr SqlDurability kDurabilities[] = {SqlDurability::kReceipt, SqlDurability::kCommit,
                                             SqlDurability::kNone};
  const auto word = ReadWord(reader, "database", "durability", {"receipt", "commit", "none"});
  if (word) durability = kDurabilities[*word];
}

void ReadCommit(IniValues& reader, SqlCommit& commit) {
  const auto word = ReadWord(reader, "database", "commit", {"turn", "statement"});
  if (word) commit = *word == 0 ? SqlCommit::kTurn : SqlCommit::kStatement;
}

void ReadLog(IniValues& reader, LogSettings& log) {
  if (ReadWord(reader, "log", "level", {"debug", "info", "warning", "error"})) {
    reader.Read("log", "level", log.level);
  }
  if (ReadWord(reader, "log", "format", {"text", "json"})) reader.Read("log", "format", log.format);
  reader.Read("log", "slow_ms", 0, kSlowestMs, log.slowMs);
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

PlatformSettings ReadAll(IniValues& reader, std::string_view localeName) {
  PlatformSettings settings;
  settings.languageId = LanguageIdOfLocale(localeName);
  ReadLocale(reader, settings);
  ReadAddress(reader, "network", settings.bindAddress);
  reader.Read("network", "gather_ms", 0, kLongestGatherMs, settings.gatherMs);
  ReadDatabase(reader, settings);
  ReadLimits(reader, settings.limits);
  ReadDrives(reader, settings.drives);
  ReadLog(reader, settings.log);
  ReadAddress(reader, "metrics", settings.metricsAddress);
  reader.Read("metrics", "port", 0, 65535, settings.metricsPort);
  ReadProtection(reader, settings.protection);
  ReadNodes(reader, settings.nodes);
  ReadListeners(reader, settings.bindAddress, settings.listeners);
  reader.Read("services", "stop_command", settings.stopCommand);
  reader.Read("services", "start_command", settings.startCommand);
  return settings;
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
  PlatformSettings settings = ReadAll(reader, localeName);
  return reader.ok() ? std::optional(std::move(settings)) : std::nullopt;
}

PlatformSettings ReadUsablePlatformSettings(const std::string& path, std::string_view localeName,
                                            std::vector<std::string>& faults) {
  const IniData data = IniData::Parse(ReadFile(path));
  IniValues reader(path, data, faults);
  PlatformSettings settings = ReadAll(reader, localeName);
  if (!IsIpv4Address(settings.bindAddress)) settings.bindAddress = PlatformSettings().bindAddress;
  return settings;
}

bool ApplyOverrides(const PlatformOverrides& overrides, PlatformSettings& settings,
                    std::string& error) {
  if (overrides.bindAddress && !IsIpv4Address(*overrides.bindAddress)) {
    error = "--bind " + *overrides.bindAddress + " is not an IPv4 address";
    return false;
  }
  if (overrides.bindAddress) settings.bindAddress = *overrides.bindAddress;
  if (overrides.logLevel) settings.log.level = *overrides.logLevel;
  if (overrides.logFormat) settings.log.format = *overrides.logFormat;
  if (overrides.languageId) settings.languageId = *overrides.languageId;
  settings.codePageIsGiven = settings.codePageIsGiven || overrides.codePage;
  if (overrides.codePage) settings.codePage = *overrides.codePage;
  if (!settings.codePageIsGiven) settings.codePage = DefaultCodePage(settings.languageId);
  return true;
}

}  // namespace vnq
