// Short, broken and hostile input to the main port: no crash, no answer of its own, and the next
// record is served.
#include <random>

#include "server/command_table.h"
#include "server/timers.h"
#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

using std::string_literals::operator""s;

class DispatcherBadInput : public ServerTest {
 protected:
  DispatcherBadInput() {
    server.AddUser("1");
    server.AddUser("2");
  }
};

// Records of every command with every count of fields, each value of the kind given.
void RunLadder(TestServer& server, const std::string& value) {
  for (const CommandRow& row : ClientCommands()) {
    for (int count = 0; count <= 9; ++count) {
      for (const char* closing : {"", "|#", "#"}) {
        std::string record(row.word);
        for (int i = 0; i < count; ++i) record += "|" + value;
        const uint64_t callsBefore = server.ClientDispatcher().CountersOf(row).calls;
        TestClient client = server.Connect();
        client.Send(record + closing);
        client.Receive();
        if (count > 0 && !row.needsHash && *closing != '#') {
          EXPECT_GT(server.ClientDispatcher().CountersOf(row).calls, callsBefore)
              << record << closing;
        }
        TestClient next = server.Connect();
        next.Send(".+y|#");
        ASSERT_TRUE(next.Receive().ends_with(".+y|#")) << "behind " << record << closing;
        client.Close();
        next.Close();
        server.InHandler(ErrTimerTick);
      }
    }
  }
  EXPECT_EQ(server.Rows("select * from ServerErrLog"), Lines{});
}

TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfNumbers) {
  RunLadder(server, "1");
}
TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfEmptyFields) {
  RunLadder(server, "");
}
TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfQuotes) {
  RunLadder(server, "a'b");
}
TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfNulBytes) {
  RunLadder(server, "a\0b"s);
}
TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfHugeNumbers) {
  RunLadder(server, "99999999999999999999");
}
TEST_F(DispatcherBadInput, ServesOnBehindEveryCommandWithEveryCountOfHalfEscapes) {
  RunLadder(server, "%u12%%2");
}

TEST_F(DispatcherBadInput, ServesOnBehindRandomBytes) {
  std::mt19937 random(20260304);
  for (int i = 0; i < 500; ++i) {
    std::string bytes(random() % 300, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    TestClient client = server.Connect();
    client.SendBytes(bytes);
    EXPECT_EQ(client.Receive(), "") << i;
    client.Send(".+y|#");
    EXPECT_EQ(client.Receive(), ".+y|#") << i;
    client.Close();
    if (i % 20 == 0) server.InHandler(ErrTimerTick);
  }
}

TEST_F(DispatcherBadInput, ServesOnBehindRecordsOfRandomBytesBehindRealWords) {
  std::mt19937 random(20260305);
  const auto table = ClientCommands();
  for (int i = 0; i < 500; ++i) {
    std::string record(table[random() % table.size()].word);
    for (auto k = random() % 60; k > 0; --k) {
      record += random() % 5 == 0 ? '|' : static_cast<char>(random());
    }
    TestClient client = server.Connect();
    client.SendBytes(Base64EncodeBytes(record));
    client.Receive();
    TestClient next = server.Connect();
    next.Send(".+y|#");
    ASSERT_TRUE(next.Receive().ends_with(".+y|#")) << i;
    client.Close();
    next.Close();
    server.InHandler(ErrTimerTick);
  }
}

TEST_F(DispatcherBadInput, TenMegabytesWithoutAnEndWaitAndTheNextRecordIsServed) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|" + std::string(10'000'000, 'a'));
  EXPECT_EQ(client.Receive(), "");
  client.Send(".+message|2|1|hello|font|M1|1|#.+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
  EXPECT_EQ(server.Rows("select UserText from Messeng_Text"), Lines{"hello"});
}

TEST_F(DispatcherBadInput, TextWithoutSeparatorsIsDropped) {
  TestClient client = server.Connect();
  client.Send(std::string(100'000, '.'));
  client.Send("+.+.+.+.");
  client.Send("#");
  EXPECT_EQ(client.Receive(), "");
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST_F(DispatcherBadInput, FloodOfYieldingRecordsOfOneClientStarvesNobody) {
  TestClient flooder = server.Connect();
  TestClient other = server.Connect();
  for (int i = 0; i < 2000; ++i)
    flooder.SendQuietly(".+go_away|1||#");  // no padding: reads may join
  other.SendQuietly(".+y|#");
  for (int turns = 0; turns < 200; ++turns) server.loop().Turn(0);
  EXPECT_NE(other.ReceiveBytes().find(Base64EncodeText(server.page(), ".+y|#")), std::string::npos);
  EXPECT_LE(server.loop().LiveHandlers(), EventLoop::kMaxHandlers);
}

struct Short {
  const char* record;
  Lines received;
  Lines logged;  // the key of the text behind the user, or nothing
};

TEST_F(DispatcherBadInput, ShortRecordsTakeTheirNormalPathWithTheFieldsMissing) {
  const std::string sync = ".+SynchronousSuccessfully|#";
  const Short cases[] = {
      {".+landing", {".+LoginFailed|#"}, {}},
      {".+landing|name1", {".+LoginFailed|#"}, {}},
      {".+landing|name1|pw1", {".+landing_successful|1|0|,/,\\,~,@,+|0|0|#"}, {"name1|im53|1|1"}},
      {".+successful_online", {""}, {}},
      {".+successful_online|1", {""}, {"1|im58|1|1"}},
      {".+successful_online|1|x", {sync}, {"1|im58|1|1"}},
      {".+on_line", {""}, {}},
      {".+go_away", {""}, {}},
      {".+stealth", {""}, {}},
      {".+offline_request_web_information", {""}, {}},
      {".+y", {".+y|#"}, {}},
  };
  for (const Short& each : cases) {
    server.Run("delete from ServerLog");
    TestClient client = server.Connect();
    client.Send(each.record);
    EXPECT_EQ(Lines{client.Receive()}, each.received) << each.record;
    Lines logged;
    for (const std::string& line : each.logged) {
      const Fields parts = Fields::Split(line);
      logged.push_back(parts[0].text() + server.Lang(parts[1].text()) + "|" + parts[2].text() +
                       "|127.0.0.1|" + parts[3].text());
    }
    EXPECT_EQ(server.Log(), logged) << each.record;
    client.Close();
    server.InHandler(ErrTimerTick);
  }
}

TEST_F(DispatcherBadInput, SkippedStatementsOfACommandAreCounted) {
  const CommandRow* row = server.ClientDispatcher().Find(".+go_away");
  const CommandCounters before = server.ClientDispatcher().CountersOf(*row);
  TestClient client = server.Connect();
  client.Send(".+go_away|1|#");
  EXPECT_EQ(server.ClientDispatcher().CountersOf(*row).calls, before.calls + 1);
  EXPECT_EQ(server.ClientDispatcher().CountersOf(*row).skippedStatements, before.skippedStatements);
  client.Send(".+go_away");
  EXPECT_EQ(server.ClientDispatcher().CountersOf(*row).calls, before.calls + 2);
  EXPECT_GT(server.ClientDispatcher().CountersOf(*row).skippedStatements, before.skippedStatements);
}

}  // namespace
}  // namespace vnq
