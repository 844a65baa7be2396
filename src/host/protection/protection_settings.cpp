#include "host/protection/protection_settings.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/settings/ini_values.h"

namespace vnq {
namespace {

constexpr std::string_view kSection = "protection";
constexpr int kMost = 1'000'000'000;
constexpr int kADayS = 86'400;
constexpr int kSlowestMs = 60'000;

using Settings = ProtectionSettings;

constexpr ProtectionKey Flag(std::string_view key, bool Settings::*flag) {
  return {.key = key, .flag = flag};
}
constexpr ProtectionKey Number(std::string_view key, int highest, int Settings::*number) {
  return {.key = key, .number = number, .highest = highest};
}
constexpr ProtectionKey List(std::string_view key, AddressList Settings::*list) {
  return {.key = key, .list = list};
}

constexpr ProtectionKey kKeys[] = {
    Flag("login_first", &Settings::loginFirst),
    Flag("sender_is_user", &Settings::senderIsUser),
    List("phone_log_from", &Settings::phoneLogFrom),
    List("interface_information_from", &Settings::interfaceInformationFrom),
    List("control_from", &Settings::controlFrom),
    List("endpoint_from", &Settings::endpointFrom),
    Number("connections_per_minute", kMost, &Settings::connectionsPerMinute),
    Number("records_per_second", kMost, &Settings::recordsPerSecond),
    Number("address_records_per_second", kMost, &Settings::addressRecordsPerSecond),
    List("unlimited_from", &Settings::unlimitedFrom),
    Number("longest_record", kMost, &Settings::longestRecord),
    Number("longest_list", kMost, &Settings::longestList),
    Number("unread_timeout_s", kADayS, &Settings::unreadTimeoutS),
    Number("login_failures", kMost, &Settings::loginFailures),
    Number("login_address_failures", kMost, &Settings::loginAddressFailures),
    Number("login_lock_s", kADayS, &Settings::loginLockS),
    Number("login_slowdown_ms", kSlowestMs, &Settings::loginSlowdownMs),
    Flag("hide_passwords_in_log", &Settings::hidePasswordsInLog),
    Flag("hash_passwords", &Settings::hashPasswords),
    Flag("sweep_all_ports", &Settings::sweepAllPorts),
    Flag("clear_slots", &Settings::clearSlots),
    Flag("receipt_when_stored", &Settings::receiptWhenStored),
    Flag("restart_in_background", &Settings::restartInBackground),
};

void ReadList(IniValues& values, const ProtectionKey& key, AddressList& list) {
  std::string text, wrong;
  if (!values.Read(kSection, key.key, text) || list.Parse(text, wrong)) return;
  values.Fail(kSection, key.key, text,
              "a list of addresses and networks: \"" + wrong + "\" is none");
}

void ReadKey(IniValues& values, const ProtectionKey& key, Settings& settings) {
  if (key.flag != nullptr) values.Read(kSection, key.key, settings.*key.flag);
  if (key.number != nullptr) values.Read(kSection, key.key, 0, key.highest, settings.*key.number);
  if (key.list != nullptr) ReadList(values, key, settings.*key.list);
}

bool IsUp(const ProtectionKey& key, const Settings& settings) {
  if (key.flag != nullptr) return settings.*key.flag;
  // Who is not limited, and how long a lock lasts, limit and lock nothing.
  if (key.list != nullptr) {
    return key.list != &Settings::unlimitedFrom && (settings.*key.list).IsGiven();
  }
  return key.number != &Settings::loginLockS && settings.*key.number > 0;
}

}  // namespace

bool ProtectionSettings::AllDown() const {
  return std::none_of(std::begin(kKeys), std::end(kKeys),
                      [this](const ProtectionKey& key) { return IsUp(key, *this); });
}

std::span<const ProtectionKey> ProtectionKeys() {
  return kKeys;
}

void ReadProtection(IniValues& values, ProtectionSettings& settings) {
  std::vector<std::string_view> names;
  for (const ProtectionKey& key : kKeys) {
    names.push_back(key.key);
    ReadKey(values, key, settings);
  }
  values.KnowOnly(kSection, names);
}

}  // namespace vnq
