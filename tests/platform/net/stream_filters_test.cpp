// The filters between socket and owner, on bytes alone.
#include <gtest/gtest.h>

#include "platform/net/proxy_protocol.h"
#include "platform/net/websocket_filter.h"
#include "tests/harness/lines.h"

namespace vnq {
namespace {

// Feeds a stream in pieces of a size and gives the arrivals.
Lines ArrivalsOf(StreamFilter& filter, const std::string& stream, size_t piece) {
  Lines arrivals;
  for (size_t at = 0; at < stream.size(); at += piece) {
    for (std::string& each : filter.FromPeer(stream.substr(at, piece)).arrivals) {
      arrivals.push_back(std::move(each));
    }
  }
  return arrivals;
}
std::string Joined(const Lines& arrivals) {
  std::string all;
  for (const std::string& each : arrivals) all += each;
  return all;
}

// --- PROXY headers ---

std::string BinaryHeader(char command, char kind, const std::string& rest) {
  std::string header("\r\n\r\n\0\r\nQUIT\n", 12);
  header += command;
  header += kind;
  header += static_cast<char>(rest.size() >> 8);
  header += static_cast<char>(rest.size());
  return header + rest;
}
const std::string kFourBytes("\x0A\x01\x02\x03\x7F\0\0\x01\x30\x39\x17\x74", 12);
const std::string kSixteenBytes = std::string("\x20\x01\x0d\xb8", 4) + std::string(11, '\0') +
                                  "\x07" + std::string(16, '\1') + std::string(4, '\2');

TEST(ProxyHeader, NamesThePeerAndPassesWhatIsBehindIt) {
  const struct {
    std::string header, peer;
  } kCases[] = {
      {"PROXY TCP4 10.1.2.3 127.0.0.1 12345 6004\r\n", "10.1.2.3"},
      {"PROXY TCP6 2001:db8::7 ::1 12345 6004\r\n", "2001:db8::7"},
      {"PROXY UNKNOWN\r\n", ""},
      {"PROXY UNKNOWN whatever it says\r\n", ""},
      {BinaryHeader('\x21', '\x11', kFourBytes), "10.1.2.3"},
      {BinaryHeader('\x21', '\x11', kFourBytes + "further values"), "10.1.2.3"},
      {BinaryHeader('\x21', '\x21', kSixteenBytes), "2001:db8::7"},
      {BinaryHeader('\x20', '\0', ""), ""},
  };
  for (const auto& [header, peer] : kCases) {
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{4096}}) {
      ProxyHeaderFilter filter;
      EXPECT_EQ(filter.ToPeer("greeting"), "");
      EXPECT_EQ(Joined(ArrivalsOf(filter, header + "text", piece)), "text") << header;
      EXPECT_TRUE(filter.IsReady()) << header;
      EXPECT_EQ(filter.PeerAddress(), peer);
      EXPECT_EQ(filter.ToPeer("more"), "more");
    }
  }
}

TEST(ProxyHeader, WhatWasSentBeforeItLeavesWithIt) {
  ProxyHeaderFilter filter;
  filter.ToPeer("greeting");
  EXPECT_EQ(filter.FromPeer("PROXY UNKNOWN\r\n").wire, "greeting");
}

TEST(ProxyHeader, AnyOtherBeginningEndsTheStream) {
  for (const std::string& stream :
       {std::string("GET / HTTP/1.1\r\n"), std::string("PROXY TCP4 nowhere 1 2 3\r\n"),
        std::string("PROXY TCP9 10.1.2.3 1 2 3\r\n"), "PROXY TCP4 " + std::string(120, 'x'),
        BinaryHeader('\x31', '\x11', kFourBytes), BinaryHeader('\x21', '\x11', "short"),
        std::string("LitsYW5kaW5n")}) {
    ProxyHeaderFilter filter;
    EXPECT_TRUE(filter.FromPeer(stream).ended) << stream;
    EXPECT_FALSE(filter.IsReady());
    EXPECT_EQ(filter.Fault(), "no PROXY header");
  }
}

// --- WebSocket ---

const std::string kUpgrade =
    "GET / HTTP/1.1\r\nHost: im\r\nupgrade: WebSocket\r\nConnection: Upgrade\r\n"
    "sec-websocket-key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

// A frame as a client sends it; `first` holds the last-frame bit and the kind.
std::string Masked(int first, const std::string& payload) {
  std::string frame(1, static_cast<char>(first));
  if (payload.size() < 126) {
    frame += static_cast<char>(0x80 | payload.size());
  } else {
    const int bytes = payload.size() < 65536 ? 2 : 8;
    frame += static_cast<char>(bytes == 2 ? 0xFE : 0xFF);
    for (int i = bytes - 1; i >= 0; --i) {
      frame += static_cast<char>(static_cast<uint64_t>(payload.size()) >> (8 * i));
    }
  }
  const std::string mask = "\x11\x22\x33\x44";
  frame += mask;
  for (size_t i = 0; i < payload.size(); ++i) frame += static_cast<char>(payload[i] ^ mask[i % 4]);
  return frame;
}

struct WebSocket : ::testing::Test {
  WebSocket() { answer = filter.FromPeer(kUpgrade).wire; }
  WebSocketFilter filter;
  std::string answer;
};

TEST_F(WebSocket, UpgradeIsAnsweredWithTheProofOfItsKey) {
  EXPECT_TRUE(filter.IsReady());
  EXPECT_EQ(answer,
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n");
}

TEST_F(WebSocket, MessageIsOneArrivalWhateverItsFramesAndPieces) {
  const std::string longer(70'000, 'x');
  const std::string stream = Masked(0x81, "one") + Masked(0x01, "two ") + Masked(0x89, "ping") +
                             Masked(0x00, "and ") + Masked(0x80, "three") + Masked(0x82, longer) +
                             Masked(0x81, "") + Masked(0x8A, "pong") +
                             Masked(0x82, std::string(300, 'y'));
  for (const size_t piece : {size_t{1}, size_t{1000}, stream.size()}) {
    WebSocketFilter each;
    each.FromPeer(kUpgrade);
    EXPECT_EQ(ArrivalsOf(each, stream, piece),
              (Lines{"one", "two and three", longer, std::string(300, 'y')}));
  }
}

TEST_F(WebSocket, PingIsAnsweredAndClosingToo) {
  EXPECT_EQ(filter.FromPeer(Masked(0x89, "abc")).wire,
            "\x8A\x03"
            "abc");
  const StreamFilter::Result end = filter.FromPeer(Masked(0x88,
                                                          "\x03\xE8"
                                                          "bye"));
  EXPECT_EQ(end.wire, "\x88\x02\x03\xE8");
  EXPECT_TRUE(end.ended);
  EXPECT_EQ(filter.ToPeer("late"), "");
  EXPECT_EQ(filter.Farewell(), "");
}

TEST_F(WebSocket, WhatIsSentIsOneMessageAsTextOrBinary) {
  EXPECT_EQ(filter.ToPeer("text"), "\x81\x04text");
  EXPECT_EQ(filter.ToPeer("\xC4\xE3"), "\x82\x02\xC4\xE3");
  EXPECT_EQ(filter.ToPeer(std::string(200, 'x')).substr(0, 4), std::string("\x81\x7E\0\xC8", 4));
  EXPECT_EQ(filter.ToPeer(std::string(70'000, 'x')).substr(0, 10),
            std::string("\x81\x7F\0\0\0\0\0\x01\x11\x70", 10));
  EXPECT_EQ(filter.Farewell(), "\x88\x02\x03\xE9");
}

TEST_F(WebSocket, GreetingWaitsForTheUpgrade) {
  WebSocketFilter fresh;
  EXPECT_EQ(fresh.ToPeer("hello"), "");
  EXPECT_TRUE(fresh.FromPeer(kUpgrade).wire.ends_with("\r\n\r\n\x81\x05hello"));
}

TEST_F(WebSocket, BreachOfTheRulesEndsWithItsCode) {
  const struct {
    std::string bytes;
    const char* code;
  } kCases[] = {
      {"\x81\x03"
       "abc",
       "\x03\xEA"},                                         // not masked
      {Masked(0xC1, "abc"), "\x03\xEA"},                    // reserved bit
      {Masked(0x83, "abc"), "\x03\xEA"},                    // unknown kind
      {Masked(0x80, "abc"), "\x03\xEA"},                    // continues nothing
      {Masked(0x01, "a") + Masked(0x81, "b"), "\x03\xEA"},  // begins in the middle
      {Masked(0x09, "abc"), "\x03\xEA"},                    // cut control frame
      {Masked(0x89, std::string(126, 'x')), "\x03\xEA"},    // long control frame
      {std::string("\x82\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 10) + "mask", "\x03\xF1"},
  };
  for (const auto& [bytes, code] : kCases) {
    WebSocketFilter each;
    each.FromPeer(kUpgrade);
    const StreamFilter::Result result = each.FromPeer(bytes);
    EXPECT_TRUE(result.ended);
    EXPECT_EQ(result.wire, std::string("\x88\x02") + code);
    EXPECT_NE(each.Fault(), "");
    EXPECT_TRUE(each.FromPeer(Masked(0x81, "late")).arrivals.empty());
  }
}

TEST_F(WebSocket, MessageOfManyFramesIsBoundedToo) {
  bool ended = false;
  for (int i = 0; i < 20 && !ended; ++i) {
    ended = filter.FromPeer(Masked(i == 0 ? 0x02 : 0x00, std::string(65'536, 'x'))).ended;
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(filter.Fault(), "message over a megabyte");
}

TEST_F(WebSocket, WhatIsNoUpgradeIsRefused) {
  for (const std::string& request : {std::string("GET / HTTP/1.1\r\n\r\n"),
                                     std::string("POST / HTTP/1.1\r\n") + kUpgrade.substr(16),
                                     "LitsYW5kaW5n" + std::string(20'000, 'x')}) {
    WebSocketFilter fresh;
    const StreamFilter::Result result = fresh.FromPeer(request);
    EXPECT_TRUE(result.ended);
    EXPECT_TRUE(result.wire.starts_with("HTTP/1.1 400 "));
  }
}

// --- One on the other ---

TEST(FilterStack, InnerFiltersGoThroughTheOuterOnes) {
  FilterStack stack;
  stack.Add(std::make_unique<ProxyHeaderFilter>());
  stack.Add(std::make_unique<WebSocketFilter>());
  EXPECT_EQ(stack.ToPeer("hello"), "");
  EXPECT_FALSE(stack.IsReady());
  EXPECT_EQ(stack.FromPeer("PROXY TCP4 10.1.2.3 1.1.1.1 1 2\r\n").wire, "");
  const StreamFilter::Result result = stack.FromPeer(kUpgrade + Masked(0x81, "one"));
  EXPECT_TRUE(stack.IsReady());
  EXPECT_TRUE(result.wire.ends_with("\x81\x05hello"));
  EXPECT_EQ(result.arrivals, Lines{"one"});
  EXPECT_EQ(stack.PeerAddress(), "10.1.2.3");
}

TEST(FilterStack, EmptyOnePassesEverything) {
  FilterStack stack;
  EXPECT_TRUE(stack.IsReady());
  EXPECT_EQ(stack.FromPeer("abc").arrivals, Lines{"abc"});
  EXPECT_EQ(stack.ToPeer("abc"), "abc");
}

}  // namespace
}  // namespace vnq
