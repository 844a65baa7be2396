// Two people log in and chat: the road of a typical message, on real sockets and a real database.
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class Chat : public ServerTest {
 protected:
  Chat() {
    server.AddUser("1");
    server.AddUser("2");
  }
};

TEST_F(Chat, TwoPeopleLogInComeOnlineAndExchangeAMessage) {
  TestClient ann = server.Connect();
  ann.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  EXPECT_EQ(ann.Receive(), ".+landing_successful|1|0|,/,\\,~,@,+|0|0|#");
  ann.Send(".+successful_online|1|1|#");
  EXPECT_EQ(ann.Receive(), ".+SynchronousSuccessfully|#");

  TestClient ben = server.Connect();
  ben.Send(".+landing|name2|pw2|10.0.0.2|mac2|x|#");
  ben.Receive();
  ben.Send(".+successful_online|2|1|#");
  EXPECT_EQ(ann.Receive(), ".+new_online|2|10.0.0.2|127.0.0.1|#");
  ben.Receive();

  ann.Send(".+message|2|1|%u4F60%u597D|font|M1|1|#");
  EXPECT_EQ(ben.Receive(), "");
  server.Tick();
  EXPECT_EQ(ben.Receive(), ".+message|1|2026-03-04|05:06:07|%u4F60%u597D|font|M1|11|1|#");
  EXPECT_EQ(ann.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(
      server.Rows("select * from Messeng_Text"),
      std::vector<std::string>{"M1|1|2|Name 1|2026-03-04|05:06:07|%u4F60%u597D|font|10|0|1|1|1"});
}

}  // namespace
}  // namespace vnq
