// What no client should send: nothing crashes, nothing hangs, and the next good record is served.
#include <fmt/format.h>

#include <random>

#include "server/command_table.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class BadInput : public ServerTest {
 protected:
  void ExpectServed() {
    TestClient client = server.Connect();
    client.Send(".+y|#");
    EXPECT_EQ(client.Receive(), ".+y|#");
  }
};

TEST_F(BadInput, RandomBytesGetNoAnswer) {
  std::mt19937 random(1);
  TestClient client = server.Connect();
  for (int i = 0; i < 300; ++i) {
    std::string bytes(random() % 400, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    client.SendBytes(bytes);
  }
  server.Tick();
  EXPECT_EQ(client.ReceiveBytes(), "");
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(BadInput, BrokenBase64GetsNoAnswer) {
  TestClient client = server.Connect();
  for (const char* text :
       {"=", "====", "A", "AB", "ABC", "A===", "LitsYW5kaW5n\r\n", "Li t5fCM=", "LnlN*&^"}) {
    client.SendBytes(text);
  }
  EXPECT_EQ(client.ReceiveBytes(), "");
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(BadInput, EveryCommandTakesEveryNumberOfEveryKindOfField) {
  const std::string values[] = {"1",
                                "",
                                "'",
                                "x';Delete from Users_ID;--",
                                std::string("a\0b", 3),
                                "-99999999999999999999",
                                "{a@",
                                "%u",
                                "%",
                                "好",
                                "m",
                                "1e400"};
  server.AddUser("1");
  for (const CommandRow& row : ClientCommands()) {
    for (const std::string& value : values) {
      std::string record(row.word);
      for (int count = 0; count <= row.FieldCount() + 2; ++count) {
        TestClient client = server.Connect();
        client.Send(record);
        client.Send(record + "|#");
        record += "|" + value;
      }
    }
    server.AdvanceMs(20'000);
    ExpectServed();
  }
  EXPECT_EQ(server.Value("select count(*) from Users_ID where UserName='name1'"), "1");
}

TEST_F(BadInput, TextWithoutSeparatorsIsDropped) {
  TestClient client = server.Connect();
  client.Send("no separators at all");
  client.Send(".+");
  client.Send("||||#");
  client.Send("");
  EXPECT_EQ(client.ReceiveBytes(), "");
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(BadInput, TenMegabytesWithoutAnEndAreTakenAndOthersServed) {
  TestClient client = server.Connect();
  const std::string chunk(1'000'000, 'A');
  for (int i = 0; i < 10; ++i) {
    client.SendBytes(chunk);
    ExpectServed();
  }
  server.Tick();
  EXPECT_EQ(client.ReceiveBytes(), "");
}

TEST_F(BadInput, AFloodOfYieldingRecordsIsHeldBackAtTheSocket) {
  server.AddUser("1");
  std::vector<TestClient> crowd;
  for (int i = 0; i < 20; ++i) crowd.push_back(server.Connect());
  TestClient flooder = server.Connect();
  TestClient other = server.Connect();
  const std::string record =
      "Litvbl9saW5lfDF8IwoK";  // .+on_line|1|# with two line feeds: no padding
  for (int i = 0; i < 400; ++i) {
    flooder.SendBytesQuietly(record);
    if (i % 10 == 0) server.loop().Turn(0);
    EXPECT_LE(server.loop().LiveHandlers(), static_cast<size_t>(TcpConnection::kMaxHandlers) + 1);
  }
  other.Send(".+y|#");
  EXPECT_NE(other.Receive().find(".+y|#"), std::string::npos);
}

TEST_F(BadInput, TwoFloodsDoNotStarveAThirdClient) {
  std::vector<TestClient> crowd;
  for (int i = 0; i < 50; ++i) crowd.push_back(server.Connect());
  TestClient other = server.Connect();
  const std::string record = "Litvbl9saW5lfDF8IwoK";
  for (int i = 0; i < 50; ++i) {
    crowd[0].SendBytesQuietly(record);
    crowd[1].SendBytesQuietly(record);
  }
  server.loop().Turn(0);
  other.SendQuietly(".+y|#");
  // Each turn of the loop serves whoever is ready; a keep-alive needs two, however long the
  // broadcasts are.
  int turns = 0;
  while (other.ReceiveNow().find("Lit5") == std::string::npos && turns < 50) {
    server.loop().Turn(0);
    ++turns;
  }
  EXPECT_LT(turns, 10);
  EXPECT_GT(server.loop().LiveHandlers(), 0u) << "the broadcasts were over too soon to tell";
}

}  // namespace
}  // namespace vnq
