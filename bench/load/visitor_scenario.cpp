// Web visitors write to agents; each visitor has one line on its way at a time.
#include <fmt/format.h>

#include "bench/load/accounts.h"
#include "bench/load/message_scenario.h"
#include "bench/load/visitor_client.h"

namespace vnq::bench {
namespace {

constexpr int64_t kSetUpNs = 30 * kNsPerSecond;

class VisitorScenario : public MessageScenario {
 public:
  explicit VisitorScenario(LoadContext& context)
      : MessageScenario(context, {context.options.visitors, 1, false, 1, false}) {}

  bool SetUp(std::string& error) override {
    for (size_t i = 0; i < context_.options.agents; ++i) {
      agents_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, i));
      agents_.back()->SetOnRecord(
          [this](Session& agent, std::string_view record) { Take(agent, record); });
    }
    return BringUp(
               context_.poller, [this](size_t) { return context_.Target(kMainPort); }, agents_,
               false, error) &&
           BringUpOthers(agents_.size(), error) && Upgrade(error) && Register(error);
  }

  size_t Connections() const override { return agents_.size() + visitors_.size() + others_.size(); }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("visitors", std::to_string(visitors_.size()));
    result.settings.emplace_back("agents", std::to_string(agents_.size()));
    MessageScenario::Report(result);
    for (const auto& visitor : visitors_) {
      if (!visitor->failure().empty()) result.findings.push_back(visitor->failure());
    }
  }

 private:
  static std::string VisitorId(size_t number) { return fmt::format("v{}", number); }
  size_t AgentOf(size_t visitor) const { return visitor % agents_.size(); }
  static std::string ShortText(uint64_t number) { return fmt::format("line%20{}", number); }

  template <typename IsDone>
  bool WaitFor(const IsDone& isDone, std::string_view what, std::string& error) {
    const int64_t end = NowNs() + kSetUpNs;
    while (!isDone()) {
      context_.poller.Turn(20 * kNsPerMs);
      for (const auto& visitor : visitors_) {
        if (visitor->step() == VisitorClient::Step::kFailed) error = visitor->failure();
      }
      if (error.empty() && NowNs() > end) error = fmt::format("{} takes too long", what);
      if (!error.empty()) return false;
    }
    return true;
  }

  bool Upgrade(std::string& error) {
    for (size_t i = 0; i < context_.options.visitors; ++i) {
      visitors_.push_back(std::make_unique<VisitorClient>(context_.poller, context_.ansi));
      VisitorClient& visitor = *visitors_.back();
      visitor.Begin(context_.Target(kVisitorPort), i);
      if (!WaitFor([&] { return visitor.step() == VisitorClient::Step::kReady; }, "the upgrade",
                   error)) {
        return false;
      }
    }
    return true;
  }

  bool Register(std::string& error) {
    for (size_t i = 0; i < visitors_.size(); ++i) {
      visitors_[i]->Send(
          fmt::format(".+customer|{}|{}|City|hello|#", UserId(AgentOf(i)), VisitorId(i)));
    }
    return WaitFor([&] { return registered_ == visitors_.size(); }, "the registration", error);
  }

  void Send(uint64_t number, size_t lane) override {
    visitors_[lane]->Send(fmt::format(".+customer_information|{}|{}|City|{}|#",
                                      UserId(AgentOf(lane)), VisitorId(lane), ShortText(number)));
    if (lastOf_.size() < visitors_.size()) lastOf_.resize(visitors_.size());
    lastOf_[lane] = number;
  }

  // One frame at a time always leaves at once.
  void FlushUnsent() override {}
  bool HasUnsent() const override { return false; }

  // .+customer_information|visitor|city|date|time|text|#
  void Take(const Session& agent, std::string_view record) {
    const RecordView fields(record);
    if (fields[0] != ".+customer_information") return;
    const size_t lane = LaneOfVisitor(fields[1]);
    const bool isRight = lane < visitors_.size() && AgentOf(lane) == agent.account() &&
                         fields[2] == "City" && IsDate(fields[3]) && IsTime(fields[4]) &&
                         fields[6] == "#" && fields.count() == 7;
    if (!isRight) return NoteAltered(record);
    if (fields[5] == "hello" && registered_ < visitors_.size()) {
      ++registered_;
    } else if (lane < lastOf_.size() && fields[5] == ShortText(lastOf_[lane])) {
      NoteDelivery(lastOf_[lane], 0);
    } else {
      NoteAltered(record);
    }
  }

  size_t LaneOfVisitor(std::string_view id) const {
    for (size_t i = 0; i < visitors_.size(); ++i) {
      if (VisitorId(i) == id) return i;
    }
    return visitors_.size();
  }

  Sessions agents_;
  std::vector<std::unique_ptr<VisitorClient>> visitors_;
  std::vector<uint64_t> lastOf_;  // by visitor: the line that is on its way
  size_t registered_ = 0;
};

}  // namespace

std::unique_ptr<Scenario> MakeVisitorScenario(LoadContext& context) {
  return std::make_unique<VisitorScenario>(context);
}

}  // namespace vnq::bench
