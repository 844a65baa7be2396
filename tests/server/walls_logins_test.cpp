// Logins and passwords: the walls against guessing and against readers of the tables, up and down.
#include "platform/system/password_hash.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/walls.h"

namespace vnq {
namespace {

class Logins : public ServerTest {
 protected:
  explicit Logins(const std::string& walls) : ServerTest(WithWalls(walls)) {
    server.AddUser("1");
    server.AddUser("2");
  }
  // What a login is answered, and whether the connection has ended then.
  std::string LogIn(const std::string& name, const std::string& password,
                    const std::string& from = {}) {
    clients_.push_back(server.Connect(from));
    TestClient& client = clients_.back();
    client.Send(".+landing|" + name + "|" + password + "|10.0.0.1|mac1|x|#");
    const std::string answer = Answer(client);
    return answer.substr(0, answer.find('|'));
  }
  // Waits for work beside the event thread, five seconds at most.
  std::string Answer(TestClient& client) {
    std::string answer = client.Receive();
    for (int i = 0; i < 500 && answer.empty() && !client.IsClosed(); ++i) {
      server.loop().Turn(10);
      answer = client.Receive();
    }
    return answer;
  }
  // What is said of locks, among the lines that tell of each login.
  Lines LockLines() {
    Lines lines = said.Take();
    std::erase_if(lines, [](const std::string& line) {
      return line.find("login locked") == std::string::npos;
    });
    return lines;
  }
  std::string Password(const std::string& userId) {
    return server.Value("select UserPaws from Users_ID where UserID='" + userId + "'");
  }
  bool Hashed(const std::string& userId) {
    for (int i = 0; i < 500 && !IsPasswordHash(Password(userId)); ++i) server.loop().Turn(10);
    return IsPasswordHash(Password(userId));
  }

  SaidLines said;
  std::vector<TestClient> clients_;
};

constexpr const char* kIn = ".+landing_successful";
constexpr const char* kOut = ".+LoginFailed";

struct PlainLogins : Logins {
  PlainLogins() : Logins("") {}
};
struct LockedLogins : Logins {
  LockedLogins() : Logins("login_failures=3\nlogin_lock_s=60\n") {}
};
struct SlowLogins : Logins {
  SlowLogins() : Logins("login_slowdown_ms=1500") {}
};
struct HiddenPasswords : Logins {
  HiddenPasswords() : Logins("hide_passwords_in_log=yes") {}
};
struct HashedPasswords : Logins {
  HashedPasswords() : Logins("hash_passwords=yes\nhide_passwords_in_log=yes\n") {}
};

TEST_F(PlainLogins, RefusalsOfAnAddressAreSaidTenTimesAMinuteAndThenCounted) {
  for (int i = 0; i < 25; ++i) LogIn("name1", "wrong");
  LogIn("name1", "wrong", "127.0.0.77");
  const Lines lines = said.Take();
  ASSERT_EQ(lines.size(), 11U);
  EXPECT_EQ(lines[9], "warning: log-in refused from 127.0.0.1: no such name and password: name1");
  EXPECT_EQ(lines[10], "warning: log-in refused from 127.0.0.77: no such name and password: name1");
  server.AdvanceMs(60'000);
  EXPECT_EQ(said.Take(), Lines{"warning: log-in refused from 127.0.0.1: 15 more within a minute"});
  EXPECT_EQ(server.Log(), Lines{}) << "the activity log tells of none, as ever";
}

TEST_F(PlainLogins, AnyNumberOfFailuresIsAnsweredAtOnceAndPasswordsStayInClear) {
  for (int i = 0; i < 50; ++i) EXPECT_EQ(LogIn("name1", "wrong"), kOut);
  EXPECT_EQ(LogIn("name1", "pw1"), kIn);
  EXPECT_EQ(Password("1"), "pw1");
  clients_.back().Send(".+change_password|1| new |#");
  EXPECT_EQ(Password("1"), "new");
  EXPECT_EQ(server.Log().back(), "1" + server.Lang("im59") + " new |1|127.0.0.1|1");
  EXPECT_EQ(LockLines(), Lines{});
}

TEST_F(LockedLogins, RightPasswordIsRefusedBehindTooManyWrongOnes) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(LogIn("name1", "wrong", "127.0.0.9"), kOut);
  EXPECT_EQ(LogIn("name1", "pw1", "127.0.0.9"), kOut);
  EXPECT_TRUE(clients_.back().IsClosed());
  EXPECT_EQ(LogIn("name2", "pw2", "127.0.0.9"), kIn);
  EXPECT_EQ(LogIn("name1", "pw1", "127.0.0.10"), kIn);
  EXPECT_EQ(LockLines(), Lines{"warning: login locked: after too many failures from 127.0.0.9"});
}

TEST_F(LockedLogins, LockEndsByItself) {
  for (int i = 0; i < 3; ++i) LogIn("name1", "wrong");
  server.AdvanceMs(60'000);
  EXPECT_EQ(LogIn("name1", "pw1"), kIn);
}

TEST_F(SlowLogins, FailuresAreAnsweredLaterAndLaterAndARightPasswordAtOnce) {
  TestClient first = server.Connect();
  first.Send(".+landing|name1|wrong|10.0.0.1|mac1|x|#");
  EXPECT_EQ(first.Receive(), "");
  server.AdvanceMs(1500);
  EXPECT_EQ(first.Receive(), ".+LoginFailed|#");
  EXPECT_TRUE(first.IsClosed());
  TestClient second = server.Connect();
  second.Send(".+landing|name1|wrong|10.0.0.1|mac1|x|#");
  server.AdvanceMs(2999);
  EXPECT_EQ(second.Receive(), "");
  server.AdvanceMs(1);
  EXPECT_EQ(second.Receive(), ".+LoginFailed|#");
  EXPECT_EQ(LogIn("name1", "pw1"), kIn);
}

TEST_F(SlowLogins, AnswerToAPeerWhoHasLeftGoesToNobodyElse) {
  {
    TestClient gone = server.Connect();
    gone.Send(".+landing|name1|wrong|10.0.0.1|mac1|x|#");
  }
  server.host().SckServer.Close(1);
  TestClient next = server.Connect();
  server.AdvanceMs(5000);
  EXPECT_EQ(next.Receive(), "");
  EXPECT_FALSE(next.IsClosed());
}

TEST_F(HiddenPasswords, LogTellsOfTheChangeWithoutThePassword) {
  TestClient client = server.Online("1");
  client.Send(".+change_password|1|secret|#");
  EXPECT_EQ(Password("1"), "secret");
  EXPECT_EQ(server.Log().back(), "1" + server.Lang("im59") + "|1|127.0.0.1|1");
}

TEST_F(HashedPasswords, PlainOneIsHashedAtLoginAndOpensAgain) {
  EXPECT_EQ(LogIn("name1", "pw1"), kIn);
  ASSERT_TRUE(Hashed("1"));
  EXPECT_TRUE(PasswordMatches(Password("1"), "pw1"));
  EXPECT_EQ(LogIn("name1", "pw1"), kIn);
  EXPECT_EQ(LogIn("NAME1", "PW1"), kIn);
  EXPECT_EQ(LogIn("name1", "wrong"), kOut);
  EXPECT_EQ(Password("2"), "pw2");
}

TEST_F(HashedPasswords, LoginByAHashRecordsWhatALoginRecords) {
  LogIn("name1", "pw1");
  ASSERT_TRUE(Hashed("1"));
  const std::string hash = Password("1");
  server.Run("update Users_ID set LoginTime='',Mac='' where UserID='1'");
  LogIn("name1", "pw1");
  EXPECT_EQ(server.Value("select LoginTime,Mac from Users_ID where UserID='1'"),
            "2026-03-04 05:06:07|mac1");
  EXPECT_EQ(Password("1"), hash);
}

TEST_F(HashedPasswords, StoredHashIsNoPassword) {
  LogIn("name1", "pw1");
  ASSERT_TRUE(Hashed("1"));
  EXPECT_EQ(LogIn("name1", Password("1")), kOut);
}

TEST_F(HashedPasswords, ChangedPasswordIsStoredAsAHash) {
  LogIn("name1", "pw1");
  ASSERT_TRUE(Hashed("1"));
  const std::string before = Password("1");
  clients_.back().Send(".+change_password|1| new |#");
  for (int i = 0; i < 500 && Password("1") == before; ++i) server.loop().Turn(10);
  EXPECT_TRUE(PasswordMatches(Password("1"), "new"));
  EXPECT_EQ(LogIn("name1", "new"), kIn);
  EXPECT_EQ(LogIn("name1", "pw1"), kOut);
}

TEST_F(HashedPasswords, ApplicantsPasswordIsStoredAsAHash) {
  server.Run(
      "insert into Tab_Config(Col_Name,Col_Genre,Col_Disabled,Col_Data) "
      "values('UserApply','SysConfig',0,'1')");
  TestClient applicant = server.ConnectTo(6007);
  EXPECT_EQ(applicant.Receive(), ".+successful_connection|#");
  applicant.Send(".+account_application|000001|1|newname|New|pw9|job|1|2|#");
  EXPECT_EQ(Answer(applicant), ".+application_success|3|#");
  EXPECT_TRUE(PasswordMatches(Password("3"), "pw9"));
  EXPECT_EQ(LogIn("newname", "pw9"), kIn);
}

TEST_F(HashedPasswords, PeerWhoLeavesDuringTheCheckLeavesTheSlotToTheNext) {
  LogIn("name1", "pw1");
  ASSERT_TRUE(Hashed("1"));
  {
    TestClient gone = server.Connect();
    gone.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  }
  server.host().SckServer.Close(2);
  TestClient next = server.Connect();
  for (int i = 0; i < 100; ++i) server.loop().Turn(10);
  EXPECT_EQ(server.Tag(2), "");
  EXPECT_EQ(next.Receive(), "");
}

}  // namespace
}  // namespace vnq
