// Guessing of passwords, made slow: failed logins are counted by name and address together, so that
// nobody can lock a stranger's name from elsewhere, and by address alone, whatever the names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/protection/protection_settings.h"
#include "host/protection/rate_limit.h"

namespace vnq {

class LoginGuard {
 public:
  explicit LoginGuard(const ProtectionSettings& settings) : settings_(settings) {}

  /// Begins an attempt, which counts as failed until Succeeded. False: the name is locked for this
  /// address, or the address for all names; the password is then not to be looked at.
  bool Begin(std::string_view name, std::string_view address, int64_t nowMs);

  /// The attempt was right after all. The name's failures from this address are forgotten.
  void Succeeded(std::string_view name, std::string_view address);

  /// How much later than others a failure is answered.
  int64_t SlowdownMs(std::string_view name, std::string_view address);

 private:
  static constexpr int64_t kLongestSlowdownMs = 10'000;

  struct Failures {
    int count = 0;
    int64_t lastMs = 0;
  };

  bool IsLocked(Failures& failures, int highest, int64_t nowMs) const;
  static std::string Key(std::string_view name, std::string_view address);

  const ProtectionSettings& settings_;
  RecentTable<Failures> byName_, byAddress_;
};

}  // namespace vnq
