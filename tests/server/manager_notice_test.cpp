// The notice to the managers, as it leaves the server.
#include "host/manager_notice.h"

#include "host/values/skipped.h"
#include "tests/harness/fake_main_port.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class ManagerNotice : public ServerTest {
 protected:
  ManagerNotice() : mainPort(server) {
    server.AddUser("1", {"IsManager=1"});
    server.AddUser("2", {"IsManager=1"});
    server.AddUser("3", {"IsManager=1", "UserState=0"});
    server.AddUser("4", {"IsManager=0"});
    server.host().settings.CheckIM0 = 1;
    server.host().ServerIp = mainPort.address();
  }

  void Push(const Expr& userName, const Expr& displayName, int16_t kind) {
    server.InHandler([=](Host& host) { PushToManagers(host, userName, displayName, kind); });
  }
  /// What a greeted connection sends.
  std::string Taken() {
    if (!mainPort.Accept()) return "(no connection)";
    mainPort.Greet();
    return mainPort.Receive();
  }

  FakeMainPort mainPort;
};

TEST_F(ManagerNotice, ApplicationNamesEveryManagerWhoMayLogIn) {
  Push("zoe", "Zoe", kApplicationNotice);
  EXPECT_EQ(Taken(), ".+interface_information|zoe|name1,name2,|" + server.Lang("im304") +
                         "|\"Zoe(zoe)\"" + server.Lang("im305") + "||3|#");
}

TEST_F(ManagerNotice, GroupFileNamesItsSender) {
  Push("zoe", "Zoe", kGroupFileNotice);
  EXPECT_EQ(Taken(), ".+interface_information|zoe|name1,name2,|" + server.Lang("im300") +
                         "|\"Zoe\"" + server.Lang("im301") + "||3|#");
}

TEST_F(ManagerNotice, AnyOtherKindHasNeitherTitleNorContent) {
  Push("zoe", "Zoe", 3);
  EXPECT_EQ(Taken(), ".+interface_information|zoe|name1,name2,||||3|#");
}

TEST_F(ManagerNotice, WithoutManagersItGoesToNobody) {
  server.Run("update Users_ID set IsManager=NULL");
  Push("zoe", "Zoe", 3);
  EXPECT_EQ(Taken(), ".+interface_information|zoe|||||3|#");
}

// As the main port reads it: line ends go, and each ".+" begins a record.
TEST_F(ManagerNotice, NamesThatHoldACommandBeginNoRecord) {
  server.Run("update Users_ID set UserName='m.+y' where UserID='2'");
  Push("a.+phone_log", "b.\r\n+phone_log..++", 3);
  EXPECT_EQ(Taken(), ".+interface_information|a. +phone_log|name1,m. +y,||||3|#");
  Push("zoe", "b.\r\n+phone_log..++", kGroupFileNotice);
  const std::string notice = Taken();
  EXPECT_EQ(notice.find(".+", 2), std::string::npos) << notice;
  EXPECT_NE(notice.find("\"b. +phone_log.. ++\""), std::string::npos) << notice;
}

TEST_F(ManagerNotice, FailedNameSkipsTheWholeCall) {
  for (const int16_t kind : {kGroupFileNotice, kApplicationNotice}) {
    const uint64_t before = SkippedStatements();
    Push(Expr::Failed(), "Zoe", kind);
    Push("zoe", Expr::Failed(), kind);
    EXPECT_EQ(SkippedStatements(), before + 2);
  }
  EXPECT_EQ(Taken(), "(no connection)");
}

TEST_F(ManagerNotice, ApplicationWithoutADisplayNameMakesAnAccountAndNoNotice) {
  TestClient dialog = server.ConnectTo(6007);
  dialog.Send(".+account_application|000001|1|zoe");
  EXPECT_EQ(server.Value("select FcName from Users_ID where UserName='zoe'"), "NULL");
  EXPECT_EQ(Taken(), "(no connection)");
  dialog.Send(".+account_application|000001|1|ann|Ann|#");
  EXPECT_NE(Taken().find("|\"Ann(ann)\"" + server.Lang("im305")), std::string::npos);
}

TEST_F(ManagerNotice, NothingGoesOutWhileTheSettingIsZero) {
  server.host().settings.CheckIM0 = 0;
  Push("zoe", "Zoe", kApplicationNotice);
  EXPECT_FALSE(mainPort.Accept());
}

TEST_F(ManagerNotice, WaitsForTheGreetingAndCloses) {
  Push("zoe", "Zoe", 3);
  ASSERT_TRUE(mainPort.Accept());
  EXPECT_EQ(mainPort.Receive(), "");
  EXPECT_FALSE(mainPort.IsClosed());
  mainPort.Greet();
  EXPECT_NE(mainPort.Receive(), "");
  EXPECT_TRUE(mainPort.IsClosed());
}

TEST_F(ManagerNotice, GreetingThatDoesNotComeEndsIt) {
  Push("zoe", "Zoe", 3);
  ASSERT_TRUE(mainPort.Accept());
  server.AdvanceMs(kManagerNoticeTimeoutMs - 1);
  EXPECT_FALSE(mainPort.IsClosed());
  server.AdvanceMs(1);
  EXPECT_TRUE(mainPort.IsClosed());
}

TEST_F(ManagerNotice, RefusedConnectionIsNoFailure) {
  server.host().ServerIp = "127.254.254.254";
  Push("zoe", "Zoe", 3);
  server.host().ServerIp = "no address";
  Push("zoe", "Zoe", 3);
  server.host().ServerIp = "";
  Push("zoe", "Zoe", 3);
  TestClient ann = server.Connect();
  ann.Send(".+y|#");
  EXPECT_EQ(ann.Receive(), ".+y|#");
  EXPECT_EQ(server.loop().LiveHandlers(), 0u);
}

TEST_F(ManagerNotice, HoldsNoHandlerUpWhileItWaits) {
  Push("zoe", "Zoe", 3);
  ASSERT_TRUE(mainPort.Accept());
  EXPECT_EQ(server.loop().LiveHandlers(), 0u);
  TestClient ann = server.Connect();
  ann.Send(".+y|#");
  EXPECT_EQ(ann.Receive(), ".+y|#");
}

TEST_F(ManagerNotice, ServerThatHangsUpBeforeItGreetsIsNoFailure) {
  {
    FakeMainPort other(server);
    server.host().ServerIp = other.address();
    Push("zoe", "Zoe", 3);
    ASSERT_TRUE(other.Accept());
  }
  server.AdvanceMs(kManagerNoticeTimeoutMs);
  EXPECT_EQ(server.loop().LiveHandlers(), 0u);
}

TEST_F(ManagerNotice, ReachesTheServersOwnPortAndTheConnectionIsSweptAway) {
  server.host().ServerIp = server.address();
  Push("zoe", "Zoe", kApplicationNotice);
  server.Pump();
  SlotArray& slots = server.host().SckServer;
  EXPECT_EQ(slots.RemoteHostIP(1), "127.0.0.1");
  EXPECT_EQ(slots.State(1), SocketState::kClosing);
  server.AdvanceMs(20'000);
  EXPECT_EQ(slots.State(1), SocketState::kClosed);
}

}  // namespace
}  // namespace vnq
