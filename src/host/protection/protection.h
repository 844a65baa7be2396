// The walls of a deployment, asked at few points: when a connection comes, when a read has come,
// in front of a command, at a login's result, and before receipts leave.
//
//   point          asked by                  walls (keys of [protection])
//   connection     server/ports.cpp          control_from, endpoint_from,
//                                            connections_per_minute, clear_slots
//   read           server/ports.cpp          records_per_second, address_records_per_second
//   record         host/slots/dispatcher     longest_record
//   command        host/slots/dispatcher     login_first, sender_is_user, phone_log_from,
//                                            interface_information_from, longest_list
//   login          sessions/landing.cpp      login_*, hash_passwords
//   receipts       host/slots/sending.cpp    receipt_when_stored
//
// The host has none while all are down, so that asking is one test. What is refused is dropped
// without an answer, as a word that nobody knows, and said on standard error once a spell.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/protection/command_needs.h"
#include "host/protection/login_guard.h"
#include "host/protection/protection_settings.h"
#include "host/protection/rate_limit.h"
#include "host/protection/stored_passwords.h"
#include "host/protection/unstored_receipts.h"
#include "host/slots/pending_records.h"
#include "host/slots/slots.h"
#include "host/values/fields.h"

namespace vnq {

class Protection {
 public:
  /// Null when every wall is down. `host` outlives it.
  static std::unique_ptr<Protection> Of(Host& host);

  explicit Protection(Host& host);

  const ProtectionSettings& settings() const { return settings_; }

  // --- Connections ---

  /// Whether a connection from an address may come to a port. Yields: no.
  bool AdmitsConnection(uint16_t port, const std::string& address);

  /// A connection has taken a slot, which is to keep nothing of the last one. pending: where the
  /// port's unfinished records wait; may be null.
  void SlotTaken(SlotArray& slots, SlotIndex slot, PendingRecords Host::*pending);

  // --- Reads and records ---

  /// Whether the records of a read may run. False: too many, and the connection has been ended; its
  /// slot waits for a sweep as that of any peer who has gone.
  bool AdmitsRead(SlotArray& slots, SlotIndex slot, std::string_view text);

  /// Whether a record, or what has come of it so far, is short enough.
  bool AdmitsRecord(size_t bytes, const std::string& remoteIp);

  /// Whether a record may run its command.
  bool AdmitsCommand(std::string_view word, const CommandNeeds& needs, const Fields& fields,
                     SlotIndex slot, const std::string& remoteIp);

  // --- Logins ---

  /// Begins a login. False: locked; it is refused as a wrong password is.
  bool BeginsLogin(const Expr& UserName, const std::string& address);

  /// Waits as long as a failed login is to wait for its answer. False when the slot has lost the
  /// connection meanwhile. Yields: yes.
  bool WaitsAsFailed(const Expr& UserName, const std::string& address, SlotIndex slot);

  void LoginSucceeded(const Expr& UserName, const std::string& address);

  /// Null where passwords stay in clear.
  StoredPasswords* passwords() { return passwords_.get(); }

  // --- Receipts ---

  /// A receipt was appended to a slot's ReplyBuffer.
  void NoteReceipt(SlotIndex slot, Receipt stored, const Expr& owner, const Expr& msgId,
                   const Expr& record);

  /// Takes receipts of what was not stored out of the buffers, which are about to leave.
  void WithholdReceipts();

 private:
  std::string_view RefusedBy(const CommandNeeds& needs, const Fields& fields, SlotIndex slot,
                             const std::string& remoteIp) const;
  std::string_view RefusedByList(const AddressList& list, std::string_view key,
                                 const std::string& remoteIp) const;
  std::string_view RefusedBySender(const CommandNeeds& needs, const Fields& fields,
                                   const std::string& tag) const;
  int64_t Now() const;

  Host& host_;
  const ProtectionSettings settings_;
  const Rate connectionRate_, slotRate_, addressRate_;
  RecentTable<Allowance> connections_, addressRecords_;  // by address
  std::unordered_map<const SlotArray*, SlotTable<Allowance>> slotRecords_;
  LoginGuard logins_;
  UnstoredReceipts receipts_;
  std::unique_ptr<StoredPasswords> passwords_;
  RepeatedWarning connectionRefused_, recordRefused_, loginLocked_, receiptWithheld_;
};

}  // namespace vnq
