// Who may do what: the walls in front of commands, up and down.
#include "tests/harness/said_lines.h"
#include "tests/harness/walls.h"

namespace vnq {
namespace {

constexpr const char* kMessage = ".+message|2|1|hello|font|id1|1|#";

class Senders : public ServerTest {
 protected:
  explicit Senders(const std::string& walls) : ServerTest(WithWalls(walls)) {
    for (const char* user : {"1", "2", "3"}) server.AddUser(user);
  }
  // A connection that has logged in as user 1, as a client does.
  TestClient LoggedIn() {
    TestClient client = server.Connect();
    client.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
    EXPECT_EQ(client.Receive(), ".+landing_successful|1|0|,/,\\,~,@,+|0|0|#");
    said.Take();  // the login's own line
    return client;
  }
  Lines Messages() { return server.Rows("select MyID,YouID from Messeng_Text order by Msg_ID"); }

  SaidLines said;
};

struct NoWalls : Senders {
  NoWalls() : Senders("") {}
};
struct LoginFirst : Senders {
  LoginFirst() : Senders("login_first=yes") {}
};
struct SenderIsUser : Senders {
  SenderIsUser() : Senders("sender_is_user=yes") {}
};
struct ListedAddresses : Senders {
  ListedAddresses()
      : Senders("phone_log_from=127.0.0.8\ninterface_information_from=127.0.0.8,127.1.0.0/16\n") {}
};
struct ListedPorts : Senders {
  ListedPorts() : Senders("control_from=none\nendpoint_from=127.0.0.8\n") {}
};

TEST_F(NoWalls, AnyConnectionActsForAnybody) {
  TestClient stranger = server.Connect();
  stranger.Send(kMessage);
  server.Tick();
  EXPECT_EQ(stranger.Receive(), ".+reply|1|2|id1|#");
  EXPECT_EQ(Messages(), Lines{"1|2"});
  stranger.Send(".+phone_log|3|#");
  EXPECT_EQ(server.Tag(1), "3");
  EXPECT_FALSE(server.ConnectTo(6003).IsClosed());
  EXPECT_FALSE(server.ConnectTo(6008).IsClosed());
  EXPECT_FALSE(server.host().protection);
  EXPECT_EQ(said.Take(), Lines{});
}

TEST_F(LoginFirst, NothingButALoginIsHeardFromAStranger) {
  TestClient stranger = server.Connect();
  stranger.Send(kMessage);
  stranger.Send(".+successful_online|1|1|#");
  stranger.Send(".+change_password|1|mine|#");
  stranger.Send(".+phone_log|1|#");
  stranger.Send(".+interface_information|name1|name2|t|text|l|0|#");
  server.Tick();
  EXPECT_EQ(stranger.Receive(), "");
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Value("select UserPaws from Users_ID where UserID='1'"), "pw1");
  EXPECT_EQ(server.Log(), Lines{});
  EXPECT_EQ(said.Take(), Lines{"warning: record refused: .+message from 127.0.0.1: login_first"});
}

TEST_F(LoginFirst, RefusedRecordIsCompletedByNoLaterRead) {
  TestClient stranger = server.Connect();
  stranger.Send(".+message|2|1|hel");
  stranger.Send("lo|font|id1|1|#");
  server.Tick();
  EXPECT_EQ(stranger.Receive(), "");
  EXPECT_EQ(Messages(), Lines{});
}

TEST_F(LoginFirst, KeepAliveIsAnsweredBeforeALogin) {
  TestClient stranger = server.Connect();
  stranger.Send(".+y|#");
  EXPECT_EQ(stranger.Receive(), ".+y|#");
}

TEST_F(LoginFirst, BehindALoginEverythingIsAsEver) {
  TestClient user = LoggedIn();
  user.Send(".+successful_online|1|1|#");
  EXPECT_EQ(user.Receive(), ".+SynchronousSuccessfully|#");
  user.Send(kMessage);
  server.Tick();
  EXPECT_EQ(user.Receive(), ".+reply|1|2|id1|#");
}

TEST_F(SenderIsUser, OwnNameIsTakenOnBothDevices) {
  TestClient desktop = server.Connect();
  desktop.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  TestClient mobile = server.Connect();
  mobile.Send(".+landing|name1|pw1|1|push|x|#");
  EXPECT_EQ(server.Tag(2), "1m");
  said.Take();  // the logins' own lines
  desktop.Send(kMessage);
  mobile.Send(".+message|2|1|hello|font|id2|1|#");
  mobile.Send(".+successful_online|1|3|#");
  EXPECT_EQ(Messages(), (Lines{"1|2", "1|2"}));
  EXPECT_EQ(said.Take(), Lines{});
}

TEST_F(SenderIsUser, AnotherNameIsRefusedWhateverTheCommand) {
  TestClient user = LoggedIn();
  server.Run("delete from ServerLog");
  const char* const inTheNameOf2[] = {
      ".+message|3|2|t|font|id1|1|#",
      ".+clot_messeng|100|2|t|font|id2|1|#",
      ".+successful_online|2|1|#",
      ".+change_password|2|mine|#",
      ".+modify_data|2|a|b|c|d|e|f|g|h|i|j|k|#",
      ".+offline|2|#",
      ".+retract|0|3|2|x|y|#",
      ".+mass_information|3|2|t|1|#",
      ".+jitter_window|3|2|#",
      ".+meeting_message|3|2|0|1|1|1|0|0|#",
      ".+request_remote|3|2|1|#",
      ".+upload_files|p|1|2|3|1|f|id3|#",
      ".+notification|2|3|t|c|l|#",
      ".+shared_notice|2|3|#",
      ".+customer|1|2|city|a|b|#",
      ".+customer_information|1|2|c|t|#",
      ".+messengverify|3|2|t|1|1|1|0|#",
      ".+messengverify|100|2|t|2|1|1|0|#",
      ".+phone_log|2|#",
      ".+interface_information|name2|name3|t|x|l|0|#",
  };
  for (const char* record : inTheNameOf2) user.Send(record);
  server.Tick();
  EXPECT_EQ(user.Receive(), "");
  EXPECT_EQ(server.Tag(1), "1");
  EXPECT_EQ(server.Log(), Lines{});
  EXPECT_EQ(Messages(), Lines{});
  server.AdvanceMs(60'000);
  const Lines lines = said.Take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "warning: record refused: .+message from 127.0.0.1: sender_is_user");
  EXPECT_EQ(lines[1], "warning: record refused: 19 more within a minute");
}

TEST_F(SenderIsUser, AdministratorsDecisionNamesTheApplicantAndIsTaken) {
  TestClient user = LoggedIn();
  user.Send(".+messengverify|100|3|t|2|1|2|2|#");
  EXPECT_EQ(server.Rows("select UserID1,ClotID,UserID2 from MessengVerify_Type order by UserID1"),
            (Lines{"1m|100|3", "3|100|3", "3m|100|3"}));
  EXPECT_EQ(said.Take(), Lines{});
}

TEST_F(SenderIsUser, WithoutALoginThereIsNobodyToBe) {
  TestClient stranger = server.Connect();
  stranger.Send(".+message|2||t|font|id1|1|#");
  stranger.Send(".+message|2|1|t|font|id2|1|#");
  stranger.Send(".+message");
  EXPECT_EQ(Messages(), Lines{});
}

TEST_F(ListedAddresses, PhonesAndApplicationsComeFromTheirListAlone) {
  TestClient stranger = server.Connect("127.0.0.9");
  stranger.Send(".+phone_log|1|#");
  stranger.Send(".+interface_information|name1|name2|t|text|l|0|#");
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(Messages(), Lines{});
  TestClient gateway = server.Connect("127.0.0.8");
  gateway.Send(".+phone_log|1|#");
  EXPECT_EQ(server.Tag(2), "1");
  TestClient application = server.Connect("127.1.2.3");
  application.Send(".+interface_information|name1|name2|t|text|l|0|#");
  EXPECT_EQ(Messages(), Lines{"1|2"});
}

TEST_F(ListedPorts, StrangersConnectionEndsBeforeItIsGreeted) {
  TestClient console = server.ConnectTo(6003);
  EXPECT_TRUE(console.IsClosed());
  EXPECT_EQ(console.ReceiveBytes(), "");
  EXPECT_EQ(server.host().SckServer6003.State(1), SocketState::kClosed);
  TestClient computer(server, 6008, "127.0.0.8");
  EXPECT_EQ(computer.ReceiveBytes(), ".+successful_connection|#");
  EXPECT_TRUE(TestClient(server, 6008, "127.0.0.9").IsClosed());
  EXPECT_FALSE(server.ConnectTo(6004).IsClosed());
  EXPECT_EQ(said.Take(),
            Lines{"warning: connection refused: port 6003 from 127.0.0.1: control_from"});
}

}  // namespace
}  // namespace vnq
