// People come and go: connect, log in, come online, leave, again and again.
#include <fmt/format.h>

#include <deque>
#include <optional>

#include "bench/load/pacing.h"
#include "bench/load/scenario.h"

namespace vnq::bench {
namespace {

class LoginScenario : public Scenario {
 public:
  explicit LoginScenario(LoadContext& context) : context_(context) {}

  std::string_view unit() const override { return "sessions"; }

  bool SetUp(std::string& error) override {
    const size_t count = context_.options.clients;
    for (size_t i = 0; i < count; ++i) {
      sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, i));
      sessions_.back()->SetOnStep([this](Session& session) { OnStep(session); });
      free_.push_back(i);
    }
    starts_.resize(count);
    for (size_t i = 0; i < context_.options.others; ++i) {
      others_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, count + i));
    }
    return BringUp(
        context_.poller, [this](size_t) { return context_.Target(kMainPort); }, others_, false,
        error);
  }

  void BeginPhase(int64_t nowNs, bool measured) override {
    if (context_.options.rate > 0) pacer_.emplace(context_.options.rate, nowNs);
    if (!measured) return;
    operations_ = 0;
    ready_ = ended_ = {};
  }

  void Turn(int64_t nowNs, bool mayStart) override {
    // A session that has ended is begun anew from here, not from inside its own events.
    for (; pacer_ && mayStart && pacer_->NextDueNs() <= nowNs; pacer_->Take(nowNs)) {
      due_.push_back(pacer_->NextDueNs());
    }
    const size_t places = free_.size();
    for (size_t i = 0; i < places && (pacer_ ? !due_.empty() : mayStart); ++i) {
      const int64_t due = pacer_ ? due_.front() : NowNs();
      if (pacer_) due_.pop_front();
      Start(due);
    }
  }

  int64_t WaitNs(int64_t nowNs) const override {
    return pacer_ && !free_.empty() ? pacer_->WaitNs(nowNs) : 20 * kNsPerMs;
  }
  bool Settled() const override { return free_.size() == sessions_.size() && due_.empty(); }
  uint64_t Operations() const override { return operations_; }
  size_t Connections() const override { return sessions_.size() + others_.size(); }
  uint64_t InFlight() const override { return sessions_.size() - free_.size(); }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("at one time", std::to_string(sessions_.size()));
    if (pacer_)
      result.settings.emplace_back("rate", fmt::format("{:.0f}/s", context_.options.rate));
    result.latencies.push_back({"connect to online", ready_});
    result.latencies.push_back({"connect to closed", ended_});
    result.findings.insert(result.findings.end(), findings_.begin(), findings_.end());
    if (!Settled()) result.findings.push_back(fmt::format("{} sessions hang", InFlight()));
  }

 private:
  void Start(int64_t dueNs) {
    const size_t index = free_.front();
    free_.pop_front();
    starts_[index] = dueNs;
    sessions_[index]->Begin(context_.Target(kMainPort), false);
  }

  void OnStep(Session& session) {
    const int64_t took = NowNs() - starts_[session.account()];
    switch (session.step()) {
      case Session::Step::kReady:
        ready_.Add(took);
        session.Leave();
        break;
      case Session::Step::kClosed:
        ended_.Add(took);
        ++operations_;
        free_.push_back(session.account());
        break;
      case Session::Step::kFailed:
        if (findings_.size() < 5) findings_.push_back(session.failure());
        free_.push_back(session.account());
        break;
      default:
        break;
    }
  }

  LoadContext& context_;
  Sessions sessions_, others_;
  std::deque<size_t> free_;
  std::deque<int64_t> due_;
  std::vector<int64_t> starts_;
  std::optional<Pacer> pacer_;
  Histogram ready_, ended_;
  uint64_t operations_ = 0;
  std::vector<std::string> findings_;
};

}  // namespace

std::unique_ptr<Scenario> MakeLoginScenario(LoadContext& context) {
  return std::make_unique<LoginScenario>(context);
}

}  // namespace vnq::bench
