// Pairs chat: both sides write, in turn.
#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "bench/load/accounts.h"
#include "bench/load/message_scenario.h"

namespace vnq::bench {
namespace {

constexpr const char* kFont = "宋体,10,0,False,False,False";

class PeerScenario : public MessageScenario {
 public:
  explicit PeerScenario(LoadContext& context)
      : MessageScenario(
            context, {context.options.pairs, 1, true, std::numeric_limits<size_t>::max(), true}) {}

  bool SetUp(std::string& error) override {
    const size_t count = 2 * context_.options.pairs;
    for (size_t i = 0; i < count; ++i) {
      sessions_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, i));
      sessions_.back()->SetOnRecord(
          [this](Session& session, std::string_view record) { Take(session, record); });
    }
    turn_.resize(context_.options.pairs);
    return BringUp(
               context_.poller,
               [this](size_t i) { return context_.Target(kMainPort, ServerOf(i)); }, sessions_,
               false, error) &&
           BringUpOthers(count, error);
  }

  size_t Connections() const override { return sessions_.size() + others_.size(); }

  void Report(RunResult& result) const override {
    result.settings.emplace_back("pairs", std::to_string(context_.options.pairs));
    if (!context_.options.servers.empty()) {
      result.settings.emplace_back("servers", std::to_string(context_.servers.size()));
      result.settings.emplace_back(
          context_.options.across ? "each pair on two" : "each pair on one", "");
    }
    MessageScenario::Report(result);
    for (const auto& session : sessions_) {
      if (!session->failure().empty()) result.findings.push_back(session->failure());
    }
  }

 private:
  void Send(uint64_t number, size_t pair) override {
    const size_t side = turn_[pair]++ % 2;
    sides_.push_back(side != 0);
    sessions_[2 * pair + side]->Send(
        fmt::format(".+message|{}|{}|{}|{}|{}|1|#", UserId(2 * pair + 1 - side),
                    UserId(2 * pair + side), Text(number), kFont, MessageId(number)));
  }

  // Pairs go to the servers in turn.
  size_t ServerOf(size_t account) const {
    return account / 2 + (context_.options.across ? account % 2 : 0);
  }

  void FlushUnsent() override {
    for (const auto& session : sessions_) {
      if (session->HasUnsent()) session->Flush();
    }
  }

  bool HasUnsent() const override {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [](const auto& session) { return session->HasUnsent(); });
  }

  size_t SenderOf(uint64_t number) const { return 2 * LaneOf(number) + (sides_[number] ? 1 : 0); }

  void Take(Session& session, std::string_view record) {
    const RecordView fields(record);
    if (fields[0] == ".+message") {
      TakeMessage(session, record, fields);
    } else if (fields[0] == ".+reply") {
      const auto number = NumberOf(fields[3]);
      if (!number || SenderOf(*number) != session.account()) return NoteAltered(record);
      TakeReceipt(record, fields, "1", UserId(session.account() ^ 1));
    }
  }

  // .+message|from|date|time|text|font|Msg_ID|type|both devices wait|#
  void TakeMessage(const Session& session, std::string_view record, const RecordView& fields) {
    const auto number = NumberOf(fields[6]);
    const bool isRight = number && SenderOf(*number) == (session.account() ^ 1) &&
                         fields[1] == UserId(session.account() ^ 1) && IsDate(fields[2]) &&
                         IsTime(fields[3]) && fields[4] == Text(*number) && fields[5] == kFont &&
                         fields[7] == "11" && fields[8] == "1" && fields[9] == "#" &&
                         fields.count() == 10;
    if (!isRight) return NoteAltered(record);
    NoteDelivery(*number, 0);
  }

  Sessions sessions_;  // the pair p has 2p and 2p+1, by account number too
  std::vector<size_t> turn_;
  std::vector<bool> sides_;  // by message: the second one of the pair wrote it
};

}  // namespace

std::unique_ptr<Scenario> MakePeerScenario(LoadContext& context) {
  return std::make_unique<PeerScenario>(context);
}

}  // namespace vnq::bench
