// A phone that is already known takes its user over.
#include "server/timers.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class PhoneLog : public ServerTest {
 protected:
  PhoneLog() {
    server.AddUser("1");
    server.AddUser("2");
  }
  void SetIcoLine(int value) {
    server.Run("update Users_ID set UserIcoLine=" + std::to_string(value) + " where UserID='1'");
  }
  std::string IcoLine() {
    return server.Value("select UserIcoLine from Users_ID where UserID='1'");
  }
  std::string BusyForce() { return ".+busy_force|" + server.Lang("im54") + "|#"; }
};

TEST_F(PhoneLog, DesktopIsToldClosedAndTheOthersHearOfThePhone) {
  TestClient desktop = server.Online("1");
  TestClient other = server.Online("2");
  desktop.Receive();
  TestClient phone = server.Connect();
  server.Run("delete from ServerLog");
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(desktop.Receive(), BusyForce());
  EXPECT_TRUE(desktop.IsClosed());
  EXPECT_EQ(other.Receive(), ".+phone_line|1|#");
  EXPECT_EQ(phone.Receive(), "");
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Tag(3), "1");
  EXPECT_EQ(server.Value("select UserIcoLine,LoginTime from Users_ID where UserID='1'"),
            "3|2026-03-04 05:06:07");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(PhoneLog, MobileSessionOfTheUserStaysAndHearsOfThePhone) {
  TestClient mobile = server.Online("1", 3);
  SetIcoLine(1);
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(mobile.Receive(), ".+phone_line|1|#");
  EXPECT_FALSE(mobile.IsClosed());
  EXPECT_EQ(server.Tag(1), "1m");
}

TEST_F(PhoneLog, EverySessionWithTheTagIsClosed) {
  TestClient one = server.Online("1");
  TestClient two = server.Connect();
  server.Slots(6004).SetTag(2, "1");
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(one.Receive(), BusyForce());
  EXPECT_EQ(two.Receive(), BusyForce());
  EXPECT_TRUE(one.IsClosed());
  EXPECT_TRUE(two.IsClosed());
}

TEST_F(PhoneLog, RepeatedInTheStateOfThePhoneTellsNobody) {
  TestClient other = server.Online("2");
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(other.Receive(), ".+phone_line|1|#");
  TestClient again = server.Connect();
  again.Send(".+phone_log|1|#");
  EXPECT_EQ(other.Receive(), "");
  EXPECT_EQ(phone.Receive(), "");
  EXPECT_TRUE(phone.IsClosed());
  EXPECT_EQ(again.Receive(), "");
  EXPECT_FALSE(again.IsClosed());
  EXPECT_EQ(server.Tag(3), "1");
  EXPECT_EQ(IcoLine(), "3");
}

TEST_F(PhoneLog, RepeatedOnTheSameSlotClosesItAndLeavesItsTag) {
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(phone.Receive(), "");
  EXPECT_TRUE(phone.IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "1");
}

TEST_F(PhoneLog, SlotThatCameAsADesktopOfTheUserPushesItselfOut) {
  TestClient client = server.Online("1");
  client.Send(".+phone_log|1|#");
  EXPECT_EQ(client.Receive(), BusyForce());
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(server.Tag(1), "1");
}

TEST_F(PhoneLog, MissingStateCountsAsOffline) {
  TestClient other = server.Online("2");
  server.Run("update Users_ID set UserIcoLine=NULL where UserID='1'");
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(other.Receive(), ".+phone_line|1|#");
  EXPECT_EQ(IcoLine(), "3");
}

TEST_F(PhoneLog, SessionWhosePeerHasGoneIsClosedWithoutARecord) {
  TestClient desktop = server.Online("1");
  desktop.Close();
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|1|#");
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
}

TEST_F(PhoneLog, UserIdIsTakenFromTheRow) {
  server.AddUser("ab");
  TestClient phone = server.Connect();
  phone.Send(".+phone_log|AB|#");
  EXPECT_EQ(server.Tag(1), "ab");
}

// For these the named user is the empty text: nobody without a name keeps a connection.
class PhoneLogOfNobody : public PhoneLog, public ::testing::WithParamInterface<const char*> {};

TEST_P(PhoneLogOfNobody, UnnamedClientsAreToldAndClosedAndTheSenderToo) {
  TestClient named = server.Online("2");
  TestClient unnamed = server.Connect();
  TestClient phone = server.Connect();
  phone.Send(GetParam());
  EXPECT_EQ(unnamed.Receive(), BusyForce());
  EXPECT_TRUE(unnamed.IsClosed());
  EXPECT_EQ(phone.Receive(), BusyForce());
  EXPECT_TRUE(phone.IsClosed());
  EXPECT_EQ(named.Receive(), ".+phone_line||#");
  EXPECT_FALSE(named.IsClosed());
  EXPECT_EQ(server.Tag(3), "");
  EXPECT_EQ(IcoLine(), "0");
}

INSTANTIATE_TEST_SUITE_P(Records, PhoneLogOfNobody,
                         ::testing::Values(".+phone_log|99|#", ".+phone_log", ".+phone_log|1'|#",
                                           ".+phone_log||#"));

}  // namespace
}  // namespace vnq
