// The sign-up dialog's port.
#include <filesystem>

#include "host/values/skipped.h"
#include "tests/harness/counted_syncs.h"
#include "tests/harness/fake_main_port.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr uint16_t kAccountPort = 6007;
constexpr const char* kZoe =
    ".+account_application|000002|12|zoe|Zoe Long| pw zoe |Pilot|555|Leo|#";

class AccountApplication : public ServerTest {
 protected:
  AccountApplication() {
    server.Run(
        "insert into Users_Ro values('000009','000001','Lost','',''),"
        "('000001','000000','Company','',''),('000002','000001','Team','','')");
  }

  void SetUserApply(const std::string& value) {
    server.Run(
        "insert into Tab_Config(Col_Name,Col_Genre,Col_Disabled,Col_Data)"
        " values('UserApply','SysConfig',0,'" +
        value + "')");
  }
  TestClient Dialog() {
    TestClient client = server.ConnectTo(kAccountPort);
    EXPECT_EQ(client.Receive(), ".+successful_connection|#");
    return client;
  }
  std::string Apply(const std::string& record) {
    TestClient client = Dialog();
    client.Send(record);
    return client.Receive();
  }
  std::string Value(const std::string& select) { return server.Value(select); }
  Lines Log() { return server.Rows("select * from ServerLog"); }
};

// --- What is told is there to stay ---

class DurableApplication : public testing::Test {
 protected:
  void SetUp() override {
    if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "the files are the embedded engine's";
  }

  static TestServerOptions Durable() {
    TestServerOptions options;
    options.durability = SqlDurability::kReceipt;
    return options;
  }
};

TEST_F(DurableApplication, TheAccountIsSyncedBeforeItIsToldOf) {
  CountedSyncs syncs;
  TestServer server(Durable());
  TestClient dialog = server.ConnectTo(kAccountPort);
  dialog.Receive();
  const int before = syncs.count();
  dialog.Send(kZoe);
  EXPECT_EQ(dialog.Receive(), ".+application_success|1|#");
  EXPECT_GT(syncs.count(), before);
}

TEST_F(DurableApplication, AnAccountThatMayBeLostIsNotToldOf) {
  TestServer server(Durable());
  server.Run("vacuum into '" + server.folder() + "/backup.db'");
  TestClient dialog = server.ConnectTo(kAccountPort);
  TestClient other = server.Connect();
  dialog.Receive();
  std::filesystem::rename(server.folder() + "/backup.db", server.folder() + "/Web/Data/vnq.db");
  dialog.Send(kZoe);
  EXPECT_EQ(dialog.Receive(), "");
  EXPECT_EQ(other.Receive(), "");
  dialog.Send(kZoe);
  EXPECT_EQ(dialog.Receive(), ".+application_success|1|#") << "it is applied for again";
}

// --- What an accepted application leaves behind ---

TEST_F(AccountApplication, CreatesTheAccountWithItsDefaultRows) {
  server.Run("insert into Role(ID,DefaultRole) values(4,0),(7,1),(8,1)");
  SetUserApply("0");
  const uint64_t skipped = SkippedStatements();
  EXPECT_EQ(Apply(kZoe), ".+application_success|1|#");
  EXPECT_EQ(SkippedStatements(), skipped);
  EXPECT_EQ(server.Rows("select UppeId,UserIco,UserID,FcName,UserPaws,UserName,age,Tel1,Tel2,"
                        "Constellation,remark,Jod,UserIcoLine,UserState from Users_ID"),
            Lines{"000002|12|1|Zoe Long|pw zoe|zoe||555||Leo||Pilot|0|0"});
  EXPECT_EQ(server.Rows("select IsVerify,IsManager,address,Users_IDVesr from Users_ID"),
            Lines{"NULL|NULL|NULL|0"});
  EXPECT_EQ(server.Rows("select * from Users_Pic"), Lines{"1|0"});
  EXPECT_EQ(server.Rows("select * from PtpFolder"), Lines{"1|VNQ|0|3|1|zoe"});
  EXPECT_EQ(server.Rows("select * from Col_Ro"), Lines{"VNQ|1"});
  EXPECT_EQ(server.Rows("select * from Users_Role"), Lines{"1|7"});
  EXPECT_EQ(Value("select Users_IDVesr from UpDateForm where id=1"), "1");
}

TEST_F(AccountApplication, RowsThatAreThereAlreadyAreNotDoubled) {
  server.Run(
      "insert into Users_Pic values('1',9);"
      "insert into PtpFolder values('1','VNQ','0',3,'x','x');"
      "insert into Col_Ro values('VNQ','1');"
      "insert into Role(ID,DefaultRole) values(7,1);"
      "insert into Users_Role values('1',5)");
  Apply(kZoe);
  EXPECT_EQ(server.Rows("select * from Users_Pic"), Lines{"1|9"});
  EXPECT_EQ(server.Rows("select * from PtpFolder"), Lines{"1|VNQ|0|3|x|x"});
  EXPECT_EQ(server.Rows("select * from Col_Ro"), Lines{"VNQ|1"});
  EXPECT_EQ(server.Rows("select * from Users_Role"), Lines{"1|5"});
}

TEST_F(AccountApplication, WithoutADefaultRoleThereIsNone) {
  server.Run("insert into Role(ID,DefaultRole) values(4,0)");
  Apply(kZoe);
  EXPECT_EQ(server.Rows("select * from Users_Role"), Lines{});
}

TEST_F(AccountApplication, FailingStepIsSkippedAndTheApplicantIsTold) {
  server.Run("drop table Users_Pic");
  EXPECT_EQ(Apply(kZoe), ".+application_success|1|#");
  EXPECT_EQ(server.Rows("select * from Col_Ro"), Lines{"VNQ|1"});
}

// --- The new UserID ---

TEST_F(AccountApplication, FirstAccountIsNumberOne) {
  EXPECT_EQ(Apply(kZoe), ".+application_success|1|#");
}

TEST_F(AccountApplication, NextAccountIsOneAboveTheHighestNumber) {
  server.AddUser("9");
  server.AddUser("10");
  EXPECT_EQ(Apply(kZoe), ".+application_success|11|#");
}

TEST_F(AccountApplication, UserIdThatIsNoNumberStartsAgainAtOne) {
  server.AddUser("9");
  server.AddUser("guest");
  EXPECT_EQ(Apply(kZoe), ".+application_success|1|#");
}

TEST_F(AccountApplication, OtherDialectAsksForTheMaximumInItsOwnWords) {
  server.host().settings.DbType = "mssql";
  server.AddUser("9");
  server.AddUser("10");
  EXPECT_EQ(Apply(kZoe), ".+application_success|11|#");
  server.AddUser("guest");
  EXPECT_EQ(Apply(".+account_application|000002|1|max|Max|pw|j|t|c|#"),
            ".+application_success|1|#");
}

TEST_F(AccountApplication, HighestNumberThereIsLeavesTheAccountWithoutOne) {
  server.AddUser("2147483647");
  TestClient client = Dialog();
  client.Send(kZoe);
  client.Send(".+request_data_synchronization|0|#");
  EXPECT_NE(client.Receive(), "");
}

// --- The name ---

TEST_F(AccountApplication, TakenNameIsToldWithItsOwner) {
  server.AddUser("5", {"UserName=zoe", "FcName=Zoe Short"});
  EXPECT_EQ(Apply(kZoe), ".+account_occupancy|Zoe Short|#");
  EXPECT_EQ(Log(), Lines{"zoe" + server.Lang("im113") + "|zoe|127.0.0.1|24"});
  EXPECT_EQ(Value("select count(*) from Users_ID"), "1");
}

TEST_F(AccountApplication, OwnerWithoutANameLeavesThePlaceEmpty) {
  server.AddUser("5", {"UserName=zoe", "FcName="});
  EXPECT_EQ(Apply(kZoe), ".+account_occupancy||#");
  server.Run("update Users_ID set FcName=NULL");
  EXPECT_EQ(Apply(kZoe), ".+account_occupancy||#");
}

TEST_F(AccountApplication, SeveralOwnersLeaveThePlaceEmpty) {
  server.AddUser("5", {"UserName=zoe"});
  server.AddUser("6", {"UserName=zoe"});
  EXPECT_EQ(Apply(kZoe), ".+account_occupancy||#");
}

TEST_F(AccountApplication, TakenNameIsRefusedEvenWhereNobodyMayApply) {
  SetUserApply("2");
  server.AddUser("5", {"UserName=zoe", "FcName=Zoe Short"});
  EXPECT_EQ(Apply(kZoe), ".+account_occupancy|Zoe Short|#");
}

TEST_F(AccountApplication, BlankBehindTheNameMakesItAnotherName) {
  server.AddUser("5", {"UserName=zoe"});
  EXPECT_EQ(Apply(".+account_application|000002|1|zoe |Zoe|pw|j|t|c|#"),
            ".+application_success|6|#");
  EXPECT_EQ(Value("select UserName from Users_ID where UserID='6'"), "zoe ");
}

TEST_F(AccountApplication, BlanksAroundThePasswordAreLost) {
  Apply(kZoe);
  EXPECT_EQ(Value("select UserPaws from Users_ID"), "pw zoe");
}

TEST_F(AccountApplication, QuoteInTheNameFindsNoOwnerAndTheApplicationGoesOn) {
  EXPECT_EQ(Apply(".+account_application|000002|1|o'neil|O'Neil|pw|j|t|c|#"),
            ".+application_success|1|#");
  EXPECT_EQ(Apply(".+account_application|000002|1|o'neil|O'Neil|pw|j|t|c|#"),
            ".+application_success|2|#");
}

// --- The department ---

TEST_F(AccountApplication, UnknownDepartmentBecomesTheFirstTopLevelOne) {
  for (const char* department : {"777", "", "a'b"}) {
    server.Run("delete from Users_ID");
    Apply(std::string(".+account_application|") + department + "|1|zoe|Zoe|pw|j|t|c|#");
    EXPECT_EQ(Value("select UppeId from Users_ID"), "000001") << department;
  }
}

TEST_F(AccountApplication, WithoutATopLevelDepartmentTheFieldStays) {
  server.Run("delete from Users_Ro where ParentID='000000'");
  Apply(".+account_application|777|1|zoe|Zoe|pw|j|t|c|#");
  EXPECT_EQ(Value("select UppeId from Users_ID"), "777");
}

// --- UserApply ---

class UserApply : public AccountApplication {
 protected:
  UserApply() : managersPort(server) {
    server.host().settings.CheckIM0 = 1;
    server.OnEveryNode([&](Host& host) { host.ServerIp = managersPort.address(); });
    server.AddUser("5", {"IsManager=1"});
  }
  FakeMainPort managersPort;
};

TEST_F(UserApply, TwoRefusesWithoutALogRow) {
  SetUserApply("2");
  EXPECT_EQ(Apply(kZoe), ".+not_allowed_to_apply|#");
  EXPECT_EQ(Value("select count(*) from Users_ID"), "1");
  EXPECT_EQ(Value("select Users_IDVesr from UpDateForm"), "0");
  EXPECT_EQ(Log(), Lines{});
  EXPECT_FALSE(managersPort.Accept());
}

TEST_F(UserApply, OneAcceptsAndTellsEveryConnection) {
  SetUserApply("1");
  TestClient ann = server.Online("5"), stranger = server.Connect();
  EXPECT_EQ(Apply(kZoe), ".+application_success|6|#");
  const std::string record = ".+create_account|000002|12|zoe|Zoe Long||Pilot|555|6|#";
  EXPECT_EQ(ann.Receive(), record);
  EXPECT_EQ(stranger.Receive(), record);
  EXPECT_EQ(Value("select UserState from Users_ID where UserID='6'"), "1");
  EXPECT_EQ(Log().back(), "zoe " + server.Lang("im306") + "|zoe|127.0.0.1|24");
  EXPECT_FALSE(managersPort.Accept());
}

TEST_F(UserApply, AnnouncementNamesTheDepartmentThatTheAccountGot) {
  SetUserApply("1");
  TestClient ann = server.Connect();
  Apply(".+account_application|777|1|zoe|Zoe|pw|j|t|c|#");
  EXPECT_EQ(ann.Receive(), ".+create_account|000001|1|zoe|Zoe||j|t|6|#");
}

TEST_F(UserApply, OtherValuesAcceptInSilenceAndTellTheManagers) {
  for (const char* value : {"0", "3", "-1"}) {
    server.Run("delete from Tab_Config; delete from Users_ID where UserID<>'5'");
    SetUserApply(value);
    TestClient ann = server.Connect();
    EXPECT_EQ(Apply(kZoe), ".+application_success|6|#") << value;
    EXPECT_EQ(ann.Receive(), "") << value;
    EXPECT_EQ(Value("select UserState from Users_ID where UserID='6'"), value);
    ASSERT_TRUE(managersPort.Accept()) << value;
    managersPort.Greet();
    EXPECT_EQ(managersPort.Receive(), ".+interface_information|zoe|name5,|" + server.Lang("im304") +
                                          "|\"Zoe Long(zoe)\"" + server.Lang("im305") + "||3|#");
    EXPECT_EQ(Log(), Lines{}) << value;
  }
}

TEST_F(UserApply, MissingOrDisabledOrUnreadableCountsAsZero) {
  const char* rows[] = {"", "'UserApply','SysConfig',1,'2'", "'UserApply','Other',0,'2'",
                        "'UserApply','SysConfig',0,'no'", "'UserApply','SysConfig',0,NULL"};
  for (const std::string row : rows) {
    server.Run("delete from Tab_Config; delete from Users_ID where UserID<>'5'");
    if (!row.empty()) {
      server.Run("insert into Tab_Config(Col_Name,Col_Genre,Col_Disabled,Col_Data) values(" + row +
                 ")");
    }
    EXPECT_EQ(Apply(kZoe), ".+application_success|6|#") << row;
    EXPECT_EQ(Value("select UserState from Users_ID where UserID='6'"), "0") << row;
  }
}

// --- The port ---

TEST_F(AccountApplication, OneConnectionMayApplySeveralTimes) {
  TestClient client = Dialog();
  client.Send(kZoe);
  client.Send(".+account_application|000002|1|max|Max|pw|j|t|c|#");
  client.Send(kZoe);
  EXPECT_EQ(client.Receive(),
            ".+application_success|1|#.+application_success|2|#"
            ".+account_occupancy|Zoe Long|#");
}

TEST_F(AccountApplication, OneReadIsOneRecordAndNothingCarriesOver) {
  TestClient client = Dialog();
  client.Send(".+request_data_synchronization|0|#.+exit_application|#");
  EXPECT_EQ(client.Receive(),
            ".+data_synchronization|#1");  // one field "0", the next "#.+exit_application"
  client.Send(".+request_data_");
  client.Send("synchronization|0|#");
  EXPECT_EQ(client.Receive(), "");
  EXPECT_FALSE(client.IsClosed());
}

TEST_F(AccountApplication, LineBreaksStay) {
  TestClient client = Dialog();
  client.Send("\n.+exit_application|#");
  EXPECT_FALSE(client.IsClosed());
  client.Send(".+account_application|000002|1|a\nb|Zoe|pw|j|t|c");
  EXPECT_EQ(client.Receive(), ".+application_success|1|#");
  EXPECT_EQ(Value("select UserName from Users_ID"), "a\nb");
}

TEST_F(AccountApplication, ExitClosesTheConnectionWithoutAReply) {
  TestClient client = Dialog();
  client.Send(".+exit_application|#");
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(server.Slots(6007).State(1), SocketState::kClosed);
  TestClient next = Dialog();
  EXPECT_EQ(server.Slots(6007).Highest(), 1);
}

TEST_F(AccountApplication, AnyOtherCommandIsIgnored) {
  EXPECT_EQ(Apply(".+landing|zoe|pw|x|y|z|#"), "");
  EXPECT_EQ(Apply(".+Account_Application|1|1|zoe|Zoe|pw|j|t|c|#"), "");
  TestClient client = Dialog();
  client.SendBytes("\xff!!");
  EXPECT_FALSE(client.IsClosed());
}

TEST_F(AccountApplication, RecordsOfEveryLengthAreServed) {
  TestClient client = Dialog();
  std::string record = ".+account_application";
  for (int field = 0; field < 9; ++field, record += "|x") client.Send(record);
  client.Receive();
  client.Send(".+request_data_synchronization|0|#");
  EXPECT_EQ(client.Receive(), ".+data_synchronization|#1");
}

TEST_F(AccountApplication, ApplicantWhoLeavesGetsTheAccountAllTheSame) {
  SetUserApply("1");
  TestClient ann = server.Connect();
  TestClient client = Dialog();
  client.SendQuietly(kZoe);
  client.Reset();
  EXPECT_EQ(Value("select count(*) from Users_ID"), "1");
  EXPECT_EQ(ann.Receive(), ".+create_account|000002|12|zoe|Zoe Long||Pilot|555|1|#");
}

TEST_F(AccountApplication, NameInTheCodePageArrivesWhole) {
  Apply(".+account_application|000002|1|张敏|张敏|pw|工程师|t|c|#");
  EXPECT_EQ(server.Rows("select UserName,Jod from Users_ID"), Lines{"张敏|工程师"});
}

}  // namespace
}  // namespace vnq
