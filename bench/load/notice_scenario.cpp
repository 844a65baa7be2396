// One publishes notices to N persons, of whom the writer alone is connected: what is measured is
// storing them.
#include <fmt/format.h>

#include <limits>

#include "bench/load/accounts.h"
#include "bench/load/message_scenario.h"

namespace vnq::bench {
namespace {

class NoticeScenario : public MessageScenario {
 public:
  explicit NoticeScenario(LoadContext& context)
      : MessageScenario(context, {1, 1, false, std::numeric_limits<size_t>::max(), true}) {
    for (size_t i = 0; i < context.options.receivers; ++i) receivers_ += UserId(i) + ",";
    receivers_.pop_back();
  }

  std::string_view unit() const override { return "notices"; }

  bool SetUp(std::string& error) override {
    sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, 0));
    sessions_.back()->SetOnRecord([this](Session&, std::string_view record) { Take(record); });
    return BringUp(
        context_.poller, [this](size_t) { return context_.Target(kMainPort); }, sessions_, false,
        error);
  }

  size_t Connections() const override { return sessions_.size(); }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("receivers", std::to_string(context_.options.receivers));
    MessageScenario::Report(result);
    const std::string& failure = sessions_.front()->failure();
    if (!failure.empty()) result.findings.push_back(failure);
  }

 private:
  void Send(uint64_t number, size_t) override {
    sessions_.front()->SendWhole(fmt::format(".+notification|{}|{}|{}|{}||#", UserId(0), receivers_,
                                             MessageId(number), Text(number)));
  }

  void FlushUnsent() override { sessions_.front()->Flush(); }
  bool HasUnsent() const override { return sessions_.front()->HasUnsent(); }

  // .+notification|title|content|link|date and time|Msg_ID|#
  void Take(std::string_view record) {
    const RecordView fields(record);
    if (fields[0] != ".+notification") return;
    const auto number = NumberOf(fields[1]);
    const bool isRight = number && fields[2] == Text(*number) && fields[3].empty() &&
                         fields[6] == "#" && fields.count() == 7;
    if (!isRight) return NoteAltered(record);
    NoteDelivery(*number, 0);
  }

  std::string receivers_;
  Sessions sessions_;  // the writer
};

}  // namespace

std::unique_ptr<Scenario> MakeNoticeScenario(LoadContext& context) {
  return std::make_unique<NoticeScenario>(context);
}

}  // namespace vnq::bench
