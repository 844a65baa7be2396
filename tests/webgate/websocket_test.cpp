// The upgrade of a visitor's connection, and what the server makes of frames.
#include <gmock/gmock.h>

#include "tests/webgate/visitor_client.h"
#include "webgate/visitor_upgrade.h"
#include "webgate/websocket_frame.h"

namespace vnq {
namespace {

using ::testing::HasSubstr;

// --- The upgrade ---

class Upgrade : public ServerTest {
 protected:
  std::string Tag() { return server.Slots(6001).Tag(1); }

  TestClient visitor = server.ConnectTo(kVisitorPort);
};

TEST_F(Upgrade, TheAnswerIsTheTemplateWithAcceptValueOriginAndHost) {
  visitor.SendBytes(GoodUpgradeRequest());
  EXPECT_EQ(visitor.ReceiveBytes(),
            "HTTP/1.1 101 Web Socket Protocol Handshake\r\n"
            "Upgrade: websocket\r\n"
            "Connection: Upgrade\r\n"
            "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n"
            "WebSocket-Origin: http://im.example\r\n"
            "WebSocket-Location: im.example:6001\r\n\r\n");
  EXPECT_EQ(Tag(), "true");
}

TEST_F(Upgrade, ARequestWithoutAKeyGetsNoReplyAndMayBeFollowedByAGoodOne) {
  visitor.SendBytes(UpgradeRequest("Host: h\r\n"));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "");
  EXPECT_FALSE(visitor.IsClosed());
  visitor.SendBytes(GoodUpgradeRequest());
  EXPECT_THAT(visitor.ReceiveBytes(), HasSubstr("s3pPLMBiTxaQ9kYGzzhZRbK+xOo="));
}

TEST_F(Upgrade, AnEmptyKeyGetsNoReply) {
  visitor.SendBytes(UpgradeRequest("Sec-WebSocket-Key:   \r\n"));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "");
}

TEST_F(Upgrade, AKeyHeaderInLowerCaseIsNotFound) {
  visitor.SendBytes(UpgradeRequest("sec-websocket-key: dGhlIHNhbXBsZSBub25jZQ==\r\n"));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "");
}

TEST_F(Upgrade, WithoutAnOriginTheLineEndsBehindItsBlank) {
  visitor.SendBytes(UpgradeRequest("Sec-WebSocket-Key: k\r\nHost: h\r\n"));
  EXPECT_THAT(visitor.ReceiveBytes(),
              HasSubstr("\r\nWebSocket-Origin: \r\nWebSocket-Location: h\r\n\r\n"));
}

TEST_F(Upgrade, AHeaderWithoutALineEndBehindItIsNotFound) {
  visitor.SendBytes("GET / HTTP/1.1\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==");
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "");
}

TEST_F(Upgrade, AnotherHeaderWhoseNameEndsInOriginCountsWhenItComesFirst) {
  visitor.SendBytes(
      UpgradeRequest("Sec-WebSocket-Key: k\r\nSec-WebSocket-Origin: first\r\nOrigin: second\r\n"));
  EXPECT_THAT(visitor.ReceiveBytes(), HasSubstr("WebSocket-Origin: first\r\n"));
}

TEST_F(Upgrade, ARequestCutInTwoIsReadAsTwoRequests) {
  const std::string request = GoodUpgradeRequest();
  const size_t cut = request.find("dGhl") + 4;
  visitor.SendBytes(request.substr(0, cut));
  visitor.SendBytes(request.substr(cut));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "");
}

TEST_F(Upgrade, ASecondRequestOnAnUpgradedSlotIsDropped) {
  visitor.SendBytes(GoodUpgradeRequest());
  visitor.ReceiveBytes();
  visitor.SendBytes(GoodUpgradeRequest());
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_EQ(Tag(), "true");
}

TEST_F(Upgrade, ANewConnectionOnAClosedSlotStartsAtTheUpgradeAgain) {
  visitor.SendBytes(GoodUpgradeRequest());
  visitor.ReceiveBytes();
  server.Slots(6001).Close(1);
  TestClient next = server.ConnectTo(kVisitorPort);
  EXPECT_EQ(server.Slots(6001).Highest(), 1);
  EXPECT_EQ(Tag(), "");
}

TEST_F(Upgrade, ASlotWhoseBrowserHasGoneKeepsItsTagAndIsNotReused) {
  visitor.SendBytes(GoodUpgradeRequest());
  visitor.ReceiveBytes();
  visitor.Close();
  server.AdvanceMs(40'000);
  TestClient next = server.ConnectTo(kVisitorPort);
  EXPECT_EQ(server.Slots(6001).Highest(), 2);
  EXPECT_EQ(Tag(), "true");
  EXPECT_EQ(server.Slots(6001).State(1), SocketState::kClosing);
}

TEST_F(Upgrade, TheEndOfTheServerClosesVisitorsAndTakesTheirTags) {
  visitor.SendBytes(GoodUpgradeRequest());
  visitor.ReceiveBytes();
  server.InHandler([this](Host&) { server.form().Unload(); });
  EXPECT_TRUE(visitor.IsClosed());
  EXPECT_EQ(Tag(), "");
}

TEST(FindBetween, StartsWhereItIsToldAndStandsBehindTheEndMarkerAfterwards) {
  size_t position = 0;
  EXPECT_EQ(FindBetween("a<1>b<2>", "<", ">", position), "1");
  EXPECT_EQ(position, 4u);
  EXPECT_EQ(FindBetween("a<1>b<2>", "<", ">", position), "2");
  EXPECT_EQ(position, 8u);
  EXPECT_EQ(FindBetween("a<1>b<2>", "<", ">", position), "");
  EXPECT_EQ(position, 8u);
}

TEST(FindBetween, AMissingMarkerGivesTheEmptyText) {
  size_t position = 0;
  EXPECT_EQ(FindBetween("abc", "x", "c", position), "");
  EXPECT_EQ(FindBetween("abc", "a", "x", position), "");
  EXPECT_EQ(FindBetween("<>", "<", ">", position), "");
  EXPECT_EQ(position, 2u);
}

TEST(FindBetween, AnEndMarkerInsideTheStartMarkerGivesTheEmptyText) {
  size_t position = 0;
  EXPECT_EQ(FindBetween("abcd", "abc", "b", position), "");
}

// --- Frames, by themselves ---

TEST(DecodeFrame, AMaskedPayloadUpTo125BytesIsUnmasked) {
  for (const size_t size : {1u, 2u, 5u, 125u}) {
    const std::string payload(size, 'p');
    EXPECT_EQ(DecodeFrame(TextFrame(payload)), payload) << size;
  }
}

TEST(DecodeFrame, AMaskedPayloadFrom126BytesStaysMasked) {
  for (const size_t size : {126u, 127u, 65535u}) {
    const std::string frame = TextFrame(std::string(size, 'p'));
    EXPECT_EQ(DecodeFrame(frame), frame.substr(8)) << size;
  }
}

TEST(DecodeFrame, ALongPayloadUnderAMaskOfZerosReadsAsItIs) {
  const std::string payload(300, 'p');
  EXPECT_EQ(DecodeFrame(TextFrame(payload, std::string_view("\0\0\0\0", 4))), payload);
}

TEST(DecodeFrame, APayloadOf65536BytesAndMoreIsNotTakenOut) {
  const std::string frame = TextFrame(std::string(65536, 'p'));
  EXPECT_EQ(DecodeFrame(frame), frame);
}

TEST(DecodeFrame, AnEmptyMaskedFrameStaysAsItIs) {
  EXPECT_EQ(DecodeFrame(TextFrame("")), TextFrame(""));
}

TEST(DecodeFrame, ATwoByteLengthOfZeroStaysAsItIs) {
  const std::string frame("\x81\xfe\0\0mask", 8);
  EXPECT_EQ(DecodeFrame(frame), frame);
}

TEST(DecodeFrame, AShortPayloadInTheTwoByteFormStaysMasked) {
  EXPECT_EQ(DecodeFrame(std::string("\x81\xfe\0\x02maskab", 10)), "ab");
}

TEST(DecodeFrame, AnUnmaskedFrameComesOutWithItsHeadAndZerosBehindIt) {
  std::string expected("\x81\x05hello");
  expected.resize(133, '\0');
  EXPECT_EQ(DecodeFrame(TextFrame("hello", kNoMask)), expected);
}

TEST(DecodeFrame, UnmaskedFramesOfAllSizesComeOutAsLongAsTheirLengthByteSays) {
  for (const size_t size : {0u, 1u, 125u, 126u, 127u, 65535u, 65536u}) {
    const std::string frame = TextFrame(std::string(size, 'p'), kNoMask);
    const size_t lengthByte = size < 126 ? size : size < 65536 ? 126 : 127;
    std::string expected = frame;
    expected.resize(lengthByte + 128, '\0');
    EXPECT_EQ(DecodeFrame(frame), expected) << size;
  }
}

TEST(DecodeFrame, AFrameThatIsCutStaysAsItIs) {
  for (const size_t size : {1u, 125u, 126u, 127u, 65535u, 65536u}) {
    const std::string frame = TextFrame(std::string(size, 'p'));
    for (const size_t cut : {size_t{1}, size_t{2}, size_t{3}, size_t{5}, frame.size() - 1}) {
      EXPECT_EQ(DecodeFrame(frame.substr(0, cut)), frame.substr(0, cut)) << size << " at " << cut;
    }
  }
}

TEST(DecodeFrame, TwoFramesInOneArrivalStayAsTheyAre) {
  for (const size_t size : {0u, 1u, 125u, 126u, 127u, 65535u, 65536u}) {
    const std::string frame = TextFrame(std::string(size, 'p'));
    EXPECT_EQ(DecodeFrame(frame + frame), frame + frame) << size;
  }
}

TEST(DecodeFrame, NoBytesGiveNone) {
  EXPECT_EQ(DecodeFrame(""), "");
}

TEST(IsTextFrame, OnlyAWholeTextFrameIs) {
  EXPECT_TRUE(IsTextFrame("\x81"));
  for (const char* head : {"\x01", "\x80", "\x82", "\x88", "\x89", "\x8A", "\xC1", "G", ""}) {
    EXPECT_FALSE(IsTextFrame(head));
  }
}

// --- Frames, by what the agent gets ---

class Frames : public ServerTest {
 protected:
  Frames() { server.AddUser("1"); }

  // The Base64 of a line for agent 1 that is `size` bytes long.
  std::string Line(size_t size) {
    const std::string head = ".+customer_information|1|v|c|";
    const std::string text(size / 4 * 3 - head.size() - 2, 't');
    return Base64EncodeText(server.page(), head + text + "|#");
  }
  std::string Expected(const std::string& line) {
    Fields fields = Fields::Split(Base64DecodeText(server.page(), line));
    return ".+customer_information|v|c|2026-03-04|05:06:07|" + fields[4].text() + "|#";
  }

  TestClient agent = server.Online("1");
  Visitor visitor{server};
};

TEST_F(Frames, APayloadOf125BytesIsUnmasked) {
  const std::string line = Line(124) + "=";
  ASSERT_EQ(line.size(), 125u);
  visitor.SendBytes(TextFrame(line));
  EXPECT_EQ(agent.Receive(), Expected(line));
}

TEST_F(Frames, APayloadOf126BytesArrivesMaskedAndSoFindsNoCommand) {
  const std::string line = Line(124) + "==";
  ASSERT_EQ(line.size(), 126u);
  visitor.SendBytes(TextFrame(line));
  EXPECT_EQ(agent.Receive(), "");
}

TEST_F(Frames, LongPayloadsUnderAMaskOfZerosArrive) {
  const std::string_view zeros("\0\0\0\0", 4);
  for (const std::string& line : {Line(128) + "", Line(65532) + "==="}) {
    visitor.SendBytes(TextFrame(line, zeros));
    EXPECT_EQ(agent.Receive(), Expected(line)) << line.size();
  }
}

TEST_F(Frames, APayloadOf65536BytesFindsNoCommand) {
  visitor.SendBytes(TextFrame(Line(65536), std::string_view("\0\0\0\0", 4)));
  EXPECT_EQ(agent.Receive(), "");
}

TEST_F(Frames, TwoFramesInOneReadAreLostAndTheNextOneIsNot) {
  const std::string frame = TextFrame(Line(80));
  visitor.SendBytesQuietly(frame);
  visitor.SendBytesQuietly(frame);
  server.Pump();
  EXPECT_EQ(agent.Receive(), "");
  visitor.SendBytes(frame);
  EXPECT_EQ(agent.Receive(), Expected(Line(80)));
}

TEST_F(Frames, AFrameCutInTwoByTheNetworkIsLost) {
  const std::string frame = TextFrame(Line(80));
  for (const size_t cut : {1u, 2u, 6u, 40u}) {
    visitor.SendBytes(frame.substr(0, cut));
    visitor.SendBytes(frame.substr(cut));
    EXPECT_EQ(agent.Receive(), "") << cut;
  }
}

TEST_F(Frames, UnmaskedAndEmptyFramesCauseNothing) {
  for (const size_t size : {0u, 1u, 125u, 126u, 127u, 65535u, 65536u}) {
    visitor.SendBytes(TextFrame(std::string(size, 'p'), kNoMask));
  }
  visitor.SendBytes(TextFrame(""));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_FALSE(visitor.IsClosed());
  EXPECT_EQ(agent.Receive(), "");
}

TEST_F(Frames, ControlBinaryAndUnfinishedFramesCauseNothing) {
  const std::string frame = TextFrame(Line(80));
  for (const char head : {'\x88', '\x89', '\x8A', '\x82', '\x01', '\x80'}) {
    visitor.SendBytes(head + frame.substr(1));
  }
  visitor.SendBytes(std::string("\x88\x80mask"));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_FALSE(visitor.IsClosed());
  EXPECT_EQ(server.Slots(6001).Tag(1), "true");
  EXPECT_EQ(agent.Receive(), "");
}

}  // namespace
}  // namespace vnq
