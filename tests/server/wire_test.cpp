// From the bytes of a read to records, and back.
#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class Wire : public ServerTest {
 protected:
  Wire() { server.AddUser("1"); }

  std::string Base64(std::string_view text) { return Base64EncodeText(server.page(), text); }
  Lines Messages() {
    return server.Rows("select YouID,MyID,UserText,FontInfo,Msg_ID from Messeng_Text");
  }

  TestClient client = server.Connect();
};

TEST_F(Wire, TheGreetingIsBase64) {
  TestClient other = server.ConnectTo(6004);
  EXPECT_EQ(other.ReceiveBytes(), Base64(".+SuccessfulConnection|#"));
}

TEST_F(Wire, TwoRecordsInOneReadBothRun) {
  client.Send(".+y|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#.+y|#");
}

TEST_F(Wire, AnEmptyElementBetweenTwoPrefixesIsPassedOver) {
  client.Send(".+.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(Wire, TextInFrontOfTheFirstPrefixIsDroppedAndLaterRecordsRun) {
  client.Send("lost|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(server.host().PendingRecord[1], "");
}

TEST_F(Wire, AMessageSplitOverTwoReadsIsJoined) {
  client.Send(".+message|a|1|c|d|1|part one");
  EXPECT_EQ(Messages(), Lines{});
  client.Send("part two|#");
  EXPECT_EQ(Messages(), Lines{"a|1|c|d|1"});
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|a|1|#");
}

TEST_F(Wire, AMessageTextMayBeCutAnywhere) {
  client.Send(".+message|a|1|first ");
  client.Send("second ");
  client.Send("third|d|7|1|#");
  EXPECT_EQ(Messages(), Lines{"a|1|first second third|d|7"});
}

TEST_F(Wire, AnUnknownCommandIsJoinedToThePendingRecordAndCompletesIt) {
  client.Send(".+message|a|1|text");
  client.Send(".+unknown|d|7|1|#");
  EXPECT_EQ(Messages(), Lines{"a|1|text.+unknown|d|7"});
  EXPECT_EQ(server.host().PendingRecord[1], "");
}

TEST_F(Wire, ATextWithThePrefixInItIsRejoined) {
  client.Send(".+message|a|1|one.+two|d|7|1|#");
  EXPECT_EQ(Messages(), Lines{"a|1|one.+two|d|7"});
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|a|7|#");
}

TEST_F(Wire, ARealCommandInsideATextRunsAndBreaksTheJoining) {
  client.Send(".+message|a|1|one.+y|d|7|1|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(Messages(), Lines{});
}

TEST_F(Wire, ASecondUnfinishedMessageReplacesTheFirst) {
  client.Send(".+message|a|1|lost");
  client.Send(".+message|b|1|kept");
  client.Send("|d|8|1|#");
  EXPECT_EQ(Messages(), Lines{"b|1|kept|d|8"});
}

TEST_F(Wire, AReadThatDoesNotBeginWithThePrefixIsCarriedOverWhole) {
  client.Send(".+message|a|1|one ");
  // The whole read is joined, the second record of it runs by itself as well.
  client.Send("two|d|9|1|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(Messages(), Lines{"a|1|one two|d|9"});
}

TEST_F(Wire, OtherCommandsDoNotWaitForTheirHash) {
  client.Send(".+landing|name1|wrong");
  EXPECT_EQ(client.Receive(), ".+LoginFailed|#");
}

TEST_F(Wire, OfTwoBase64TextsInOneReadOnlyTheFirstIsSeen) {
  const std::string padded = Base64(".+unknown|#");
  ASSERT_EQ(padded.back(), '=');
  client.SendBytes(padded + Base64(".+y|#"));
  EXPECT_EQ(client.Receive(), "");
}

TEST_F(Wire, TextsWithoutPaddingInOneReadAreAllSeen) {
  client.SendBytes(Base64(".+y|#\n") + Base64(".+y|#\n"));
  EXPECT_EQ(client.Receive(), ".+y|#.+y|#");
}

TEST_F(Wire, LineEndsVanishFromFields) {
  client.Send(".+message|a|1|one\r\ntwo|f\non\rt|5|1|#");
  EXPECT_EQ(Messages(), Lines{"a|1|onetwo|font|5"});
}

TEST_F(Wire, AnUnfinishedRecordIsInheritedByTheNextPeerOfTheSlot) {
  client.Send(".+message|a|1|left ");
  client.Close();
  server.AdvanceMs(20'000);
  TestClient next = server.Connect();
  next.Send("behind|d|6|1|#");
  EXPECT_EQ(Messages(), Lines{"a|1|left behind|d|6"});
}

TEST_F(Wire, AReplyWaitsForTheNextPeerOfItsSlot) {
  client.Send(".+message|a|1|t|d|6|1|#");
  client.Close();
  server.AdvanceMs(20'000);
  TestClient next = server.Connect();
  server.Tick();
  EXPECT_EQ(next.Receive(), ".+reply|1|a|6|#");
}

TEST_F(Wire, AClientThatSendsAndClosesIsHeard) {
  client.SendQuietly(".+message|a|1|last words|d|6|1|#");
  client.Close();
  EXPECT_EQ(Messages(), Lines{"a|1|last words|d|6"});
}

TEST_F(Wire, ALongTextThatArrivesInOneReadIsWhole) {
  const std::string text(40'000, 'x');
  client.Send(".+message|a|1|" + text + "|d|6|1|#");
  EXPECT_EQ(server.Value("select length(UserText) from Messeng_Text"), "40000");
}

// A record of Chinese text through deployments of three code pages.
struct Deployment {
  int codePage;
  const char* text;
  const char* arrives;
};
class WireCodePage : public ::testing::TestWithParam<Deployment> {};

TEST_P(WireCodePage, AChineseMessageArrivesAsThePageHoldsIt) {
  TestServerOptions options;
  options.codePage = GetParam().codePage;
  TestServer server(options);
  server.AddUser("1");
  TestClient ben = server.Online("2");
  TestClient ann = server.Online("1");
  ben.Receive();
  ann.Send(std::string(".+message|2|1|") + GetParam().text + "|f|M|1|#");
  server.Tick();
  EXPECT_EQ(ben.Receive(),
            std::string(".+message|1|2026-03-04|05:06:07|") + GetParam().arrives + "|f|M|11|1|#");
}

INSTANTIATE_TEST_SUITE_P(CodePages, WireCodePage,
                         ::testing::Values(Deployment{936, "你好，謝謝€", "你好，謝謝€"},
                                           Deployment{950, "謝謝你們", "謝謝你們"},
                                           Deployment{950, "谢", "?"},
                                           Deployment{1252, "你好 café", "?? café"},
                                           Deployment{936, "喝茶🍵", "喝茶?"}));

}  // namespace
}  // namespace vnq
