// The short record that tells a sender that its message was taken.
#include <filesystem>

#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "server/timers.h"
#include "support/base64_text.h"
#include "tests/harness/test_server.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

class Receipts : public ServerTest {
 protected:
  Receipts() {
    server.AddUser("1");
    server.AddUser("2");
  }
  // What waits for the sender behind a message sent whole, and behind one that was carried over.
  std::string Whole(const std::string& word, const std::string& id) {
    client.Send(word + "|2|1|text|font|" + id + "|1|#");
    return std::exchange(server.host().ReplyBuffer[1], {});
  }
  std::string CarriedOver(const std::string& word, const std::string& id) {
    client.Send(word + "|2|1|te");
    client.Send("xt|font|" + id + "|1|#");
    return std::exchange(server.host().ReplyBuffer[1], {});
  }

  TestClient client = server.Connect();
};

TEST_F(Receipts, WholeRecordsAreAcknowledgedUnlessTheirIdIsExactlyZero) {
  for (const char* id : {"M1", "00", "", " 0", "0.0", "1", "-0", "0x0"}) {
    EXPECT_EQ(Whole(".+message", id), std::string(".+reply|1|2|") + id + "|#") << id;
    EXPECT_EQ(Whole(".+clot_messeng", id), std::string(".+reply|2|2|") + id + "|#") << id;
  }
  EXPECT_EQ(Whole(".+message", "0"), "");
  EXPECT_EQ(Whole(".+clot_messeng", "0"), "");
}

TEST_F(Receipts, CarriedOverRecordsAreAcknowledgedUnlessTheirIdIsZeroAsANumber) {
  for (const char* id : {"M1", "", "1", "0x", "-1"}) {
    EXPECT_EQ(CarriedOver(".+message", id), std::string(".+reply|1|2|") + id + "|#") << id;
    EXPECT_EQ(CarriedOver(".+clot_messeng", id), std::string(".+reply|2|2|") + id + "|#") << id;
  }
  for (const char* id : {"0", "00", " 0", "0.0", "-0"}) {
    EXPECT_EQ(CarriedOver(".+message", id), "") << id;
    EXPECT_EQ(CarriedOver(".+clot_messeng", id), "") << id;
  }
}

TEST_F(Receipts, UnfinishedRecordIsNotAcknowledged) {
  client.Send(".+message|2|1|text|font|M1|1|");
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(Receipts, MessageMadeInsideTheServerIsNotAcknowledged) {
  server.InHandler([](Host& host) {
    Fields fields = Fields::Split(".+message|2|1|text|font|M1|1|#");
    UserMesseng(host, fields, 1, "127.0.0.1");
  });
  EXPECT_EQ(server.Value("select count(*) from Messeng_Text"), "1");
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(Receipts, DuplicateIsAcknowledgedASecondTime) {
  EXPECT_EQ(Whole(".+message", "M1"), ".+reply|1|2|M1|#");
  EXPECT_EQ(Whole(".+message", "M1"), ".+reply|1|2|M1|#");
  EXPECT_EQ(server.Value("select count(*) from Messeng_Text"), "1");
}

TEST_F(Receipts, TwoMessagesWithinOneFlushAreAcknowledgedInOneText) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  client.Send(".+clot_messeng|G|1|b|font|M2|1|#");
  EXPECT_EQ(client.Receive(), "");
  server.Tick();
  EXPECT_EQ(client.ReceiveBytes(),
            Base64EncodeText(server.page(), ".+reply|1|2|M1|#.+reply|2|G|M2|#"));
}

TEST_F(Receipts, GroupMessageThatStoredNothingIsAcknowledged) {
  client.Send(".+clot_messeng|G|77|b|font|M2|1|#");
  EXPECT_EQ(server.Value("select count(*) from MessengClot_Text"), "0");
  EXPECT_EQ(server.Waiting(1), ".+reply|2|G|M2|#");
}

TEST_F(Receipts, ReceiptForALostConnectionGoesToTheNextOneOnItsSlot) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  client.Close();
  server.AdvanceMs(20000);
  TestClient next = server.Connect();
  server.Tick();
  EXPECT_EQ(next.Receive(), ".+reply|1|2|M1|#");
}

TEST_F(Receipts, ResendReachesOnlyDevicesWhoseFlagStillStands) {
  TestClient target = server.Online("2");
  TestClient phone = server.Online("2", 3);
  client.Send(".+message|2|1|a|font|M1|1|#");
  server.Tick();
  target.Receive();
  phone.Receive();
  server.Run("update Messeng_Text set IsAck3=0");
  client.Send(".+message|2|1|a|font|M1|1|#");
  EXPECT_EQ(server.Waiting(2), "");
  EXPECT_EQ(server.Waiting(3), ".+message|1|2026-03-04|05:06:07|a|font|M1|11|0|#");
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#");
}

// --- Receipts and the sync of what they acknowledge ---

class UnsyncedReceipt : public Receipts {
 protected:
  void SetUp() override {
    if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "the file is the embedded engine's";
    server.Run("vacuum into '" + server.folder() + "/backup.db'");
  }
  // Now what was written since the last tick is lost.
  void PutBackupInPlace() {
    std::filesystem::rename(server.folder() + "/backup.db", server.folder() + "/Web/Data/vnq.db");
  }
};

TEST_F(UnsyncedReceipt, StaysBackAndWhatElseWaitsLeavesInItsOrder) {
  TestClient target = server.Online("2");
  TestClient sender = server.Online("1", 3);
  sender.Send(".+message|2|1|a|font|M1|1|#");
  AppendReply(server.host(), 3, ".+other|1|#");
  sender.Send(".+message|1|1|.+reply|1|x|y|#|font|M2|1|#");
  AppendReply(server.host(), 3, ".+other|2|#");
  EXPECT_NE(server.Waiting(3).find(".+reply|1|2|M1|#"), std::string::npos);
  PutBackupInPlace();
  server.Tick();
  const std::string left = sender.Receive();
  EXPECT_EQ(left.find("|M1|#"), std::string::npos) << left;
  EXPECT_EQ(left.find("|M2|#.+other"), std::string::npos) << left;
  EXPECT_LT(left.find(".+other|1|#"), left.find(".+other|2|#")) << left;
  EXPECT_NE(target.Receive().find(".+message|1|"), std::string::npos) << "a delivery is no receipt";
}

TEST_F(UnsyncedReceipt, LeavesWhenTheMessageIsSentAgainAndStored) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  PutBackupInPlace();
  server.Tick();
  EXPECT_EQ(client.Receive(), "");
  server.Tick();
  EXPECT_EQ(client.Receive(), "") << "it is held back for good";
  client.Send(".+message|2|1|a|font|M1|1|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(OtherProgram(server.folder() + "/Web/Data/vnq.db")
                .Read("select count(*) from Messeng_Text where Msg_ID='M1'"),
            "1");
}

TEST_F(UnsyncedReceipt, OfASyncedMessageLeavesThoughALaterSyncFails) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  EXPECT_TRUE(SyncWritten(server.host()));
  client.Send(".+message|2|1|a|font|M2|1|#");
  PutBackupInPlace();
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|M1|#");
}

TEST_F(UnsyncedReceipt, OfABufferThatWasEmptiedIsNotLookedFor) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  server.host().ReplyBuffer[1] = ".+some|longer|record|than|the|receipt|was|#";
  PutBackupInPlace();
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+some|longer|record|than|the|receipt|was|#");
}

TEST_F(Receipts, ReceiptLeavesWithTheTickAndNotBefore) {
  client.Send(".+message|2|1|a|font|M1|1|#");
  server.AdvanceMs(500);
  EXPECT_EQ(client.Receive(), "");
  server.AdvanceMs(500);
  EXPECT_EQ(client.Receive(), ".+reply|1|2|M1|#");
}

TEST_F(Receipts, RowsHoldWhatTheFirstSendingHeldWhateverComesLater) {
  Whole(".+message", "M1");
  const Lines before = server.Rows("select * from Messeng_Text");
  Whole(".+message", "M1");
  CarriedOver(".+message", "M1");
  EXPECT_EQ(server.Rows("select * from Messeng_Text"), before);
}

}  // namespace
}  // namespace vnq
