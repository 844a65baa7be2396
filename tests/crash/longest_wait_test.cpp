// How long a keep-alive waits while others give the shipped server much to do, in real time.
//
//   VNQ_PERCENT=100 vnq_crash_tests --gtest_filter='LongestWait.*'     all of it, by hand
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/base64_text.h"
#include "tests/crash/deployment.h"
#include "tests/crash/rounds.h"

namespace vnq {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr unsigned kNetwork = 217;
constexpr seconds kLongestStorm{60};
constexpr seconds kBehindIt{3};

// Keep-alives of one client, the next one shortly behind the answer to the last.
class Asker {
 public:
  explicit Asker(const std::string& address) : client_(address) {
    client_.ReceiveUntil("SuccessfulConnection");
    thread_ = std::thread([this] {
      while (!ends_) Ask();
    });
  }
  ~Asker() { End(); }

  void End() {
    ends_ = true;
    if (thread_.joinable()) thread_.join();
  }

  // Behind End.
  int answers = 0;
  Clock::duration longest{};

 private:
  void Ask() {
    const auto asked = Clock::now();
    client_.Send(".+y|#");
    std::string heard;
    pollfd ready{client_.descriptor(), POLLIN, 0};
    while (heard.find(".+y|#") == heard.npos && client_.IsOpen()) {
      poll(&ready, 1, 1000);
      heard += client_.Receive();
    }
    if (client_.IsOpen()) ++answers;
    longest = std::max(longest, Clock::now() - asked);
    std::this_thread::sleep_for(milliseconds(10));
  }

  RealClient client_;
  std::atomic<bool> ends_{false};
  std::thread thread_;
};

class LongestWait : public ::testing::Test {
 protected:
  struct Storm {
    int senders = 1;
    size_t times = 1;     // each sends the text so often
    bool leaves = false;  // when it has sent
    int listeners = 0;    // connected beside them, and reading nothing
  };

  void SetUp() override { ASSERT_TRUE(deployment.Start()) << deployment.server().standardError(); }

  static size_t Part(size_t whole) { return std::max<size_t>(whole * Percent(2) / 100, 1); }

  // Each text is encoded by itself, its padding filled up.
  static std::string Wire(std::string text) {
    while (text.size() % 3 != 0) text += '\n';
    return Base64EncodeBytes(text);
  }

  void Measure(const std::string& what, const std::string& text, const Storm& storm) {
    std::vector<RealClient> listeners;
    listeners.reserve(static_cast<size_t>(storm.listeners));
    for (int i = 0; i < storm.listeners; ++i) listeners.emplace_back(deployment.address());
    Asker asker(deployment.address());
    const size_t sent = SendAll(Wire(text), storm);
    asker.End();
    const auto longestMs = std::chrono::duration_cast<milliseconds>(asker.longest).count();
    fmt::print("{}: {} MB sent, {} keep-alives, the longest wait {} ms\n", what, sent / 1'000'000,
               asker.answers, longestMs);
    EXPECT_GT(asker.answers, 0);
    EXPECT_LT(asker.longest, seconds(10));
  }

  // The bytes that were taken, at the latest a while after the beginning.
  size_t SendAll(const std::string& wire, const Storm& storm) {
    std::vector<RealClient> senders;
    senders.reserve(static_cast<size_t>(storm.senders));
    for (int i = 0; i < storm.senders; ++i) senders.emplace_back(deployment.address());
    std::vector<size_t> sent(senders.size());
    const size_t whole = wire.size() * storm.times;
    const auto end = Clock::now() + kLongestStorm;
    bool isDone = false;
    while (!isDone && Clock::now() < end) {
      isDone = true;
      for (size_t i = 0; i < senders.size(); ++i) {
        if (!senders[i].IsOpen() || sent[i] >= whole) continue;
        isDone = false;
        sent[i] +=
            senders[i].SendBytes(std::string_view(wire).substr(sent[i] % wire.size(), 1 << 18));
        if (sent[i] >= whole && storm.leaves) senders[i].Reset();
      }
      std::this_thread::sleep_for(milliseconds(1));
    }
    std::this_thread::sleep_for(kBehindIt);
    size_t all = 0;
    for (const size_t each : sent) all += each;
    return all;
  }

  std::string Times(std::string_view record, size_t times) {
    std::string text;
    for (size_t i = 0; i < times; ++i) text += record;
    return text;
  }

  Deployment deployment{3, kNetwork};
};

TEST_F(LongestWait, WhileSixtySendPresenceCommandsToAHundred) {
  Measure("8 MB of .+on_line from each of 60, 100 connected",
          Times(".+on_line|1|#", Part(8'000'000) / 13), {.senders = 60, .listeners = 100});
}

TEST_F(LongestWait, WhileThreeHundredRelayToOneWhoDoesNotRead) {
  RealClient silent(deployment.address());
  silent.Send(".+successful_online|1|1|#");
  silent.ReceiveUntil("SynchronousSuccessfully");
  Measure("20 MB of relays from each of 300",
          ".+reply_transmission|1|1|" + std::string(10'000, 'a') + "|#",
          {.senders = 300, .times = Part(1500)});
}

TEST_F(LongestWait, WhileARecordHasNoEnd) {
  Measure("100 MB without an end", ".+message|2|1|" + std::string(Part(100'000'000), 'a'), {});
}

TEST_F(LongestWait, WhileARecordIsNothingButSeparators) {
  Measure("360 KB of separators", ".+shared_notice" + std::string(Part(360'000), '|') + "#", {});
}

TEST_F(LongestWait, WhileANoticeGoesToManyReceivers) {
  std::string receivers;
  for (size_t i = 0; i < Part(50'000); ++i) receivers += fmt::format("{:016},", i);
  Measure("a notice to 50,000 receivers, 840 KB",
          ".+notification|1|" + receivers + "|title|text|link|#", {});
}

TEST_F(LongestWait, WhileWhoSentPresenceCommandsHasLeft) {
  Measure("400 KB of .+stealth by a peer who leaves, 100 connected",
          Times(".+stealth|1|#", Part(400'000) / 13), {.leaves = true, .listeners = 100});
}

}  // namespace
}  // namespace vnq
