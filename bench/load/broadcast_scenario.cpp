// Some change their presence while N are connected; everybody else must be told each time, once.
#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "bench/load/pacing.h"
#include "bench/load/scenario.h"

namespace vnq::bench {
namespace {

class BroadcastScenario : public Scenario {
 public:
  explicit BroadcastScenario(LoadContext& context)
      : context_(context),
        checker_(context.options.clients - 1, false),
        current_(context.options.actors) {}

  std::string_view unit() const override { return "broadcasts"; }

  bool SetUp(std::string& error) override {
    const size_t count = context_.options.clients;
    if (count < 2 || current_.size() > count || current_.empty()) {
      error = "a broadcast needs two clients, and no more actors than clients";
      return false;
    }
    for (size_t i = 0; i < count; ++i) {
      sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, i));
    }
    if (!BringUp(
            context_.poller, [this](size_t) { return context_.Target(kMainPort); }, sessions_,
            false, error)) {
      return false;
    }
    for (size_t i = 0; i < current_.size(); ++i) actors_[sessions_[i]->userId()] = i;
    for (const auto& session : sessions_) {
      session->SetOnRecord([this](Session& to, std::string_view record) { Take(to, record); });
    }
    return true;
  }

  void BeginPhase(int64_t nowNs, bool measured) override {
    if (context_.options.rate > 0) pacer_.emplace(context_.options.rate, nowNs);
    if (!measured) return;
    latency_ = last_ = {};
    firstMeasured_ = checker_.added();
    deliveriesBefore_ = checker_.deliveries();
    endedBefore_ = ended_;
  }

  void Turn(int64_t nowNs, bool mayStart) override {
    for (size_t i = 0; mayStart && i < current_.size(); ++i) {
      if (current_[i]) continue;
      if (pacer_ && pacer_->NextDueNs() > nowNs) return;
      const int64_t due = pacer_ ? pacer_->NextDueNs() : NowNs();
      if (pacer_) pacer_->Take(nowNs);
      Start(i, due);
    }
  }

  int64_t WaitNs(int64_t nowNs) const override {
    const bool anyFree =
        std::find(current_.begin(), current_.end(), std::nullopt) != current_.end();
    return pacer_ && anyFree ? pacer_->WaitNs(nowNs) : 20 * kNsPerMs;
  }
  bool Settled() const override { return checker_.Complete(); }
  uint64_t Operations() const override { return ended_ - endedBefore_; }
  size_t Connections() const override { return sessions_.size(); }
  uint64_t InFlight() const override { return checker_.added() - ended_; }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("connected", std::to_string(sessions_.size()));
    result.settings.emplace_back("actors", std::to_string(current_.size()));
    result.checks = checker_.Counts();
    for (const std::string& record : checker_.examples()) {
      result.findings.push_back("not as it should be: " + record);
    }
    for (const auto& session : sessions_) {
      if (!session->failure().empty()) result.findings.push_back(session->failure());
    }
    result.deliveries = checker_.deliveries() - deliveriesBefore_;
    result.latencies.push_back({"each client told", latency_});
    result.latencies.push_back({"last client told", last_});
  }

 private:
  // Away and back in turn, so that a record that comes late or twice is seen.
  void Start(size_t actor, int64_t dueNs) {
    const uint64_t number = checker_.Add(dueNs);
    current_[actor] = number;
    away_.push_back(!isAway_[actor]);
    isAway_[actor] = away_.back();
    sessions_[actor]->Send(fmt::format("{}|{}|#", away_.back() ? ".+go_away" : ".+on_line",
                                       sessions_[actor]->userId()));
  }

  void Take(const Session& to, std::string_view record) {
    const RecordView fields(record);
    if (fields[0] != ".+new_leaving" && fields[0] != ".+new_online") return;
    const auto actor = actors_.find(std::string(fields[1]));
    if (actor == actors_.end()) return;
    const size_t index = actor->second;
    if (!current_[index] || record != Expected(index) || to.account() == index) {
      return checker_.Altered(record);
    }
    const uint64_t number = *current_[index];
    if (!checker_.Delivered(number, to.account() - (to.account() > index ? 1 : 0))) return;
    const int64_t took = NowNs() - checker_.DueNs(number);
    if (number >= firstMeasured_) latency_.Add(took);
    if (!checker_.FullyDelivered(number)) return;
    if (number >= firstMeasured_) last_.Add(took);
    current_[index].reset();
    ++ended_;
  }

  std::string Expected(size_t actor) const {
    return fmt::format("{}|{}|||#", away_[*current_[actor]] ? ".+new_leaving" : ".+new_online",
                       sessions_[actor]->userId());
  }

  LoadContext& context_;
  DeliveryChecker checker_;
  Sessions sessions_;
  std::vector<std::optional<uint64_t>> current_;  // by actor: the broadcast that is on its way
  std::unordered_map<std::string, size_t> actors_;
  std::unordered_map<size_t, bool> isAway_;
  std::vector<bool> away_;  // by broadcast
  std::optional<Pacer> pacer_;
  Histogram latency_, last_;
  uint64_t firstMeasured_ = 0, deliveriesBefore_ = 0, endedBefore_ = 0, ended_ = 0;
};

}  // namespace

std::unique_ptr<Scenario> MakeBroadcastScenario(LoadContext& context) {
  return std::make_unique<BroadcastScenario>(context);
}

}  // namespace vnq::bench
