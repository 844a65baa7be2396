// A person's own data: password, profile, verification setting, muted groups.
#include "host/values/skipped.h"
#include "server/command_table.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class OwnData : public ServerTest {
 protected:
  OwnData() {
    server.AddUser("1");
    server.AddUser("2");
  }

  std::string Column(const std::string& column, const std::string& userId) {
    return server.Value("select " + column + " from Users_ID where UserID='" + userId + "'");
  }
  Lines Log() { return server.Rows("select * from ServerLog"); }
  std::string LogRow(const std::string& text, const std::string& user) {
    return text + "|" + user + "|127.0.0.1|1";
  }
};

// --- .+change_password ---

using ChangePassword = OwnData;

TEST_F(ChangePassword, NewPasswordIsStoredWithoutBlanksAtItsEnds) {
  TestClient ann = server.Online("1");
  ann.Send(".+change_password|1|  new  |#");
  EXPECT_EQ(Column("UserPaws", "1"), "new");
  EXPECT_EQ(Column("UserPaws", "2"), "pw2");
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(ChangePassword, LogHoldsThePasswordAsItCame) {
  TestClient ann = server.Connect();
  ann.Send(".+change_password|1|  new  |#");
  EXPECT_EQ(Log(), Lines{LogRow("1" + server.Lang("im59") + "  new  ", "1")});
}

TEST_F(ChangePassword, UserNamedInTheRecordIsTrusted) {
  TestClient ann = server.Online("1");
  ann.Send(".+change_password|2|stolen|#");
  EXPECT_EQ(Column("UserPaws", "2"), "stolen");
}

TEST_F(ChangePassword, UnknownUserChangesNothingAndIsNotLogged) {
  TestClient ann = server.Connect();
  ann.Send(".+change_password|77|new|#");
  EXPECT_EQ(server.Rows("select UserPaws from Users_ID"), (Lines{"pw1", "pw2"}));
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(ChangePassword, TwoRowsOfOneUserAreBothLeft) {
  server.AddUser("1");
  TestClient ann = server.Connect();
  ann.Send(".+change_password|1|new|#");
  EXPECT_EQ(server.Rows("select UserPaws from Users_ID where UserID='1'"), (Lines{"pw1", "pw1"}));
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(ChangePassword, QuoteInThePasswordIsStored) {
  TestClient ann = server.Connect();
  ann.Send(".+change_password|1|it's|#");
  EXPECT_EQ(Column("UserPaws", "1"), "it's");
}

TEST_F(ChangePassword, QuoteInTheUserFindsNobody) {
  TestClient ann = server.Connect();
  ann.Send(".+change_password|1' or '1'='1|new|#.+y|#");
  EXPECT_EQ(ann.Receive(), ".+y|#");
  EXPECT_EQ(server.Rows("select UserPaws from Users_ID"), (Lines{"pw1", "pw2"}));
}

// --- .+modify_data ---

constexpr const char* kProfile = "Engineer|Ann|31|effigy|t1|t2|Road 1|School|Leo|hello|12";

class ModifyData : public OwnData {
 protected:
  Lines Profile(const std::string& userId) {
    return server.Rows(
        "select Jod,FcName,age,Effigy,Tel1,Tel2,address,School,Constellation,say,UserIco,"
        "Users_IDVesr from Users_ID where UserID='" +
        userId + "'");
  }
  std::string Global() { return server.Value("select Users_IDVesr from UpDateForm where id=1"); }
};

TEST_F(ModifyData, WritesElevenColumnsAndBothCounters) {
  TestClient ann = server.Online("1");
  ann.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  EXPECT_EQ(Profile("1"), Lines{std::string(kProfile) + "|1"});
  EXPECT_EQ(Global(), "1");
  EXPECT_EQ(Log().back(), LogRow("1" + server.Lang("im60"), "1"));
}

TEST_F(ModifyData, GoesToEveryOtherConnectionWithAllFieldsInOrder) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), stranger = server.Connect();
  ann.Receive();
  ben.Receive();
  ann.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  const std::string record = std::string(".+modify_account|1|") + kProfile + "|#";
  EXPECT_EQ(ben.Receive(), record);
  EXPECT_EQ(stranger.Receive(), record);
}

TEST_F(ModifyData, IsNotEchoedToTheSender) {
  TestClient ann = server.Online("1");
  ann.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(ModifyData, OtherDeviceOfTheSameUserIsTold) {
  TestClient desktop = server.Online("1"), mobile = server.Online("1", 3);
  desktop.Receive();
  desktop.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  EXPECT_EQ(mobile.Receive(), std::string(".+modify_account|1|") + kProfile + "|#");
}

TEST_F(ModifyData, UnknownUserIsCountedAndToldButNotLogged) {
  TestClient ann = server.Connect(), ben = server.Connect();
  ann.Send(std::string(".+modify_data|77|") + kProfile + "|#");
  EXPECT_EQ(ben.Receive(), std::string(".+modify_account|77|") + kProfile + "|#");
  EXPECT_EQ(Global(), "1");
  EXPECT_EQ(server.Value("select sum(Users_IDVesr) from Users_ID"), "0");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(ModifyData, MissingFieldsKeepTheirColumnsAndNobodyIsTold) {
  server.Run("update Users_ID set say='before' where UserID='1'");
  TestClient ann = server.Connect(), ben = server.Connect();
  ann.Send(".+modify_data|1|Engineer|Ann");
  EXPECT_EQ(Profile("1"), Lines{"Engineer|Ann|NULL|NULL|NULL|NULL|NULL|NULL|NULL|before|NULL|1"});
  EXPECT_EQ(Global(), "1");
  EXPECT_EQ(ben.Receive(), "");
}

TEST_F(ModifyData, CounterThatIsNullStaysNullAndTheProfileIsWritten) {
  server.Run("update Users_ID set Users_IDVesr=NULL; update UpDateForm set Users_IDVesr=NULL");
  TestClient ann = server.Connect();
  ann.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  EXPECT_EQ(Profile("1"), Lines{std::string(kProfile) + "|NULL"});
  EXPECT_EQ(Global(), "NULL");
}

TEST_F(ModifyData, QuotesInTheProfileAreStored) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_data|1|it's|O'Neil|||||||||1|#");
  EXPECT_EQ(Column("FcName", "1"), "O'Neil");
}

TEST_F(ModifyData, RunsWithoutASkippedStatement) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  const uint64_t before = SkippedStatements();
  ann.Send(std::string(".+modify_data|1|") + kProfile + "|#");
  EXPECT_EQ(SkippedStatements(), before);
}

// --- .+modify_isverify ---

using ModifyIsVerify = OwnData;

TEST_F(ModifyIsVerify, SettingIsStoredAndLogged) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_isverify|1|2|#");
  EXPECT_EQ(Column("IsVerify", "1"), "2");
  EXPECT_EQ(Log(), Lines{LogRow("1" + server.Lang("im263"), "1")});
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(ModifyIsVerify, ValueThatTheColumnRefusesFailsAlone) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_isverify|1|yes|#");
  EXPECT_EQ(Column("IsVerify", "1"), "0");
  EXPECT_EQ(Log(), Lines{LogRow("1" + server.Lang("im263"), "1")});
}

TEST_F(ModifyIsVerify, UnknownUserIsNotLogged) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_isverify|77|1|#");
  EXPECT_EQ(Log(), Lines{});
}

// --- .+modify_isSilence ---

class ModifyIsSilence : public OwnData {
 protected:
  Lines Silence() { return server.Rows("select MyID,YouID from Clot_Silence"); }
};

TEST_F(ModifyIsSilence, MutingTwiceLeavesOneRow) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_isSilence|1|Clot000001|1|#");
  ann.Send(".+modify_isSilence|1|Clot000001|1|#");
  EXPECT_EQ(Silence(), Lines{"1|Clot000001"});
  EXPECT_EQ(Log(), Lines{});
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(ModifyIsSilence, UnmutingWithoutARowDoesNothing) {
  server.Run("insert into Clot_Silence values('1','Clot000002')");
  TestClient ann = server.Connect();
  ann.Send(".+modify_isSilence|1|Clot000001|0|#");
  EXPECT_EQ(Silence(), Lines{"1|Clot000002"});
}

TEST_F(ModifyIsSilence, UnmutingDeletesTheFirstRowOnly) {
  server.Run(
      "insert into Clot_Silence values('1','Clot000001'),('2','Clot000001'),"
      "('1','Clot000001')");
  TestClient ann = server.Connect();
  ann.Send(".+modify_isSilence|1|Clot000001|0|#");
  EXPECT_EQ(server.Rows("select rowid,MyID from Clot_Silence order by rowid"),
            (Lines{"2|2", "3|1"}));
}

TEST_F(ModifyIsSilence, AnyOtherValueChangesNothing) {
  server.Run("insert into Clot_Silence values('1','Clot000001')");
  TestClient ann = server.Connect();
  ann.Send(".+modify_isSilence|1|Clot000001|00|#");
  ann.Send(".+modify_isSilence|1|Clot000002|2|#");
  ann.Send(".+modify_isSilence|1|Clot000003");
  EXPECT_EQ(Silence(), Lines{"1|Clot000001"});
}

TEST_F(ModifyIsSilence, MutedGroupComesBackAtTheNextLogin) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_isSilence|1|Clot000001|1|#");
  ann.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  EXPECT_EQ(ann.Receive(), ".+landing_successful|1|0|Clot000001,,/,\\,~,@,+|0|0|#");
}

// --- Short records ---

TEST_F(OwnData, ShortRecordsOfEveryCommandLeaveTheServerAnswering) {
  TestClient ann = server.Connect();
  for (const char* word :
       {".+change_password", ".+modify_data", ".+modify_isverify", ".+modify_isSilence"}) {
    const CommandRow* row = server.ClientDispatcher().Find(word);
    ASSERT_NE(row, nullptr) << word;
    std::string record = word;
    for (int field = 0; field <= row->FieldCount(); ++field, record += "|1") {
      ann.Send(record);
      ann.Send(".+y|#");
      EXPECT_EQ(ann.Receive(), ".+y|#") << record;
    }
  }
}

}  // namespace
}  // namespace vnq
