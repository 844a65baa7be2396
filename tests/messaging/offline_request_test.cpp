// What the two older offline tables hold, handed over once.
#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class OfflineRequest : public ServerTest {
 protected:
  OfflineRequest() { server.AddUser("1"); }

  void AddPeer(const std::string& user, const std::string& type, const std::string& text,
               const std::string& date = "'2026-01-02 03:04:05'") {
    server.Run(
        "insert into Messeng_Type(UserID1,UserID2,To_Date,To_Type,UserText,FontInfo) values('" +
        user + "','7'," + date + "," + type + ",'" + text + "','font')");
  }
  void AddVisitor(const std::string& user, const std::string& type, const std::string& text) {
    server.Run(
        "insert into MessengKefu_Type(UserID1,UserID2,FcName,To_Date,To_Type,UserText) values('" +
        user + "','v','City','2026-01-02 13:04:05'," + type + ",'" + text + "')");
  }
  std::string Request(const std::string& record = ".+offline_request_web_information|1|#") {
    client.Send(record);
    return client.Receive();
  }
  std::string Remaining() {
    return server.Value(
        "select (select count(*) from Messeng_Type),(select count(*) from "
        "MessengKefu_Type)");
  }

  TestClient client = server.Connect();
};

constexpr const char* kPeer = ".+message|7|2026-01-02|03:04:05|";
constexpr const char* kVisitor = ".+customer_information|v|City|2026-01-02|13:04:05|";

TEST_F(OfflineRequest, RowWhoseTextCannotBeReadIsPassedOver) {
  AddPeer("1", "1", "lost");
  AddVisitor("1", "1", "kept");
  server.Run("alter table Messeng_Type rename column FontInfo to Gone");
  EXPECT_EQ(Request(), std::string(kVisitor) + "kept|#");
}

TEST_F(OfflineRequest, EmptyTablesSendTheEmptyTextAndAreLogged) {
  client.Send(".+offline_request_web_information|1|#");
  EXPECT_EQ(client.ReceiveBytes(), "");
  EXPECT_FALSE(client.IsClosed());
  EXPECT_EQ(server.Log(), Lines{"1" + server.Lang("im76") + "|1|127.0.0.1|7"});
}

TEST_F(OfflineRequest, RowsOfBothTablesComeInOneTextAtOnceAndAreDeleted) {
  AddVisitor("1", "1", "from a visitor");
  AddPeer("1", "1", "one");
  AddPeer("2", "1", "for another");
  AddVisitor("2", "1", "for another");
  AddPeer("1", "1", "two");
  client.Send(".+offline_request_web_information|1|#");
  const std::string wire = client.ReceiveBytes();
  const std::string text =
      std::string(kPeer) + "one|font|#" + kPeer + "two|font|#" + kVisitor + "from a visitor|#";
  EXPECT_EQ(wire, Base64EncodeText(server.page(), text));
  EXPECT_EQ(Remaining(), "1|1");
  EXPECT_EQ(server.Waiting(1), "");
  EXPECT_EQ(Request(), "");
}

TEST_F(OfflineRequest, TypeDecidesHowAPeerRecordCloses) {
  AddPeer("1", "1", "a");
  AddPeer("1", "2", "b");
  AddPeer("1", "3", "c");
  EXPECT_EQ(Request(), std::string(kPeer) + "a|font|#" + kPeer + "b|font|@#" + kPeer + "c|font|*#");
}

TEST_F(OfflineRequest, PeerRecordOfAnotherTypeClosesAsTheOneBeforeIt) {
  AddPeer("1", "9", "a");
  AddPeer("1", "2", "b");
  AddPeer("1", "0", "c");
  AddPeer("1", "NULL", "d");
  AddPeer("1", "3", "e");
  AddPeer("1", "4", "f");
  EXPECT_EQ(Request(), std::string(kPeer) + "a|font|" + kPeer + "b|font|@#" + kPeer + "c|font|@#" +
                           kPeer + "d|font|@#" + kPeer + "e|font|*#" + kPeer + "f|font|*#");
}

TEST_F(OfflineRequest, VisitorRecordOfTypeThreeClosesWithAStarAndEveryOtherPlainly) {
  AddVisitor("1", "3", "a");
  AddVisitor("1", "2", "b");
  AddVisitor("1", "NULL", "c");
  EXPECT_EQ(Request(), std::string(kVisitor) + "a|*#" + kVisitor + "b|#" + kVisitor + "c|#");
}

TEST_F(OfflineRequest, DateAndTimeBothComeFromTheDate) {
  AddPeer("1", "1", "a", "'2026-1-2'");
  AddPeer("1", "1", "b", "NULL");
  EXPECT_EQ(Request(), ".+message|7|2026-01-02|00:00:00|a|font|#.+message|7|||b|font|#");
}

TEST_F(OfflineRequest, NamedUserIsTrusted) {
  AddPeer("2", "1", "a");
  EXPECT_EQ(Request(".+offline_request_web_information|2|#"), std::string(kPeer) + "a|font|#");
}

TEST_F(OfflineRequest, QuoteInTheUserHandsOverAndDeletesNothing) {
  AddPeer("1", "1", "a");
  EXPECT_EQ(Request(".+offline_request_web_information|1'|#"), "");
  EXPECT_EQ(Remaining(), "1|0");
  EXPECT_EQ(server.Log(), Lines{"1'" + server.Lang("im76") + "|1'|127.0.0.1|7"});
}

TEST_F(OfflineRequest, RequestWithoutAUserIsNotLogged) {
  AddPeer("1", "1", "a");
  EXPECT_EQ(Request(".+offline_request_web_information"), "");
  EXPECT_EQ(Remaining(), "1|0");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(OfflineRequest, BothDeletionsRunBeforeTheTurnThatPrecedesTheSend) {
  AddPeer("1", "1", "a");
  AddVisitor("1", "1", "b");
  TestClient second = server.Connect();
  client.SendQuietly(".+offline_request_web_information|1|#");
  second.SendQuietly(".+offline_request_web_information|1|#");
  server.Pump();
  const std::string both = std::string(kPeer) + "a|font|#" + kVisitor + "b|#";
  const std::string one = client.Receive(), two = second.Receive();
  EXPECT_EQ(one + two, both);  // whoever came first has it all
  EXPECT_TRUE(one.empty() || two.empty());
}

}  // namespace
}  // namespace vnq
