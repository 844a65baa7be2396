// N connections do nothing; at the end of each phase every one must still answer.
#include <fmt/format.h>

#include <algorithm>

#include "bench/load/pacing.h"
#include "bench/load/scenario.h"

namespace vnq::bench {
namespace {

class IdleScenario : public Scenario {
 public:
  explicit IdleScenario(LoadContext& context)
      : context_(context), checker_(context.options.clients, false) {}

  std::string_view unit() const override { return "connections"; }

  bool SetUp(std::string& error) override {
    for (size_t i = 0; i < context_.options.clients; ++i) {
      sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, First() + i));
    }
    const bool onlyConnect = !context_.options.online;
    if (!BringUp(
            context_.poller, [this](size_t i) { return context_.Target(kMainPort, i); }, sessions_,
            onlyConnect, error)) {
      return false;
    }
    for (const auto& session : sessions_) {
      session->SetOnRecord([this](Session& from, std::string_view record) { Take(from, record); });
    }
    return true;
  }

  void BeginPhase(int64_t, bool) override {
    echo_ = {};
    asked_ = false;
  }

  // A keep-alive to all, once the quiet is over.
  void Turn(int64_t nowNs, bool mayStart) override {
    if (mayStart || asked_) return;
    asked_ = true;
    checker_.Add(nowNs);
    for (const auto& session : sessions_) session->Send(".+y|#");
  }

  bool Settled() const override { return asked_ && checker_.Complete(); }
  uint64_t Operations() const override { return sessions_.size(); }
  size_t Connections() const override { return sessions_.size(); }
  uint64_t InFlight() const override { return 0; }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("connections", std::to_string(sessions_.size()));
    result.settings.emplace_back("online", context_.options.online ? "yes" : "no");
    result.checks = checker_.Counts();
    for (const auto& session : sessions_) {
      if (!session->failure().empty()) result.findings.push_back(session->failure());
    }
    result.deliveries = echo_.count();
    result.latencies.push_back({"keep-alive of all at once", echo_});
  }

 private:
  size_t First() const { return context_.options.firstAccount - 1; }

  void Take(const Session& from, std::string_view record) {
    if (record.starts_with(".+new_online|")) return;
    if (record != ".+y|#" || !asked_) return checker_.Altered(record);
    const uint64_t number = checker_.added() - 1;
    if (!checker_.Delivered(number, from.account() - First())) return;
    echo_.Add(NowNs() - checker_.DueNs(number));
  }

  LoadContext& context_;
  DeliveryChecker checker_;
  Sessions sessions_;
  bool asked_ = false;
  Histogram echo_;
};

}  // namespace

std::unique_ptr<Scenario> MakeIdleScenario(LoadContext& context) {
  return std::make_unique<IdleScenario>(context);
}

}  // namespace vnq::bench
