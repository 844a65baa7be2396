#include "host/settings/ini_values.h"

#include <algorithm>
#include <utility>

#include "support/ascii_case.h"
#include "support/numbers.h"

namespace vnq {

std::optional<std::string> IniValues::Find(std::string_view section, std::string_view key) const {
  auto value = ok() ? data_.Find(section, key) : std::nullopt;
  return value && !value->empty() ? value : std::nullopt;
}

bool IniValues::Read(std::string_view section, std::string_view key, std::string& variable) {
  const auto value = Find(section, key);
  if (value) variable = *value;
  return value.has_value();
}

bool IniValues::Read(std::string_view section, std::string_view key, int lowest, int highest,
                     int& variable) {
  const auto value = Find(section, key);
  if (!value) return false;
  const auto number = ParseInt32(*value);
  if (!number || *number < lowest || *number > highest) {
    Fail(
        section, key, *value,
        "a number from " + FormatNumber(int64_t{lowest}) + " to " + FormatNumber(int64_t{highest}));
    return false;
  }
  variable = *number;
  return true;
}

bool IniValues::Read(std::string_view section, std::string_view key, bool& variable) {
  const auto value = Find(section, key);
  if (!value) return false;
  const bool yes = SameButForCase(*value, "yes");
  if (!yes && !SameButForCase(*value, "no")) {
    Fail(section, key, *value, "one of yes, no");
    return false;
  }
  variable = yes;
  return true;
}

void IniValues::KnowOnly(std::string_view section, std::span<const std::string_view> keys) {
  for (const std::string& key : data_.Keys(section)) {
    if (!ok() || std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
    Tell(path_ + ": [" + std::string(section) + "] " + key + " is not a key of this section");
  }
}

void IniValues::Tell(std::string fault) {
  if (faults_ != nullptr) return faults_->push_back(std::move(fault));
  *error_ = std::move(fault);
  ok_ = false;
}

void IniValues::Fail(std::string_view section, std::string_view key, std::string_view value,
                     std::string_view wanted) {
  if (!ok()) return;
  Tell(path_ + ": [" + std::string(section) + "] " + std::string(key) + "=" + std::string(value) +
       " is not " + std::string(wanted));
}

}  // namespace vnq
