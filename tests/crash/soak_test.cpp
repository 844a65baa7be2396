// The shipped server under clients that vanish, half-close, stall and dribble, and under storms of
// connections: what they took comes back.
//
//   VNQ_SECONDS=3600 vnq_crash_tests --gtest_filter='Soak.*'     an hour, by hand
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "tests/crash/deployment.h"
#include "tests/crash/rounds.h"

namespace vnq {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kTalkers = 10;
constexpr int kUsers = 60;  // talkers first
constexpr int kStorm = 150;
constexpr size_t kMostOdd = 80;
constexpr unsigned kNetwork = 214;
// Ports whose slots come back when a peer has gone; on the others a slot is taken for good.
constexpr uint16_t kSweptPorts[] = {6004, 6008};

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kMemoryTells = false;  // freed memory is kept for a while on purpose
#else
constexpr bool kMemoryTells = true;
#endif
constexpr long kMoreMegabytes = 40;

int Seconds(int usual) {
  const char* wanted = getenv("VNQ_SECONDS");
  return wanted != nullptr ? std::atoi(wanted) : usual;
}

// What a process holds now, and at most since the first look.
struct Held {
  long megabytes = 0, mostMegabytes = 0;
  long descriptors = 0, mostDescriptors = 0;

  void Look(pid_t process) {
    std::ifstream memory(fmt::format("/proc/{}/statm", process));
    long size = 0, resident = 0;
    memory >> size >> resident;
    megabytes = resident * sysconf(_SC_PAGESIZE) / (1 << 20);
    const std::filesystem::directory_iterator all(fmt::format("/proc/{}/fd", process));
    descriptors = std::distance(begin(all), end(all));
    mostMegabytes = std::max(mostMegabytes, megabytes);
    mostDescriptors = std::max(mostDescriptors, descriptors);
  }
};

class Soak : public ::testing::Test {
 protected:
  RealClient Online(int user) {
    RealClient client(deployment.address());
    client.Send(fmt::format(".+successful_online|{}|1|#", user));
    ++connections;
    return client;
  }

  void Begin() {
    ASSERT_TRUE(deployment.Start()) << deployment.server().standardError();
    for (int user = 1; user <= kTalkers; ++user) {
      talkers.push_back(Online(user));
      talkers.back().ReceiveUntil("SynchronousSuccessfully");
    }
    held.Look(deployment.server().pid());
    before = held;
  }

  // Everybody who behaves: messages, receipts, and the keep-alive that shows how long one waits.
  void Talk() {
    for (int i = 0; i < 3; ++i) {
      const size_t sender = random() % talkers.size();
      talkers[sender].Send(fmt::format(".+message|{}|{}|hello|font|S{}|1|#", 1 + random() % kUsers,
                                       sender + 1, ++messages));
    }
    for (size_t i = 1; i < talkers.size(); ++i) Count(talkers[i].Receive());
    const std::string heard = talkers[0].Receive();
    Count(heard);
    const auto now = Clock::now();
    if (asked && heard.find(".+y|#") != heard.npos) asked = false;
    if (asked) longestWait = std::max(longestWait, now - askedAt);
    if (!asked && now - askedAt > milliseconds(50)) {
      talkers[0].Send(".+y|#");
      asked = true;
      askedAt = now;
    }
  }
  void Count(const std::string& text) {
    for (size_t at = 0; (at = text.find(".+reply|1|", at)) != text.npos; ++at) ++receipts;
  }

  int OddUser() { return kTalkers + 1 + static_cast<int>(random() % (kUsers - kTalkers)); }

  // One more who does not behave.
  void Misbehave() {
    switch (random() % 5) {
      case 0:  // vanishes at once
        Online(OddUser()).Reset();
        break;
      case 1:  // half-closes and stays
        odd.push_back(Online(OddUser()));
        odd.back().HalfClose();
        break;
      case 2:  // never reads
        odd.push_back(Online(OddUser()));
        break;
      case 3:  // has begun a record and dribbles the rest
        odd.push_back(Online(OddUser()));
        dribblers.insert(odd.size() - 1);
        odd.back().Send(".+message|1|2|a long");
        break;
      default:  // sends much and reads nothing
        odd.push_back(Online(OddUser()));
        for (int i = 0; i < 50; ++i) odd.back().SendBytes(std::string(512, 'A'));
    }
    if (odd.size() < kMostOdd) return;
    for (RealClient& client : odd) {
      if (client.IsOpen() && random() % 2 == 0) client.Reset();
    }
    odd.clear();
    dribblers.clear();
  }
  void Dribble() {
    for (const size_t dribbler : dribblers) odd[dribbler].SendBytes("B");
  }

  void Storm() {
    std::vector<RealClient> crowd;
    for (const uint16_t port : kSweptPorts) {
      for (int i = 0; i < kStorm; ++i) crowd.emplace_back(deployment.address(), port);
    }
    connections += static_cast<int>(crowd.size());
    for (size_t i = 0; i < crowd.size(); i += 2) crowd[i].Reset();
  }

  // Sweeps come every twenty seconds. Who was swept is shown as offline.
  bool AllReturned() {
    held.Look(deployment.server().pid());
    const std::string shown = "select count(*) from Users_ID where UserIcoLine<>0";
    return held.descriptors <= before.descriptors + 2 &&
           deployment.database().Rows(shown) == std::vector<std::string>{std::to_string(kTalkers)};
  }

  std::mt19937_64 random{Seed()};
  Deployment deployment{kUsers, kNetwork};
  std::vector<RealClient> talkers, odd;
  std::set<size_t> dribblers;
  Held held, before;
  int connections = 0, messages = 0, receipts = 0;
  bool asked = false;
  Clock::time_point askedAt{};
  Clock::duration longestWait{};
};

TEST_F(Soak, WhatOddClientsTookComesBack) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  const int length = Seconds(10);
  const auto end = Clock::now() + seconds(length);
  auto nextStorm = Clock::now() + seconds(3), nextByte = Clock::now();
  while (Clock::now() < end) {
    Talk();
    if (random() % 4 == 0) Misbehave();
    if (Clock::now() > nextByte) {
      Dribble();
      held.Look(deployment.server().pid());
      nextByte += seconds(1);
    }
    if (Clock::now() > nextStorm) {
      Storm();
      nextStorm += seconds(15);
    }
    WaitForBytes(talkers, 10);
  }
  odd.clear();
  const auto patience = Clock::now() + seconds(60);
  while (!AllReturned() && Clock::now() < patience) {
    Talk();
    WaitForBytes(talkers, 20);
  }
  fmt::print(
      "{} s: {} connections, {} messages, {} receipts; memory {} MB before, {} at most, {} after; "
      "descriptors {}, {}, {}; longest wait for a keep-alive {} ms\n",
      length, connections, messages, receipts, before.megabytes, held.mostMegabytes, held.megabytes,
      before.descriptors, held.mostDescriptors, held.descriptors,
      std::chrono::duration_cast<milliseconds>(longestWait).count());
  EXPECT_TRUE(AllReturned()) << held.descriptors << " descriptors of " << before.descriptors;
  for (const RealClient& talker : talkers) EXPECT_TRUE(talker.IsOpen());
  EXPECT_GT(receipts, messages / 2);
  EXPECT_LT(longestWait, seconds(10));
  if (kMemoryTells) {
    EXPECT_LE(held.megabytes, before.megabytes + kMoreMegabytes);
  }
}

}  // namespace
}  // namespace vnq
