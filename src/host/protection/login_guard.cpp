#include "host/protection/login_guard.h"

#include <algorithm>

#include "support/ascii_case.h"
#include "support/trim.h"

namespace vnq {

// The database finds a name in any letter case, and some find it with blanks behind it.
std::string LoginGuard::Key(std::string_view name, std::string_view address) {
  return std::string(address) + " " + AsciiLower(TrimBlanks(name));
}

// Failures are forgotten once a lock's time has passed without another one.
bool LoginGuard::IsLocked(Failures& failures, int highest, int64_t nowMs) const {
  if (nowMs - failures.lastMs >= int64_t{settings_.loginLockS} * 1000) failures.count = 0;
  return highest > 0 && failures.count >= highest;
}

bool LoginGuard::Begin(std::string_view name, std::string_view address, int64_t nowMs) {
  Failures& ofName = byName_[Key(name, address)];
  Failures& ofAddress = byAddress_[address];
  const bool nameLocked = IsLocked(ofName, settings_.loginFailures, nowMs);
  const bool addressLocked = IsLocked(ofAddress, settings_.loginAddressFailures, nowMs);
  if (nameLocked || addressLocked) return false;
  for (Failures* failures : {&ofName, &ofAddress}) {
    ++failures->count;
    failures->lastMs = nowMs;
  }
  return true;
}

void LoginGuard::Succeeded(std::string_view name, std::string_view address) {
  byName_.Erase(Key(name, address));
  Failures& ofAddress = byAddress_[address];
  ofAddress.count = std::max(0, ofAddress.count - 1);
}

int64_t LoginGuard::SlowdownMs(std::string_view name, std::string_view address) {
  const int64_t slowdown = int64_t{settings_.loginSlowdownMs} * byName_[Key(name, address)].count;
  return std::min(slowdown, kLongestSlowdownMs);
}

}  // namespace vnq
