// The engine: four type fields in, one named action out.
#include "host/server_log.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

constexpr size_t kType1 = 4, kType2 = 5, kType3 = 6, kType4 = 7;  // elements of the record

struct VerificationCase {
  const char* type1;
  const char* type2;
  const char* type3;  // null: not looked at
  const char* type4;  // null: not looked at
  void (*action)(const Verification& run);
};

constexpr const char* kAny = nullptr;

// The first row that fits decides.
constexpr VerificationCase kCases[] = {
    {"1", "1", "1", kAny, FriendRequest},     {"1", "1", "2", "1", FriendAccepted},
    {"1", "1", "2", "2", FriendRefused},      {"1", "1", "2", "3", FriendRefusedAndBlocked},
    {"1", "2", kAny, kAny, FriendDeleted},    {"2", "3", kAny, kAny, RelayToUser},
    {"2", "4", kAny, kAny, RelayToUser},      {"2", "1", "1", kAny, JoinRequest},
    {"2", "1", "2", "0", RelayToUser},        {"2", "1", "2", "1", ApplicationAccepted},
    {"2", "1", "2", "2", ApplicationRefused}, {"2", "1", "2", "3", ApplicationRefusedAndBlocked},
    {"2", "2", "1", kAny, MemberLeaves},      {"2", "2", "2", "0", RelayToUser},
    {"2", "2", "2", "1", GroupDisbanded},
};

bool Fits(const Expr& field, const char* wanted) {
  return wanted == kAny || Is(field, wanted);
}

}  // namespace

void ProcessVerification(Host& host, Fields& fields, SlotIndex slot) {
  for (const VerificationCase& each : kCases) {
    if (Fits(fields[kType1], each.type1) && Fits(fields[kType2], each.type2) &&
        Fits(fields[kType3], each.type3) && Fits(fields[kType4], each.type4)) {
      return each.action(Verification(host, fields, slot));
    }
  }
}

void HandleMessengverify(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  ProcessVerification(host, fields, slot);
}

void LogMessengverify(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im264")), fields[2],
                 remoteIp, LogIcon::kVerification);
}

}  // namespace vnq
