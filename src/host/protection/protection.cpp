#include "host/protection/protection.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/host.h"
#include "host/slots/devices.h"
#include "host/slots/records.h"
#include "platform/net/handler_wait.h"

namespace vnq {
namespace {

constexpr uint16_t kControlPort = 6003;
constexpr uint16_t kEndpointPort = 6008;
constexpr int64_t kBurstSeconds = 10;

Rate PerSecond(int count) {
  return {.count = count, .periodMs = 1000, .holds = count * kBurstSeconds};
}
Rate PerMinute(int count) {
  return {.count = count, .periodMs = 60'000, .holds = count};
}

// Text that is no record counts as one.
int64_t RecordsIn(std::string_view text) {
  int64_t records = 0;
  for (size_t at = text.find(kRecordPrefix); at != text.npos;
       at = text.find(kRecordPrefix, at + kRecordPrefix.size())) {
    ++records;
  }
  return std::max<int64_t>(records, 1);
}

// How many elements a record's list has.
int64_t ListLength(const CommandNeeds& needs, const Fields& fields) {
  if (needs.listField == 0) return 0;
  if (needs.listMark == '|') return static_cast<int64_t>(fields.size());
  const std::string list = OrEmpty(fields[static_cast<size_t>(needs.listField)]);
  return std::count(list.begin(), list.end(), needs.listMark) + (list.empty() ? 0 : 1);
}

// Whether a slot's tag is a user's, on either device.
bool IsOf(const std::string& tag, const Expr& user) {
  if (tag.empty()) return false;
  return Is(user, tag) ||
         (IsMobileTag(tag) && Is(user, std::string_view(tag).substr(0, tag.size() - 1)));
}

}  // namespace

std::unique_ptr<Protection> Protection::Of(Host& host) {
  if (host.platform.protection.AllDown()) return nullptr;
  return std::make_unique<Protection>(host);
}

Protection::Protection(Host& host)
    : host_(host),
      settings_(host.platform.protection),
      connectionRate_(PerMinute(settings_.connectionsPerMinute)),
      slotRate_(PerSecond(settings_.recordsPerSecond)),
      addressRate_(PerSecond(settings_.addressRecordsPerSecond)),
      logins_(settings_),
      passwords_(settings_.hashPasswords ? std::make_unique<StoredPasswords>(host) : nullptr),
      connectionRefused_(host.loop, "connection refused", "connection_refused"),
      recordRefused_(host.loop, "record refused", "record_refused"),
      loginLocked_(host.loop, "login locked", "login_locked"),
      receiptWithheld_(host.loop, "receipt withheld", "receipt_withheld") {}

int64_t Protection::Now() const {
  return host_.clock.MonotonicMs();
}

// --- Connections ---

bool Protection::AdmitsConnection(uint16_t port, const std::string& address) {
  std::string_view key;
  if (port == kControlPort && !settings_.controlFrom.Allows(address)) {
    key = "control_from";
  } else if (port == kEndpointPort && !settings_.endpointFrom.Allows(address)) {
    key = "endpoint_from";
  } else if (connectionRate_.IsLimited() && !settings_.unlimitedFrom.Contains(address) &&
             !connections_[address].Take(connectionRate_, Now(), 1)) {
    key = "connections_per_minute";
  }
  if (key.empty()) return true;
  connectionRefused_.Note(fmt::format("port {} from {}: {}", port, address, key));
  return false;
}

void Protection::SlotTaken(SlotArray& slots, SlotIndex slot, PendingRecords Host::*pending) {
  if (slotRate_.IsLimited()) slotRecords_[&slots][slot] = Allowance();
  if (!settings_.clearSlots) return;
  slots.SetTag(slot, "");
  if (pending != nullptr) (host_.*pending).Clear(slot);
  if (&slots == &host_.SckServer) host_.ReplyBuffer[slot].clear();
}

// --- Reads and records ---

bool Protection::AdmitsRead(SlotArray& slots, SlotIndex slot, std::string_view text) {
  if (!slotRate_.IsLimited() && !addressRate_.IsLimited()) return true;
  const std::string address = slots.RemoteHostIP(slot);
  if (settings_.unlimitedFrom.Contains(address)) return true;
  const int64_t records = RecordsIn(text);
  std::string_view key;
  if (slotRate_.IsLimited() && !slotRecords_[&slots][slot].Take(slotRate_, Now(), records)) {
    key = "records_per_second";
  } else if (addressRate_.IsLimited() &&
             !addressRecords_[address].Take(addressRate_, Now(), records)) {
    key = "address_records_per_second";
  }
  if (key.empty()) return true;
  recordRefused_.Note(
      fmt::format("{} at once from {}: {}; its connection ends", records, address, key));
  slots.Lose(slot);
  return false;
}

bool Protection::AdmitsRecord(size_t bytes, const std::string& remoteIp) {
  if (settings_.longestRecord == 0 || bytes <= static_cast<size_t>(settings_.longestRecord))
    return true;
  recordRefused_.Note(fmt::format("{} bytes from {}: longest_record", bytes, remoteIp));
  return false;
}

bool Protection::AdmitsCommand(std::string_view word, const CommandNeeds& needs,
                               const Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  const std::string_view key = RefusedBy(needs, fields, slot, remoteIp);
  if (key.empty()) return true;
  recordRefused_.Note(fmt::format("{} from {}: {}", word, remoteIp, key));
  return false;
}

// The key of the wall that stands in the way; empty: none.
std::string_view Protection::RefusedBy(const CommandNeeds& needs, const Fields& fields,
                                       SlotIndex slot, const std::string& remoteIp) const {
  if (settings_.longestList > 0 && ListLength(needs, fields) > settings_.longestList)
    return "longest_list";
  switch (needs.sender) {
    case Sender::kAnybody:
      return "";
    case Sender::kPhone:
      return RefusedByList(settings_.phoneLogFrom, "phone_log_from", remoteIp);
    case Sender::kApplication:
      return RefusedByList(settings_.interfaceInformationFrom, "interface_information_from",
                           remoteIp);
    case Sender::kVisitor:
      return RefusedBySender(needs, fields, host_.SckServer6001.Tag(slot));
    case Sender::kUser:
      const std::string& tag = host_.SckServer.Tag(slot);
      if (settings_.loginFirst && tag.empty()) return "login_first";
      return RefusedBySender(needs, fields, tag);
  }
  return "";
}

// Either command names its slot after a user of its own choice, so where that matters it needs a
// list.
std::string_view Protection::RefusedByList(const AddressList& list, std::string_view key,
                                           const std::string& remoteIp) const {
  const bool allowed =
      list.IsGiven() ? list.Contains(remoteIp) : !settings_.loginFirst && !settings_.senderIsUser;
  return allowed ? "" : key;
}

std::string_view Protection::RefusedBySender(const CommandNeeds& needs, const Fields& fields,
                                             const std::string& tag) const {
  if (!settings_.senderIsUser || needs.senderField == 0) return "";
  if (needs.namesSender != nullptr && !needs.namesSender(fields)) return "";
  return IsOf(tag, fields[static_cast<size_t>(needs.senderField)]) ? "" : "sender_is_user";
}

// --- Logins ---

bool Protection::BeginsLogin(const Expr& UserName, const std::string& address) {
  if (logins_.Begin(OrEmpty(UserName), address, Now())) return true;
  loginLocked_.Note(fmt::format("after too many failures from {}", address));
  return false;
}

bool Protection::WaitsAsFailed(const Expr& UserName, const std::string& address, SlotIndex slot) {
  const int64_t waitMs = logins_.SlowdownMs(OrEmpty(UserName), address);
  if (waitMs == 0) return true;
  const uint64_t connection = host_.SckServer.ConnectionNumber(slot);
  WaitInHandler(host_.loop, waitMs);
  return host_.SckServer.ConnectionNumber(slot) == connection;
}

void Protection::LoginSucceeded(const Expr& UserName, const std::string& address) {
  logins_.Succeeded(OrEmpty(UserName), address);
}

// --- Receipts ---

void Protection::NoteReceipt(SlotIndex slot, Receipt stored, const Expr& owner, const Expr& msgId,
                             const Expr& record) {
  if (settings_.receiptWhenStored) receipts_.Note(slot, stored, owner, msgId, record);
}

void Protection::WithholdReceipts() {
  const int withheld = receipts_.Withhold(host_);
  if (withheld > 0) {
    receiptWithheld_.Note(
        fmt::format("{} of what is not in the database: receipt_when_stored", withheld));
  }
}

}  // namespace vnq
