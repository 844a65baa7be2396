#include "server/index_form.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "files/files.h"
#include "host/server_log.h"
#include "messaging/messaging.h"
#include "platform/net/local_address.h"
#include "platform/system/event_log.h"
#include "remote/remote.h"
#include "server/load.h"
#include "server/node_orders.h"
#include "server/timers.h"

namespace vnq {

IndexForm::IndexForm(EventLoop& loop, const Clock& clock, CommandRunner& commands,
                     ProgramFolder folder, std::unique_ptr<Bus> bus)
    : loop_(loop),
      folder_(std::move(folder)),
      page_(folder_.codePage),
      http_(loop),
      host_({loop, clock, page_, folder_, http_, commands}),
      ports_(host_),
      outOfMemory_(loop, "memory is short", "memory_short") {
  if (bus) BecomeNode(host_, std::move(bus));
  loop_.SetOutOfMemory([this] { outOfMemory_.Note("something that a client sent is lost"); });
}

IndexForm::~IndexForm() {
  loop_.SetOutOfMemory(nullptr);
  for (const EventLoop::TimerId timer : timers_) loop_.StopTimer(timer);
}

bool IndexForm::Load() {
  ports_.Load();
  if (ports_.Unbound().size() == PortTable().size()) return false;
  const std::string& address = ports_.LocalAddress(kClientPort);
  host_.ServerIp = address == "0.0.0.0" ? FirstLocalAddress() : address;
  StartTimers();
  ReadDatabaseSettings(host_);
  SweepOldRows(host_);
  ReadVersionFile(host_);
  SetFontsAndAddresses(host_);
  JoinNodes(host_);
  return true;
}

std::string IndexForm::Readiness() {
  const std::vector<uint16_t> unbound = ports_.Unbound();
  const size_t all = PortTable().size();
  std::string line = fmt::format("{} of {} ports", all - unbound.size(), all);
  if (!unbound.empty()) line += fmt::format(" (without {})", fmt::join(unbound, ", "));
  const std::vector<std::string> closed = ports_.extra().Closed();
  const size_t extra = ports_.extra().Count();
  if (extra > 0) line += fmt::format(", {} of {} listeners", extra - closed.size(), extra);
  if (!closed.empty()) line += fmt::format(" (without {})", fmt::join(closed, ", "));
  return line + (DatabaseAnswers(host_) ? ", database usable" : ", database not usable");
}

void IndexForm::ReadKeywordsAgain() {
  if (ReadKeywordLists(host_)) {
    LogInfo("reload", "keyword lists read again: {} masked, {} blocking", host_.MaskKeywords.size(),
            host_.BlockKeywords.size());
  } else {
    LogWarning("reload_failed",
               "keyword lists not read again: the database does not answer; the old ones stay");
  }
}

void IndexForm::StartTimers() {
  for (const TimerRow& row : TimerTable()) {
    const int64_t intervalMs = row.intervalMs(host_.settings);
    if (intervalMs <= 0) continue;
    timers_.push_back(loop_.StartTimer(intervalMs, [this, &row] {
      loop_.NameHandler(row.work);
      row.tick(host_);
    }));
  }
}

void IndexForm::Unload() {
  ports_.Unload();
  LeaveNodes(host_);
}

// --- Operations for outside callers ---

void IndexForm::ErrLog(const Expr& err1, const Expr& err2) {
  vnq::ErrLog(host_, err1, err2);
}

void IndexForm::InsertLeaveFile(const Expr& target, const Expr& uploader, const Expr& typePath,
                                const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  vnq::InsertLeaveFile(host_, target, uploader, typePath, pcSize, filPath, msgId);
}

void IndexForm::InsertClotFile(const Expr& groupId, const Expr& uploader, const Expr& typePath,
                               const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  vnq::InsertClotFile(host_, groupId, uploader, typePath, pcSize, filPath, msgId);
}

void IndexForm::InsertOnlineFile(const Expr& userId, const Expr& typePath, const Expr& pcSize,
                                 const Expr& filPath) {
  vnq::InsertOnlineFile(host_, userId, typePath, pcSize, filPath);
}

void IndexForm::LeaveMesseng(const Expr& userTag, int16_t kind, const Expr& id) {
  vnq::LeaveMesseng(host_, userTag, DeliveryKind(kind), id);
}

void IndexForm::UserMesseng(Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  vnq::UserMesseng(host_, fields, slot, remoteIp);
}

void IndexForm::ClotMesseng(Fields& fields, SlotIndex slot) {
  vnq::ClotMesseng(host_, fields, slot);
}

void IndexForm::MeetMesseng(Fields& fields, SlotIndex slot) {
  vnq::MeetMesseng(host_, fields, slot);
}

void IndexForm::SameTime(int32_t code, int32_t service) {
  host_.outgoing.SameTime(code, service);
}

}  // namespace vnq
