// One writes to a group of N members, of whom M are connected.
#include <fmt/format.h>

#include <limits>

#include "bench/load/accounts.h"
#include "bench/load/message_scenario.h"

namespace vnq::bench {
namespace {

constexpr const char* kFont = "宋体,10,0,False,False,False";

class GroupScenario : public MessageScenario {
 public:
  explicit GroupScenario(LoadContext& context)
      : MessageScenario(context, {1, context.options.connected, true,
                                  std::numeric_limits<size_t>::max(), true}),
        group_(GroupId(context.options.members)) {}

  bool SetUp(std::string& error) override {
    const size_t connected = context_.options.connected;
    if (connected + 1 > context_.options.members) {
      error = "a group has fewer members than are to be connected";
      return false;
    }
    for (size_t i = 0; i <= connected; ++i) {
      sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, i));
      sessions_.back()->SetOnRecord(
          [this](Session& session, std::string_view record) { Take(session, record); });
    }
    return BringUp(
               context_.poller, [this](size_t) { return context_.Target(kMainPort); }, sessions_,
               false, error) &&
           BringUpOthers(context_.options.members, error);
  }

  size_t Connections() const override { return sessions_.size() + others_.size(); }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("members", std::to_string(context_.options.members));
    result.settings.emplace_back("connected", std::to_string(context_.options.connected));
    MessageScenario::Report(result);
    for (const auto& session : sessions_) {
      if (!session->failure().empty()) result.findings.push_back(session->failure());
    }
  }

 private:
  void Send(uint64_t number, size_t) override {
    sessions_[0]->Send(fmt::format(".+clot_messeng|{}|{}|{}|{}|{}|20|#", group_, UserId(0),
                                   Text(number), kFont, MessageId(number)));
  }

  void FlushUnsent() override {
    if (sessions_[0]->HasUnsent()) sessions_[0]->Flush();
  }

  bool HasUnsent() const override { return sessions_[0]->HasUnsent(); }

  void Take(Session& session, std::string_view record) {
    const RecordView fields(record);
    if (fields[0] == ".+clot_messeng") {
      TakeMessage(session, record, fields);
    } else if (fields[0] == ".+reply") {
      if (session.account() != 0) return NoteAltered(record);
      TakeReceipt(record, fields, "2", group_);
    }
  }

  // .+clot_messeng|group|from|date|time|text|font|Msg_ID|type|1|#
  void TakeMessage(const Session& session, std::string_view record, const RecordView& fields) {
    const auto number = NumberOf(fields[7]);
    const bool isRight = number && session.account() > 0 && fields[1] == group_ &&
                         fields[2] == UserId(0) && IsDate(fields[3]) && IsTime(fields[4]) &&
                         fields[5] == Text(*number) && fields[6] == kFont && fields[8] == "21" &&
                         fields[9] == "1" && fields[10] == "#" && fields.count() == 11;
    if (!isRight) return NoteAltered(record);
    NoteDelivery(*number, session.account() - 1);
  }

  std::string group_;
  Sessions sessions_;  // the writer first
};

}  // namespace

std::unique_ptr<Scenario> MakeGroupScenario(LoadContext& context) {
  return std::make_unique<GroupScenario>(context);
}

}  // namespace vnq::bench
