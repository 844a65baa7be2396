// A person at the server: connection, log-in, and then the scenario's records.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/load/load_client.h"

namespace vnq::bench {

/// Fields of a record, element 0 the command word. Missing ones read as empty.
class RecordView {
 public:
  explicit RecordView(std::string_view record);

  std::string_view operator[](size_t field) const {
    return field < count_ ? fields_[field] : std::string_view();
  }
  size_t count() const { return count_; }

 private:
  static constexpr size_t kMax = 16;
  std::string_view fields_[kMax];
  size_t count_ = 0;
};

/// True for "YYYY-MM-DD", and for "hh:mm:ss".
bool IsDate(std::string_view text);
bool IsTime(std::string_view text);

class Session {
 public:
  enum class Step { kClosed, kGreeting, kLanding, kOnline, kReady, kLeaving, kFailed };
  using OnRecord = std::function<void(Session&, std::string_view record)>;

  Session(Poller& poller, const AnsiText& ansi, size_t account);

  /// Connects, and logs in unless `onlyConnect`; kReady then, or kFailed with failure().
  void Begin(const LoadTarget& server, bool onlyConnect);

  /// Says good-bye; the server closes.
  void Leave();

  /// Ends without a word.
  void Drop();

  /// Takes every record from kReady on, and the presence of others before it.
  void SetOnRecord(OnRecord onRecord) { onRecord_ = std::move(onRecord); }
  /// Called at every change of the step.
  void SetOnStep(std::function<void(Session&)> onStep) { onStep_ = std::move(onStep); }

  void Send(std::string_view record) { client_.SendRecord(record); }
  /// The same in one text, however long it is.
  void SendWhole(std::string_view record) { client_.SendWholeRecord(record); }
  bool Flush() { return client_.Flush(); }
  bool HasUnsent() const { return client_.HasUnsent(); }

  Step step() const { return step_; }
  size_t account() const { return account_; }
  const std::string& userId() const { return userId_; }
  const std::string& failure() const { return failure_; }

 private:
  void Record(std::string_view record);
  void Closed();
  void Go(Step step);
  void Fail(std::string why);

  LoadClient client_;
  size_t account_;
  std::string userId_;
  bool onlyConnect_ = false;
  Step step_ = Step::kClosed;
  std::string failure_;
  OnRecord onRecord_;
  std::function<void(Session&)> onStep_;
};

using Sessions = std::vector<std::unique_ptr<Session>>;

/// Where the session with an index goes.
using TargetOf = std::function<LoadTarget(size_t session)>;

/// Brings sessions up, a few at a time. False, with the reason in `error`, when one fails or not
/// all are ready within two minutes and a hundredth of a second each.
bool BringUp(Poller& poller, const TargetOf& target, const Sessions& sessions, bool onlyConnect,
             std::string& error);

}  // namespace vnq::bench
