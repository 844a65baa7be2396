#include "platform/net/outgoing_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

namespace vnq {
namespace {

// Takes up to `count` bytes off.
std::string Taken(OutgoingBytes& bytes, size_t count) {
  std::string taken;
  while (!bytes.empty() && taken.size() < count) {
    const std::string next(bytes.Front().substr(0, count - taken.size()));
    taken += next;
    bytes.Leave(next.size());
  }
  return taken;
}

TEST(OutgoingBytes, LeaveInTheOrderTheyCameWhereverACallEnds) {
  OutgoingBytes bytes;
  const auto shared = std::make_shared<const std::string>(5000, 'b');
  bytes.Append("aaa");
  bytes.Append(shared, 4);
  bytes.Append("c");
  bytes.Append(std::make_shared<const std::string>("xdd"), 1);
  EXPECT_EQ(bytes.size(), 3 + 4996 + 1 + 2u);
  EXPECT_EQ(Taken(bytes, 2), "aa");
  EXPECT_EQ(Taken(bytes, 2), "ab");
  EXPECT_EQ(Taken(bytes, 4995), std::string(4995, 'b'));
  EXPECT_EQ(Taken(bytes, 9), "cdd");
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(bytes.OwnBytes(), 0u);
}

// 60 MB behind, and 600 MB on their way through it.
TEST(OutgoingBytes, WhatHasLeftGoesThoughThePeerStaysBehind) {
  OutgoingBytes bytes;
  const std::string text(100'000, 'a');
  size_t most = 0;
  for (int i = 0; i < 6000; ++i) {
    bytes.Append(text);
    if (i >= 600) {
      EXPECT_EQ(Taken(bytes, text.size()).size(), text.size());
    }
    most = std::max(most, bytes.OwnBytes());
  }
  EXPECT_LE(most, 601 * text.size());
}

TEST(OutgoingBytes, OfSmallTextsAtMostOnePieceWaitsForItsRest) {
  OutgoingBytes bytes;
  for (int i = 0; i < 100'000; ++i) bytes.Append("0123456789");
  Taken(bytes, 999'990);
  EXPECT_EQ(bytes.size(), 10u);
  EXPECT_LE(bytes.OwnBytes(), 64u * 1024);
}

TEST(OutgoingBytes, SharedOnesAreHeldOnceAndGoWithTheLastPeer) {
  const auto shared = std::make_shared<const std::string>(500'000, 'a');
  OutgoingBytes peers[300];
  for (OutgoingBytes& peer : peers) peer.Append(shared, 0);
  for (OutgoingBytes& peer : peers) EXPECT_EQ(peer.OwnBytes(), 0u);
  EXPECT_EQ(shared.use_count(), 301);
  for (OutgoingBytes& peer : peers) Taken(peer, peer.size());
  EXPECT_EQ(shared.use_count(), 1);
}

}  // namespace
}  // namespace vnq
