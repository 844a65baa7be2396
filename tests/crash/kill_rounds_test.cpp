// The shipped server is killed in the middle of its work, again and again on one database.
//
//   VNQ_ROUNDS=1000 vnq_crash_tests --gtest_filter='KillRounds.*'     more of them, by hand
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <random>
#include <set>

#include "tests/crash/deployment.h"
#include "tests/crash/rounds.h"

namespace vnq {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kClients = 3;
constexpr int kMessagesARound = 400;
constexpr unsigned kNetwork = 213;

class KillRounds : public ::testing::Test {
 protected:
  bool Begin() {
    if (!deployment.Start()) return false;
    clients.clear();
    for (int user = 1; user <= kClients; ++user) {
      clients.emplace_back(deployment.address());
      clients.back().ReceiveUntil("SuccessfulConnection");
      clients.back().Send(fmt::format(".+successful_online|{}|1|#", user));
      clients.back().ReceiveUntil("SynchronousSuccessfully");
    }
    return true;
  }

  static std::string Record(int id) {
    return fmt::format(".+message|{}|{}|hello|font|K{}|1|#", 1 + (id + 1) % kClients,
                       1 + id % kClients, id);
  }
  void Send(int id) { clients[static_cast<size_t>(id % kClients)].Send(Record(id)); }

  // True when a receipt has come.
  bool Listen() {
    const size_t before = acknowledged.size();
    for (RealClient& client : clients) Note(client.Receive());
    return acknowledged.size() > before;
  }
  void Note(const std::string& text) {
    const std::string before = ".+reply|1|";
    for (size_t at = 0; (at = text.find(before, at)) != text.npos;) {
      at = text.find("|K", at + before.size());
      if (at == text.npos) break;
      acknowledged.insert(std::stoi(text.substr(at + 2)));
    }
  }

  // What the sender has no receipt for it sends again, and now and then something that it has one
  // for.
  void Resend() {
    for (int id = 1; id <= sent; ++id) {
      if (!acknowledged.contains(id) || random() % 100 == 0) Send(id);
    }
  }

  void SendUntil(Clock::time_point end, bool untilReceipt) {
    const int last = sent + kMessagesARound;
    bool told = false;
    while (!(told && untilReceipt) && Clock::now() < end) {
      for (int i = 0; i < 5 && sent < last; ++i) Send(++sent);
      WaitForBytes(clients, 2);
      told = Listen();
    }
  }

  void Check(int round) {
    if (TestDatabase::IsEmbedded()) {
      ASSERT_EQ(deployment.database().Rows("pragma integrity_check"), Lines{"ok"}) << round;
    }
    std::map<std::string, int> stored;
    for (const std::string& id : deployment.database().Rows("select Msg_ID from Messeng_Text")) {
      ASSERT_EQ(++stored[id], 1) << id << " is there twice in round " << round;
    }
    for (const int id : acknowledged) {
      ASSERT_TRUE(stored.contains(fmt::format("K{}", id))) << id << " is lost in round " << round;
    }
  }

  using Lines = std::vector<std::string>;
  std::mt19937_64 random{Seed()};
  Deployment deployment{kClients, kNetwork};
  std::vector<RealClient> clients;
  std::set<int> acknowledged;
  int sent = 0;
};

TEST_F(KillRounds, NoMessageWithAReceiptIsLostAndAResendLeavesOneRow) {
  const int rounds = Rounds(20);
  for (int round = 0; round < rounds; ++round) {
    ASSERT_TRUE(Begin()) << "round " << round << ": " << deployment.server().standardError();
    Resend();
    // Every other round ends with the read that brings receipts.
    const auto milliseconds = std::chrono::milliseconds(round % 2 == 0 ? 3000 : random() % 700);
    SendUntil(Clock::now() + milliseconds, round % 2 == 0);
    deployment.Kill();
    Listen();  // what had left before the end
    ASSERT_NO_FATAL_FAILURE(Check(round));
    if (round % 100 == 99) {
      fmt::print("{} kills, {} messages\n", round + 1, sent);
      fflush(stdout);
    }
  }
  ASSERT_TRUE(Begin()) << deployment.server().standardError();
  const auto end = Clock::now() + std::chrono::seconds(30);
  while (static_cast<int>(acknowledged.size()) < sent && Clock::now() < end) {
    Resend();
    const auto patience = Clock::now() + std::chrono::seconds(3);
    while (static_cast<int>(acknowledged.size()) < sent && Clock::now() < patience) {
      WaitForBytes(clients, 100);
      Listen();
    }
  }
  EXPECT_EQ(static_cast<int>(acknowledged.size()), sent);
  deployment.Kill();
  ASSERT_NO_FATAL_FAILURE(Check(rounds));
  fmt::print("{} kills, {} messages, all acknowledged at last, none lost, none twice\n", rounds,
             sent);
}

}  // namespace
}  // namespace vnq
