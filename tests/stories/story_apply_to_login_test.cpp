// From a stranger at the sign-up dialog to a colleague whose profile others see. Told in
// docs/story_account.md.
#include <sstream>

#include "tests/harness/fake_main_port.h"
#include "tests/harness/test_server.h"
#include "tools/users/user_command.h"

namespace vnq {
namespace {

class StoryOfAnAccount : public ServerTest {
 protected:
  StoryOfAnAccount() : managersPort(server) {
    server.Run(
        "insert into Users_Ro values('000001','000000','Company','','');"
        "insert into Role(ID,DefaultRole,Permissions) values(1,1,'3,')");
    server.AddUser("1", {"UserName=carol", "FcName=Carol", "IsManager=1"});
    server.host().settings.CheckIM0 = 1;
    server.OnEveryNode([&](Host& host) { host.ServerIp = managersPort.address(); });
  }

  void Vnqctl(bool isEnabled, const std::string& user) {
    UserOptions options;
    options.appPath = server.folder();
    options.names = {user};
    std::ostringstream said;
    EXPECT_EQ(RunUserEnable(options, isEnabled, said, said), 0) << said.str();
  }
  std::string Counter() { return server.Value("select Users_IDVesr from UpDateForm where id=1"); }

  FakeMainPort managersPort;
};

TEST_F(StoryOfAnAccount, FromTheApplicationToAProfileThatOthersSee) {
  // Zoe has no account. The dialog fetches the departments, and she applies.
  TestClient dialog = server.ConnectTo(6007);
  EXPECT_EQ(dialog.Receive(), ".+successful_connection|#");
  server.Run("update UpDateForm set Users_RoVesr=1");
  dialog.Send(".+request_data_synchronization|0|#");
  EXPECT_EQ(dialog.Receive(),
            ".+data_synchronization|Users_RoVesr|1|"
            ".+data_synchronization|Users_Ro|000001|000000|Company|||.+data_synchronization|#1");
  dialog.Send(".+account_application|000001|3|zoe|Zoe Long|pw-zoe|Pilot|555|Leo|#");
  EXPECT_EQ(dialog.Receive(), ".+application_success|2|#");
  dialog.Send(".+exit_application|#");
  EXPECT_TRUE(dialog.IsClosed());
  EXPECT_EQ(Counter(), "1");

  // Carol, who manages, is told.
  ASSERT_TRUE(managersPort.Accept());
  managersPort.Greet();
  EXPECT_EQ(managersPort.Receive(),
            ".+interface_information|zoe|carol,|New account application|\"Zoe Long(zoe)\": applied "
            "for an account||3|#");

  // Nobody has let Zoe in yet.
  TestClient early = server.Connect();
  early.Send(".+landing|zoe|pw-zoe|10.0.0.2|mac2|0|#");
  EXPECT_EQ(early.Receive(), ".+ProhibitLanding|#");
  EXPECT_TRUE(early.IsClosed());

  // The operator does, beside the running server; now the login succeeds, with the default role's
  // rights.
  Vnqctl(true, "zoe");
  TestClient carol = server.Online("1");
  TestClient zoe = server.Connect();
  zoe.Send(".+landing|zoe|pw-zoe|10.0.0.2|mac2|0|#");
  EXPECT_EQ(zoe.Receive(), ".+landing_successful|2|0|3,,/,\\,~,@,+|0|0|#");
  zoe.Send(".+successful_online|2|1|#");
  EXPECT_EQ(zoe.Receive(), ".+SynchronousSuccessfully|#");
  EXPECT_EQ(carol.Receive(), ".+new_online|2|10.0.0.2|127.0.0.1|#");

  // She writes her profile; Carol's client sees it, and the counter has gone up.
  zoe.Send(".+modify_data|2|Captain|Zoe L.|31|e|555|556|Road 1|School|Leo|hello|4|#");
  EXPECT_EQ(carol.Receive(),
            ".+modify_account|2|Captain|Zoe L.|31|e|555|556|Road 1|School|Leo|hello|4|#");
  EXPECT_EQ(zoe.Receive(), "");
  EXPECT_EQ(Counter(), "2");
  EXPECT_EQ(
      server.Rows("select Jod,FcName,say,UserIco,Users_IDVesr from Users_ID where UserID='2'"),
      Lines{"Captain|Zoe L.|hello|4|1"});
}

TEST_F(StoryOfAnAccount, DisabledAccountCannotComeBackButItsSessionGoesOn) {
  server.AddUser("2");
  TestClient ben = server.Online("2");
  Vnqctl(false, "name2");
  ben.Send(".+y|#");
  EXPECT_EQ(ben.Receive(), ".+y|#");
  TestClient again = server.Connect();
  again.Send(".+landing|name2|pw2|10.0.0.2|mac2|0|#");
  EXPECT_EQ(again.Receive(), ".+ProhibitLanding|#");
}

}  // namespace
}  // namespace vnq
