// The one delivery routine, kind by kind.
#include "messaging/messaging.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class LeaveMessengTest : public ServerTest {
 protected:
  void Leave(const Expr& tag, int kind, const Expr& id) {
    server.InHandler(
        [=](Host& host) { LeaveMesseng(host, tag, DeliveryKind(static_cast<int16_t>(kind)), id); });
  }
  // What a kind appends for the device "u" on slot 1; the buffer is empty before and after.
  std::string Left(int kind, const Expr& id = "M1") {
    Leave("u", kind, id);
    return std::exchange(server.host().ReplyBuffer[1], {});
  }
  void AddMessage(const std::string& flags, const std::string& text = "hello") {
    server.Run(
        "insert into Messeng_Text(Msg_ID,MyID,YouID,FcName,To_Date,To_Time,UserText,FontInfo,"
        "To_Type,IsAck1,IsAck2,IsAck3,IsAck4) "
        "values('M1','my','you','Name','2026-01-02','03:04:05','" +
        text + "','font',10," + flags + ")");
  }
  void AddFile() {
    server.Run(
        "insert into LeaveFile(Msg_ID,UserID1,UserID2,TypePath,PcSize,ToDate,SendTy,FilPath) "
        "values('M1','u1','u2','a.txt','12','2026-01-09','1','p/a')");
  }

  TestClient device = server.Online("u");
};

constexpr const char* kSenderHead = ".+message|you|2026-01-02|03:04:05|";
constexpr const char* kTargetHead = ".+message|my|2026-01-02|03:04:05|";

// --- What cannot be read ---

TEST_F(LeaveMessengTest, RowWhoseDateCannotBeReadIsNotDelivered) {
  AddMessage("1,1,1,1");
  EXPECT_NE(Left(13), "");
  server.Run("alter table Messeng_Text rename column To_Date to Gone");
  for (const int kind : {11, 12, 13, 14, 61, 62, 64}) EXPECT_EQ(Left(kind), "") << kind;
}

TEST_F(LeaveMessengTest, FileMessageWhoseTextCannotBeReadIsNotDelivered) {
  AddMessage("1,1,1,1");
  EXPECT_NE(Left(64), "");
  server.Run("alter table Messeng_Text rename column UserText to Gone");
  for (const int kind : {61, 62, 64}) EXPECT_EQ(Left(kind), "") << kind;
}

// --- The device ---

TEST_F(LeaveMessengTest, DeviceThatIsNotThereQueuesNothing) {
  AddMessage("1,1,1,1");
  Leave("nobody", 13, "M1");
  Leave("nobodym", 14, "M1");
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(LeaveMessengTest, TargetOnDesktopOnlyGetsTheDesktopCopyOnly) {
  AddMessage("0,1,1,1");
  Leave("u", 13, "M1");
  const std::string copy = server.Waiting(1);
  EXPECT_NE(copy, "");
  Leave("um", 14, "M1");
  EXPECT_EQ(server.Waiting(1), copy);
}

TEST_F(LeaveMessengTest, TagIsComparedExactly) {
  AddMessage("1,1,1,1");
  for (const char* tag : {"U", "u ", " u", "um", ""}) Leave(tag, 13, "M1");
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(LeaveMessengTest, OfTwoSessionsOnlyTheLowestConnectedSlotGetsTheCopy) {
  AddMessage("1,1,1,1");
  TestClient second = server.Connect();
  server.Slots(6004).SetTag(2, "u");
  Leave("u", 13, "M1");
  EXPECT_NE(server.Waiting(1), "");
  EXPECT_EQ(server.Waiting(2), "");
  server.host().ReplyBuffer[1].clear();
  device.Close();
  Leave("u", 13, "M1");
  EXPECT_EQ(server.Waiting(1), "");
  EXPECT_NE(server.Waiting(2), "");
}

TEST_F(LeaveMessengTest, EmptyTagIsTheFirstConnectionWithoutAName) {
  AddMessage("1,1,1,1");
  TestClient unnamed = server.Connect();
  Leave("", 13, "M1");
  EXPECT_NE(server.Waiting(2), "");
}

TEST_F(LeaveMessengTest, RecordsGatherInTheBufferAndLeaveAsOneText) {
  AddMessage("1,1,1,1");
  Leave("u", 13, "M1");
  Leave("u", 11, "M1");
  const std::string both =
      std::string(kTargetHead) + "hello|font|M1|11|1|#" + kSenderHead + "hello|font|M1|10|1|#";
  EXPECT_EQ(server.Waiting(1), both);
  server.Tick();
  EXPECT_EQ(device.Receive(), both);
  EXPECT_EQ(server.Waiting(1), "");
  server.Tick();
  EXPECT_EQ(device.Receive(), "");
}

TEST_F(LeaveMessengTest, RecordForASlotThatDropsGoesToTheNextConnectionOnIt) {
  AddMessage("1,1,1,1");
  Leave("u", 13, "M1");
  device.Close();
  server.AdvanceMs(20000);  // the sweep closes the slot
  TestClient next = server.Connect();
  server.Tick();
  EXPECT_EQ(next.Receive(), std::string(kTargetHead) + "hello|font|M1|11|1|#");
}

TEST_F(LeaveMessengTest, KindsThatAreNoneQueueNothing) {
  AddMessage("1,1,1,1");
  for (int kind : {-1, 0, 1, 2, 3, 6, 10, 15, 20, 25, 60, 65, 70, 75, 80, 81, 83, 85, 32767}) {
    EXPECT_EQ(Left(kind), "") << kind;
  }
}

TEST_F(LeaveMessengTest, NothingIsQueuedWithoutARowAndWithAQuoteInTheId) {
  AddMessage("1,1,1,1");
  for (int kind : {4, 5, 11, 12, 13, 14, 21, 22, 23, 24, 61, 62, 63, 64, 71, 72, 73, 74, 84}) {
    EXPECT_EQ(Left(kind, "99"), "") << kind;
    EXPECT_EQ(Left(kind, "a'b"), "") << kind;
    EXPECT_EQ(Left(kind, Expr::Failed()), "") << kind;
    EXPECT_EQ(Left(kind, ""), "") << kind;
  }
}

TEST_F(LeaveMessengTest, NoDeliveryChangesItsRow) {
  AddMessage("1,1,1,1");
  const Lines before = server.Rows("select * from Messeng_Text");
  for (int kind : {11, 12, 13, 14, 61, 62, 63, 64}) Leave("u", kind, "M1");
  EXPECT_EQ(server.Rows("select * from Messeng_Text"), before);
}

// --- Messages ---

struct Copy {
  int kind;
  const char* flags;
  const char* record;  // behind its head; null: nothing
};

TEST_F(LeaveMessengTest, PeerCopiesShowTheirOwnSidesFlags) {
  const Copy cases[] = {
      {11, "1,0,1,1", "hello|font|M1|10|0|#"},
      {11, "1,1,0,0", "hello|font|M1|10|1|#"},
      {11, "0,1,1,1", nullptr},
      {12, "0,1,1,1", "hello|font|M1|10|0|#"},
      {12, "1,1,0,0", "hello|font|M1|10|1|#"},
      {12, "1,0,1,1", nullptr},
      {13, "0,1,1,1", "hello|font|M1|11|1|#"},
      {13, "1,1,1,0", "hello|font|M1|11|0|#"},
      {13, "1,1,0,1", nullptr},
      {14, "0,1,1,1", "hello|font|M1|11|1|#"},
      {14, "1,1,0,1", "hello|font|M1|11|0|#"},
      {14, "1,1,1,0", nullptr},
      {13, "1,1,1,NULL", "hello|font|M1|11||#"},
      {11, "1,2,0,0", "hello|font|M1|10|2|#"},
  };
  for (const Copy& each : cases) {
    AddMessage(each.flags);
    const std::string head = each.kind <= 12 ? kSenderHead : kTargetHead;
    EXPECT_EQ(Left(each.kind), each.record == nullptr ? "" : head + each.record)
        << each.kind << " " << each.flags;
    server.Run("delete from Messeng_Text");
  }
}

TEST_F(LeaveMessengTest, FileFormCopiesWrapTheirTextForTheDevice) {
  const Copy cases[] = {
      {61, "1,0,1,1", "%7Bh%40hello%7D|font|M1|1|0|#"},
      {61, "1,1,1,1", "%7Bh%40hello%7D|font|M1|1|1|#"},
      {61, "0,1,1,1", nullptr},
      {62, "0,1,1,1", "%7Ba%40hello%7D|font|M1|1|0|#"},
      {62, "1,0,1,1", nullptr},
      {64, "0,0,1,1", "%7Ba%40hello%7D|font|M1|2|1|#"},
      {64, "0,0,0,1", "%7Ba%40hello%7D|font|M1|2|0|#"},
      {64, "1,1,1,0", nullptr},
  };
  for (const Copy& each : cases) {
    AddMessage(each.flags);
    const std::string head = each.kind <= 62 ? kSenderHead : kTargetHead;
    EXPECT_EQ(Left(each.kind), each.record == nullptr ? "" : head + each.record)
        << each.kind << " " << each.flags;
    server.Run("delete from Messeng_Text");
  }
}

TEST_F(LeaveMessengTest, WrappedTextIsEscapedOnceMore) {
  AddMessage("1,1,1,1", "%u4F60 x");
  EXPECT_EQ(Left(61), std::string(kSenderHead) + "%7Bh%40%25u4F60%20x%7D|font|M1|1|1|#");
}

TEST_F(LeaveMessengTest, TargetsDesktopGetsTheFileRecordWhileBothCopiesAreWanted) {
  AddMessage("0,1,1,1");
  AddFile();
  EXPECT_EQ(Left(63), ".+offline_file|u1|u2|a.txt|12|2026-01-09|M1|p/a|#");
}

TEST_F(LeaveMessengTest, TargetsDesktopGetsTheMessageFormWhenTheMobileHasItsCopy) {
  AddMessage("0,1,1,0");
  AddFile();
  EXPECT_EQ(Left(63), std::string(kTargetHead) + "%7Bh%40hello%7D|font|M1|2|0|#");
}

TEST_F(LeaveMessengTest, TargetsDesktopGetsNothingWithoutAFileOrWithItsFlagCleared) {
  AddMessage("0,1,1,1");
  EXPECT_EQ(Left(63), "");
  AddFile();
  server.Run("update Messeng_Text set IsAck3=0");
  EXPECT_EQ(Left(63), "");
}

TEST_F(LeaveMessengTest, MissingFileColumnsAreEmptyFields) {
  AddMessage("0,1,1,1");
  server.Run("insert into LeaveFile(Msg_ID) values('M1')");
  EXPECT_EQ(Left(63), ".+offline_file||||||M1||#");
}

TEST_F(LeaveMessengTest, TokenTypedByAUserIsNotWrapped) {
  AddMessage("1,1,1,1", "{h@typed}");
  EXPECT_EQ(Left(13), std::string(kTargetHead) + "{h@typed}|font|M1|11|1|#");
}

TEST_F(LeaveMessengTest, MissingColumnsAreEmptyFields) {
  server.Run("insert into Messeng_Text(Msg_ID,IsAck3,IsAck4) values('M1',1,1)");
  EXPECT_EQ(Left(13), ".+message||||||M1||1|#");
}

TEST_F(LeaveMessengTest, DateAndTimeAreFormatted) {
  AddMessage("1,1,1,1");
  server.Run("update Messeng_Text set To_Date='2026/1/2 00:00:00', To_Time='3:4:5'");
  EXPECT_EQ(Left(13), std::string(kTargetHead) + "hello|font|M1|11|1|#");
}

TEST_F(LeaveMessengTest, FirstRowWithTheFlagAnswersForAllTargetsOfAnId) {
  AddMessage("0,1,0,1", "first");
  AddMessage("0,1,1,1", "second");
  AddMessage("0,1,1,1", "third");
  EXPECT_EQ(Left(13), std::string(kTargetHead) + "second|font|M1|11|1|#");
  EXPECT_EQ(Left(14), std::string(kTargetHead) + "first|font|M1|11|0|#");
}

TEST_F(LeaveMessengTest, GroupCopiesEndInZeroForTheSenderAndOneForMembers) {
  server.Run(
      "insert into MessengClot_Text(Msg_ID,ClotID,MyID,UserText,FontInfo,To_Type,To_Date,To_Time) "
      "values('M1','G1','my','hello','font',6,'2026-01-02','03:04:05')");
  const std::string head = ".+clot_messeng|G1|my|2026-01-02|03:04:05|hello|font|M1|";
  EXPECT_EQ(Left(21), head + "6|0|#");
  EXPECT_EQ(Left(22), head + "6|0|#");
  EXPECT_EQ(Left(23), head + "7|1|#");
  EXPECT_EQ(Left(24), head + "7|1|#");
}

TEST_F(LeaveMessengTest, NoticeShowsItsColumnsAsTheyAre) {
  server.Run(
      "insert into MessengNotice_Text(Msg_ID,MyID,Ntitle,Ncontent,Nlink,To_Date) "
      "values('M1','my','title','content','link','2026/1/2 3:04')");
  EXPECT_EQ(Left(4), ".+notification|title|content|link|2026/1/2 3:04|M1|#");
}

TEST_F(LeaveMessengTest, PendingVerificationsAreHandedOverAndDeleted) {
  server.Run(
      "insert into MessengVerify_Type(UserID1,ClotID,UserID2,UserText,To_Type1,To_Type2,To_Type3,"
      "To_Type4) values('u','G1','b','text','1','2','3','4'),('v','G9','b','text','1','2','3','4'),"
      "('u','G2','c',NULL,'5','6','7','8')");
  EXPECT_EQ(Left(5, "whatever"),
            ".+messengverify|G1|b|text|1|2|3|4|#"
            ".+messengverify|G2|c||5|6|7|8|#");
  EXPECT_EQ(server.Rows("select UserID1 from MessengVerify_Type"), Lines{"v"});
}

TEST_F(LeaveMessengTest, PendingVerificationsOfAnAbsentDeviceStay) {
  server.Run("insert into MessengVerify_Type(UserID1) values('v')");
  Leave("v", 5, "x");
  EXPECT_EQ(server.Rows("select UserID1 from MessengVerify_Type"), Lines{"v"});
}

TEST_F(LeaveMessengTest, MeetingShowsTwoToTheSideThatSentAndItsStatusToTheOther) {
  server.Run(
      "insert into Tab_Chat(ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,Status,CloseRole) "
      "values(41,'my','you',1,8,9,5,6)");
  EXPECT_EQ(Left(71, "41"), ".+meeting_message|you|my|1|8|9|2|6|41|#");
  EXPECT_EQ(Left(72, "41"), ".+meeting_message|you|my|1|8|9|2|6|41|#");
  EXPECT_EQ(Left(73, "41"), ".+meeting_message|you|my|1|8|9|5|6|41|#");
  EXPECT_EQ(Left(74, "41"), ".+meeting_message|you|my|1|8|9|5|6|41|#");
  EXPECT_EQ(Left(73, " 41 "), ".+meeting_message|you|my|1|8|9|5|6|41|#");
}

TEST_F(LeaveMessengTest, RemoteRequestShowsItsRow) {
  server.Run(
      "insert into remote_chat(ChatId,MyID,YouID,Status,CloseRole) values(42,'my','you',1,3)");
  EXPECT_EQ(Left(84, "42"), ".+request_remote|you|my|1|3|42|#");
}

TEST_F(LeaveMessengTest, ChatIdThatIsNoNumberQueuesNothing) {
  server.Run("insert into Tab_Chat(ChatId,MyID,YouID) values(41,'my','you')");
  for (const char* id : {"x", "41x", "41 or 1=1", "99999999999"}) EXPECT_EQ(Left(71, id), "") << id;
}

}  // namespace
}  // namespace vnq
