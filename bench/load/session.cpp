#include "bench/load/session.h"

#include <fmt/format.h>

#include "bench/load/accounts.h"
#include "bench/load/pacing.h"

namespace vnq::bench {
namespace {

constexpr size_t kAtOneTime = 32;
constexpr int64_t kBringUpNs = 120 * kNsPerSecond;

// What others do may be told at any moment, before the own log-in is through, too.
bool IsPresence(std::string_view record) {
  return record.starts_with(".+new_online|") || record.starts_with(".+new_leaving|") ||
         record.starts_with(".+new_is_offline|") || record.starts_with(".+phone_line|");
}

bool HasShape(std::string_view text, std::string_view shape) {
  if (text.size() != shape.size()) return false;
  for (size_t i = 0; i < shape.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (shape[i] == '0' ? !digit : text[i] != shape[i]) return false;
  }
  return true;
}

}  // namespace

RecordView::RecordView(std::string_view record) {
  while (count_ < kMax) {
    const size_t end = record.find('|');
    fields_[count_++] = record.substr(0, end);
    if (end == std::string_view::npos) return;
    record.remove_prefix(end + 1);
  }
}

bool IsDate(std::string_view text) {
  return HasShape(text, "0000-00-00");
}

bool IsTime(std::string_view text) {
  return HasShape(text, "00:00:00");
}

Session::Session(Poller& poller, const AnsiText& ansi, size_t account)
    : client_(poller, ansi,
              {[this](std::string_view record) { Record(record); }, {}, [this] { Closed(); }}),
      account_(account),
      userId_(UserId(account)) {}

void Session::Begin(const LoadTarget& server, bool onlyConnect) {
  onlyConnect_ = onlyConnect;
  failure_.clear();
  step_ = Step::kGreeting;
  if (!client_.Connect(server)) Fail("cannot connect");
}

void Session::Leave() {
  step_ = Step::kLeaving;
  Send(fmt::format(".+offline|{}|#", userId_));
}

void Session::Drop() {
  client_.Close();
  step_ = Step::kClosed;
}

void Session::Record(std::string_view record) {
  if (IsPresence(record)) {
    if (onRecord_) onRecord_(*this, record);
  } else if (step_ == Step::kGreeting && record == ".+SuccessfulConnection|#") {
    if (onlyConnect_) return Go(Step::kReady);
    // A record that ends with field 5 passes the version gate.
    Send(fmt::format(".+landing|{}|{}|127.0.0.1|bench||#", UserName(account_), kPassword));
    Go(Step::kLanding);
  } else if (step_ == Step::kLanding &&
             record.starts_with(fmt::format(".+landing_successful|{}|", userId_))) {
    Send(fmt::format(".+successful_online|{}|1|#", userId_));
    Go(Step::kOnline);
  } else if (step_ == Step::kOnline && record == ".+SynchronousSuccessfully|#") {
    Go(Step::kReady);
  } else if (step_ < Step::kOnline) {
    Fail(fmt::format("account {}: unexpected {}", UserName(account_), record));
  } else if (onRecord_) {
    onRecord_(*this, record);
  }
}

void Session::Closed() {
  if (step_ == Step::kLeaving) return Go(Step::kClosed);
  if (step_ == Step::kGreeting) {
    Fail(fmt::format("account {}: no connection, or closed before the greeting", account_ + 1));
  } else if (step_ != Step::kFailed) {
    Fail(fmt::format("account {}: closed by the server", account_ + 1));
  }
}

void Session::Go(Step step) {
  step_ = step;
  if (onStep_) onStep_(*this);
}

void Session::Fail(std::string why) {
  failure_ = std::move(why);
  Go(Step::kFailed);
}

bool BringUp(Poller& poller, const TargetOf& target, const Sessions& sessions, bool onlyConnect,
             std::string& error) {
  const int64_t endNs =
      NowNs() + kBringUpNs + static_cast<int64_t>(sessions.size()) * 10 * kNsPerMs;
  size_t begun = 0, ready = 0;
  while (ready < sessions.size()) {
    while (begun < sessions.size() && begun < ready + kAtOneTime) {
      sessions[begun]->Begin(target(begun), onlyConnect);
      ++begun;
    }
    poller.Turn(20 * kNsPerMs);
    for (; ready < begun && sessions[ready]->step() == Session::Step::kReady; ++ready) {
    }
    if (ready < begun && sessions[ready]->step() == Session::Step::kFailed) {
      error = sessions[ready]->failure();
      return false;
    }
    if (NowNs() > endNs) {
      error = fmt::format("{} of {} sessions came up", ready, sessions.size());
      return false;
    }
  }
  return true;
}

}  // namespace vnq::bench
