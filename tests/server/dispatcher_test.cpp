// The road from a read to the commands in it.
#include <algorithm>
#include <set>

#include "server/command_table.h"
#include "server/timers.h"
#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class MainPort : public ServerTest {
 protected:
  MainPort() {
    server.AddUser("1");
    server.AddUser("2");
  }
  std::string IcoLine(const std::string& userId) {
    return server.Value("select UserIcoLine from Users_ID where UserID='" + userId + "'");
  }
  Lines StoredTexts() { return server.Rows("select UserText from Messeng_Text"); }
};

// --- The table ---

TEST(CommandTableRows, NoWordStandsTwice) {
  std::set<std::string_view> words;
  for (const CommandRow& row : ClientCommands())
    EXPECT_TRUE(words.insert(row.word).second) << row.word;
}

TEST(CommandTableRows, EveryRowHasAWordWithPrefixAHandlerAndASummary) {
  for (const CommandRow& row : ClientCommands()) {
    EXPECT_TRUE(row.word.starts_with(".+")) << row.word;
    EXPECT_NE(row.handler, nullptr) << row.word;
    EXPECT_TRUE(row.summary.ends_with('.')) << row.word;
    EXPECT_EQ(std::count(row.summary.begin(), row.summary.end(), '.'), 1) << row.word;
  }
}

TEST(CommandTableRows, StandInTheFixedOrder) {
  const Lines order = {".+landing",
                       ".+phone_log",
                       ".+request_data_synchronization_online",
                       ".+successful_online",
                       ".+change_password",
                       ".+modify_data",
                       ".+modify_isverify",
                       ".+modify_isSilence",
                       ".+modify_personal_pictures",
                       ".+clear_personal_pictures",
                       ".+new_group_information",
                       ".+modify_group_information",
                       ".+modify_group_members",
                       ".+add_group_members",
                       ".+del_group_members",
                       ".+set_group_administrator",
                       ".+modify_group_photos",
                       ".+clear_group_photos",
                       ".+request_synchronous_LOGO",
                       ".+request_personalized_photos",
                       ".+offline_request_web_information",
                       ".+offline",
                       ".+stealth",
                       ".+go_away",
                       ".+on_line",
                       ".+message",
                       ".+clot_messeng",
                       ".+retract",
                       ".+mass_information",
                       ".+messengverify",
                       ".+reply_transmission",
                       ".+jitter_window",
                       ".+meeting_message",
                       ".+meeting_force",
                       ".+request_remote",
                       ".+reply_request_remote",
                       ".+remote_control",
                       ".+upload_files",
                       ".+notification",
                       ".+interface_information",
                       ".+delete_bulletin",
                       ".+shared_notice",
                       ".+customer",
                       ".+customer_information",
                       ".+y"};
  size_t place = 0;
  for (const CommandRow& row : ClientCommands()) {
    const auto found = std::find(order.begin(), order.end(), row.word);
    ASSERT_NE(found, order.end()) << row.word;
    const auto at = static_cast<size_t>(found - order.begin()) + 1;
    EXPECT_GT(at, place) << row.word;
    place = at;
  }
}

TEST(CommandTableRows, OnlyThreeCommandsLookAtTheClosingMarkAndTwoHaveReceipts) {
  Lines closing, receipts;
  for (const CommandRow& row : ClientCommands()) {
    if (row.needsHash) closing.emplace_back(row.word);
    if (row.receipt != Receipt::kNone) receipts.emplace_back(row.word);
  }
  EXPECT_EQ(closing, (Lines{".+message", ".+clot_messeng", ".+customer_information"}));
  EXPECT_EQ(receipts, (Lines{".+message", ".+clot_messeng"}));
}

// --- Keep-alive and unknown words ---

TEST_F(MainPort, KeepAliveOfASlotWithoutLoginIsAnswered) {
  TestClient client = server.Connect();
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(MainPort, KeepAliveIsAnsweredAtOnceAndWritesNoLogRow) {
  TestClient client = server.Connect();
  client.Send(".+y");
  EXPECT_EQ(client.Receive(), ".+y|#");
  client.Send(".+y|further|fields|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(server.Waiting(1), "");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(MainPort, CommandThatDiffersByCaseIsUnknown) {
  TestClient client = server.Connect();
  client.Send(".+Landing|name1|pw1|10.0.0.1|mac|x|#");
  client.Send(".+Y|#");
  EXPECT_EQ(client.Receive(), "");
  EXPECT_FALSE(client.IsClosed());
}

TEST_F(MainPort, OfflineRequestIsNotTakenForOffline) {
  TestClient client = server.Online("1");
  client.Send(".+offline_request_web_information|1|#");
  EXPECT_FALSE(client.IsClosed());
  EXPECT_EQ(IcoLine("1"), "1");
  EXPECT_EQ(server.Log().back(), "1" + server.Lang("im76") + "|1|127.0.0.1|7");
}

TEST_F(MainPort, OfflineIsNotTakenForALongerWordThatBeginsLikeIt) {
  TestClient client = server.Online("1");
  client.Send(".+offlin|1|#");
  client.Send(".+offline_|1|#");
  EXPECT_FALSE(client.IsClosed());
  EXPECT_EQ(IcoLine("1"), "1");
}

TEST_F(MainPort, UnknownCommandWithNothingPendingIsDroppedWithoutAnswer) {
  TestClient client = server.Connect();
  client.Send(".+no_such_command|1|2|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), "");
  EXPECT_FALSE(client.IsClosed());
  EXPECT_EQ(server.Log(), Lines{});
  EXPECT_EQ(server.host().PendingRecord[1], "");
}

TEST_F(MainPort, ReplyIsNoCommandOfClients) {
  TestClient client = server.Connect();
  client.Send(".+reply|1|2|M1|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), "");
}

// --- Splitting a read ---

TEST_F(MainPort, RecordsOfOneReadRunInOrderAndSeeTheChangesOfEarlierOnes) {
  TestClient client = server.Connect();
  client.Send(".+go_away|1|#.+successful_online|1|3|#.+on_line|2|#");
  EXPECT_EQ(IcoLine("1"), "2");  // the phone found the user visible already
  EXPECT_EQ(IcoLine("2"), "1");
  EXPECT_EQ(server.Log(), (Lines{"1" + server.Lang("im82") + "|1|127.0.0.1|2",
                                 "1" + server.Lang("im58") + "|1|127.0.0.1|1",
                                 "2" + server.Lang("im83") + "|2|127.0.0.1|4"}));
}

TEST_F(MainPort, TwoKeepAlivesInOneReadAreAnsweredTwice) {
  TestClient client = server.Connect();
  client.Send(".+y|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#.+y|#");
}

TEST_F(MainPort, EmptyElementBetweenTwoPrefixesIsSkipped) {
  TestClient client = server.Connect();
  client.Send(".+.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(MainPort, ReadWithoutPrefixIsDroppedAndItsLaterPiecesRun) {
  TestClient client = server.Connect();
  client.Send("junk|#.+y|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#.+y|#");
}

TEST_F(MainPort, LineBreaksVanishFromAFieldAndItsNeighboursStay) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|on\r\ne\n\r|fo\nnt|M1|1|#\r\n");
  EXPECT_EQ(server.Rows("select UserText,FontInfo,Msg_ID from Messeng_Text"), Lines{"one|font|M1"});
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#");
}

TEST_F(MainPort, OfTwoTextsInOneReadTheOneBehindPaddingIsLost) {
  TestClient client = server.Connect();
  const std::string padded = Base64EncodeText(server.page(), ".+y|#");
  ASSERT_TRUE(padded.ends_with('='));
  client.SendBytes(padded + padded);
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(MainPort, OfTwoTextsInOneReadWithoutPaddingBothRun) {
  TestClient client = server.Connect();
  const std::string whole = Base64EncodeText(server.page(), ".+y||#");
  ASSERT_FALSE(whole.ends_with('='));
  client.SendBytes(whole + whole);
  EXPECT_EQ(client.Receive(), ".+y|#.+y|#");
}

TEST_F(MainPort, CommandWithoutClosingMarkRunsAllTheSame) {
  TestClient client = server.Connect();
  client.Send(".+landing|a|b");
  EXPECT_EQ(client.Receive(), ".+LoginFailed|#");
  EXPECT_TRUE(client.IsClosed());
}

// --- Carry-over ---

TEST_F(MainPort, UnfinishedMessageIsCompletedByTheNextRead) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|text|font|M1|part one");
  EXPECT_EQ(StoredTexts(), Lines{});
  EXPECT_EQ(server.host().PendingRecord[1], ".+message|2|1|text|font|M1|part one");
  client.Send(" part two|#");
  EXPECT_EQ(server.Rows("select Msg_ID,MyID,YouID,UserText,FontInfo,To_Type from Messeng_Text"),
            Lines{"M1|1|2|text|font|10"});
  EXPECT_EQ(server.host().PendingRecord[1], "");
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#");
}

TEST_F(MainPort, MessageIsCarriedOverManyReads) {
  TestClient client = server.Connect();
  for (const char* part : {".+message|2|1|a", "b", "c|fo", "nt|M", "1|5", "|#"}) client.Send(part);
  EXPECT_EQ(server.Rows("select Msg_ID,UserText,FontInfo,To_Type from Messeng_Text"),
            Lines{"M1|abc|font|60"});
}

TEST_F(MainPort, TextThatHoldsThePrefixIsCutAndRejoined) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|a.+b.+c|font|M1|1|#");
  EXPECT_EQ(StoredTexts(), Lines{"a.+b.+c"});
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#");
}

TEST_F(MainPort, DoubledPrefixInATextLosesOneInTheRejoining) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|a.+.+b|font|M1|1|#");
  EXPECT_EQ(StoredTexts(), Lines{"a.+b"});
}

TEST_F(MainPort, RealCommandInATextRunsAndTheJoiningFails) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|a.+y|font|M1|1|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(StoredTexts(), Lines{});
  EXPECT_EQ(server.host().PendingRecord[1], ".+message|2|1|a");
}

TEST_F(MainPort, UnknownCommandWhileARecordIsPendingCompletesIt) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|a");
  client.Send(".+unknown|font|M1|1|#");
  EXPECT_EQ(StoredTexts(), Lines{"a.+unknown"});
}

TEST_F(MainPort, SecondUnfinishedMessageReplacesTheFirst) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|first");
  client.Send(".+message|2|1|second");
  client.Send("|font|M1|1|#");
  EXPECT_EQ(StoredTexts(), Lines{"second"});
}

TEST_F(MainPort, FinishedMessageLeavesAPendingOneAsItIs) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|first");
  client.Send(".+message|2|1|whole|font|M1|1|#");
  client.Send("|font|M2|1|#");
  EXPECT_EQ(StoredTexts(), (Lines{"whole", "first"}));
}

TEST_F(MainPort, PendingRecordsOfTwoSlotsAreApart) {
  TestClient ann = server.Connect();
  TestClient ben = server.Connect();
  ann.Send(".+message|2|1|ann");
  ben.Send(".+message|1|2|ben");
  ben.Send("|font|M2|1|#");
  ann.Send("|font|M1|1|#");
  EXPECT_EQ(server.Rows("select MyID,UserText from Messeng_Text"), (Lines{"2|ben", "1|ann"}));
}

TEST_F(MainPort, NextConnectionOnASlotCompletesTheLeftoversOfTheOneBefore) {
  {
    TestClient gone = server.Connect();
    gone.Send(".+message|2|1|left");
    gone.Close();
  }
  server.InHandler(ErrTimerTick);
  TestClient next = server.Connect();
  ASSERT_EQ(server.State(1), SocketState::kConnected);
  next.Send("over|font|M1|1|#");
  EXPECT_EQ(StoredTexts(), Lines{"leftover"});
}

TEST_F(MainPort, ReadThatBeginsInTheMiddleOfARecordGoesWholeToTheCarryOver) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|a");
  client.Send("|font|M1|1|#.+y|#");  // element 0 stands for the whole read
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(StoredTexts(), Lines{"a"});
}

// --- Trust ---

TEST_F(MainPort, UserNamedInARecordIsTrusted) {
  TestClient stranger = server.Connect();
  stranger.Send(".+go_away|1|#");
  EXPECT_EQ(IcoLine("1"), "2");
}

// --- Yields ---

TEST_F(MainPort, OtherRecordsAreHandledInTheMiddleOfABroadcast) {
  TestClient ann = server.Online("1");
  TestClient ben = server.Online("2");
  std::vector<TestClient> watchers;
  for (int i = 0; i < 20; ++i) watchers.push_back(server.Connect());
  server.Run("delete from ServerLog");
  ann.SendQuietly(".+go_away|1|#");
  ben.SendQuietly(".+message|1|2|hello|font|M1|1|#");
  server.Pump();
  EXPECT_EQ(server.Log(), (Lines{"2 To 1" + server.Lang("im103") + "|2|127.0.0.1|5",
                                 "1" + server.Lang("im82") + "|1|127.0.0.1|2"}));
  for (TestClient& watcher : watchers) EXPECT_EQ(watcher.Receive(), ".+new_leaving|1|||#");
}

TEST_F(MainPort, SecondReadOfASlotIsHandledWhileTheFirstYields) {
  TestClient ann = server.Online("1");
  std::vector<TestClient> watchers;
  for (int i = 0; i < 20; ++i) watchers.push_back(server.Connect());
  server.Run("delete from ServerLog");
  ann.SendQuietly(".+go_away|1|#");
  server.loop().Turn(0);
  server.loop().Turn(0);
  ASSERT_EQ(server.Log(), Lines{});
  ann.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Log(), (Lines{"1 To 2" + server.Lang("im103") + "|1|127.0.0.1|5",
                                 "1" + server.Lang("im82") + "|1|127.0.0.1|2"}));
}

}  // namespace
}  // namespace vnq
