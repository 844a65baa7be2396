// The terminal client's groups and friendships, against the server itself.
#include <gmock/gmock.h>

#include "host/slots/records.h"
#include "tests/harness/parties.h"
#include "tools/client/chat_console.h"

namespace vnq {
namespace {

using testing::Contains;
using testing::HasSubstr;

// A person at the terminal client, whose records go over a connection of the test's.
class Person : public ChatSink {
 public:
  Person(TestServer& server, const std::string& userId)
      : client_(server.ConnectTo(6004)), session_({"name" + userId, "pc"}, names_, *this) {
    session_.Begin("pw" + userId, "127.0.0.1", 0);
    for (int step = 0; step < 3; ++step) Listen();
    EXPECT_EQ(session_.state(), ChatSession::State::kReady);
  }

  void Type(const std::string& line) { console_.Line(line); }

  /// What is shown of everything that has come, and of what was typed since the last call.
  std::vector<std::string> Listen() {
    ForEachRecord(client_.Receive(), [this](const std::string& r) { session_.OnRecord(r, 0); });
    return std::exchange(shown_, {});
  }

  void SendRecord(const std::string& record) override { client_.Send(record); }
  void Show(const std::string& line) override { shown_.push_back(line); }
  void Complain(const std::string& line) override { ADD_FAILURE() << line; }

 private:
  TestClient client_;
  KnownNames names_;
  std::vector<std::string> shown_;
  ChatSession session_;
  ChatConsole console_{session_, names_, *this};
};

class ChatRelations : public PartiesTest {
 protected:
  ChatRelations() { AddUsers({"1", "2"}); }
};

TEST_F(ChatRelations, AGroupIsMadeJoinedTalkedInAndLeft) {
  Person ann(server, "1"), ben(server, "2");
  ann.Type("/create Team");
  EXPECT_THAT(ann.Listen(), Contains("* new group Team (Clot000001)"));
  EXPECT_THAT(ben.Listen(), Contains("* new group Team (Clot000001)"));

  ann.Type("/group Team");
  ann.Type("/invite 2");
  EXPECT_THAT(ben.Listen(), Contains("* name2 (2) is now a member of group Team (Clot000001)"));
  EXPECT_EQ(server.Rows("select UserID,IsAdmin,remark from Clot_Form"),
            (Lines{"1|1|name1", "2|0|"}));

  ann.Type("hello all");
  server.Tick();
  EXPECT_THAT(ben.Listen(), Contains(HasSubstr("[Team (Clot000001)] name1 (1): hello all")));

  ben.Type("/group Team");
  ben.Type("/leave");
  EXPECT_THAT(ann.Listen(), Contains("* 2 has left group Team (Clot000001)"));
  EXPECT_EQ(server.Rows("select UserID from Clot_Form"), Lines{"1"});
}

TEST_F(ChatRelations, AFriendshipIsAskedForAcceptedAndEnded) {
  server.Run("update Users_ID set IsVerify=1");
  Person ann(server, "1"), ben(server, "2");
  ann.Type("/friend add 2 it's me");
  EXPECT_THAT(ben.Listen(), Contains(HasSubstr("1 asks to be your friend: it's me")));
  ben.Type("/friend accept 1");
  EXPECT_THAT(ann.Listen(), Contains(HasSubstr("are friends now")));
  EXPECT_EQ(server.Rows("select * from Fav_Form"), (Lines{"1|2", "2|1"}));
  ann.Type("/friend delete 2");
  EXPECT_THAT(ben.Listen(), Contains(HasSubstr("are no longer friends")));
  EXPECT_EQ(CountOf("Fav_Form"), 0);
}

TEST_F(ChatRelations, ABlockedAskerIsTurnedAwayByTheServer) {
  server.Run("update Users_ID set IsVerify=1");
  Person ann(server, "1"), ben(server, "2");
  ann.Type("/friend add 2");
  ben.Type("/friend block 1");
  EXPECT_THAT(ann.Listen(), Contains(HasSubstr("was refused and blocked")));
  ben.Listen();
  ann.Type("/friend add 2");
  EXPECT_THAT(ann.Listen(), Contains(HasSubstr("was refused and blocked")));
  EXPECT_EQ(ben.Listen(), Lines{});
}

}  // namespace
}  // namespace vnq
