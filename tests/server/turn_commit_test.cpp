// One commit a turn: what other programs see when something leaves the server, and what a crash
// leaves behind.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "support/base64_text.h"
#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/test_server.h"
#include "tests/platform/sql/sqlite_fixture.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

class TurnCommit : public ServerTest {
 protected:
  void SetUp() override {
    if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "of the embedded database";
    other_ = std::make_unique<OtherProgram>(server.folder() + "/Web/Data/vnq.db");
  }

  static void Write(Host& host) {
    EXPECT_TRUE(host.database.Execute(Sql("insert into ServerLog(Txt) values('written')")));
  }
  std::string Seen() { return other_->Read("select count(*) from ServerLog where Txt='written'"); }

  std::unique_ptr<OtherProgram> other_;
};

TEST_F(TurnCommit, RowsAreThereBeforeBytesLeave) {
  TestClient client = server.ConnectTo(6003);
  client.ReceiveBytes();
  std::string seen, received;
  server.InHandler([&](Host& host) {
    Write(host);
    host.loop.AfterSettle([&] {  // right in front of the bytes
      seen = Seen();
      received = client.ReceiveNow();
    });
    EXPECT_TRUE(host.SckServer6003.Send(1, "x"));
    EXPECT_EQ(Seen(), "0") << "nobody can know of it yet";
    EXPECT_EQ(client.ReceiveNow(), "");
  });
  EXPECT_EQ(client.ReceiveBytes(), "x");
  EXPECT_EQ(seen, "1");
  EXPECT_EQ(received, "");
}

TEST_F(TurnCommit, SendsBetweenStatementsDoNotEndTheTurn) {
  TestClient client = server.ConnectTo(6003);
  client.ReceiveBytes();
  server.InHandler([&](Host& host) {
    for (const char* bytes : {"x", "y", "z"}) {
      Write(host);
      EXPECT_TRUE(host.SckServer6003.Send(1, bytes));
    }
    EXPECT_EQ(Seen(), "0");
  });
  EXPECT_EQ(client.ReceiveBytes(), "xyz");
  EXPECT_EQ(Seen(), "3");
}

TEST_F(TurnCommit, BytesThatFollowFromReadsAloneLeaveAtOnce) {
  TestClient client = server.ConnectTo(6003);
  client.ReceiveBytes();
  server.InHandler([&](Host& host) {
    EXPECT_TRUE(host.database.ReadValue(Sql("select count(*) from ServerLog")).ok());
    EXPECT_TRUE(host.SckServer6003.Send(1, "x"));
    EXPECT_EQ(client.ReceiveNow(), "x");
  });
}

TEST_F(TurnCommit, RowsAreThereBeforeAConnectionEnds) {
  TestClient client = server.ConnectTo(6003);
  std::string seen;
  server.InHandler([&](Host& host) {
    Write(host);
    host.loop.AfterSettle([&] { seen = Seen(); });
    host.SckServer6003.Close(1);
    EXPECT_EQ(Seen(), "0");
  });
  EXPECT_EQ(seen, "1");
  EXPECT_TRUE(client.IsClosed());
}

TEST_F(TurnCommit, HandlersThatYieldSideBySideShareACommit) {
  for (int i = 0; i < 2; ++i) {
    server.loop().StartHandler([&] {
      Write(server.host());
      server.loop().Yield();
    });
  }
  server.loop().StartHandler([&] { EXPECT_EQ(Seen(), "0"); });
  server.Pump();
  EXPECT_EQ(Seen(), "2");
}

TEST_F(TurnCommit, WhatAHandlerHasReadIsReadAgainBehindAYield) {
  const auto count = [](Host& host) {
    return OrEmpty(host.database.ReadValue(Sql("select count(*) from ServerErrLog")));
  };
  std::vector<std::string> counts;
  server.loop().StartHandler([&] {
    counts.push_back(count(server.host()));
    server.loop().Yield();
  });
  server.loop().StartHandler([&] {
    other_->Run("insert into ServerErrLog(Err1) values('x')");
    counts.push_back(count(server.host()));
  });
  server.Pump();
  EXPECT_EQ(counts, (std::vector<std::string>{"0", "1"}));
}

TEST_F(TurnCommit, RowsAreThereBehindAYield) {
  server.InHandler([&](Host& host) {
    Write(host);
    EXPECT_EQ(Seen(), "0");
    host.loop.Yield();
    EXPECT_EQ(Seen(), "1");
  });
}

TEST_F(TurnCommit, RowsAreThereBeforeAnOutgoingCall) {
  server.InHandler([&](Host& host) {
    Write(host);
    host.outgoing.SendPush("http://" + server.address() + ":1/", "text");
    EXPECT_EQ(Seen(), "1");
  });
}

TEST_F(TurnCommit, RowsAreThereBeforeTheLoopWaits) {
  server.loop().Enqueue([&] { Write(server.host()); });
  server.loop().Turn(0);
  server.loop().Turn(0);
  EXPECT_EQ(Seen(), "1");
}

TEST_F(TurnCommit, HandlersOfOneTurnShareACommit) {
  server.loop().StartHandler([&] { Write(server.host()); });
  server.loop().StartHandler([&] { EXPECT_EQ(Seen(), "0"); });
  server.Pump();
  EXPECT_EQ(Seen(), "1");
}

TEST_F(TurnCommit, AClientThatHasItsReceiptFindsTheRowInAnyProgram) {
  server.AddUser("1");
  server.AddUser("2");
  TestClient ann = server.Online("1");
  ann.Send(".+message|2|1|hello|font|M1|1|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(other_->Read("select UserText from Messeng_Text where Msg_ID='M1'"), "hello");
}

// The shipped program under load, ended without a chance to say goodbye.
class KilledServer : public ::testing::Test {
 protected:
  KilledServer() {
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder_ / "app", false, "en_US.UTF-8"}, said, said), 0) << said.str();
    OtherProgram database(DatabasePath());
    database.Run(
        "insert into Users_ID(UserID,UserName,FcName,UserState) values('1','ann','Ann',1)");
  }

  std::string DatabasePath() const { return folder_ / "app" + "/Web/Data/vnq.db"; }

  static std::string Address() { return AddressOfThisProcess(212); }

  static int Connect() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(6004);
    inet_pton(AF_INET, Address().c_str(), &peer.sin_addr);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&peer), sizeof peer), 0);
    timeval patience{10, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return descriptor;
  }

  // What comes until `words` are in it, decoded; each text that is sent has its own padding.
  static std::string ReadUntil(int descriptor, std::string_view words, std::string& wire) {
    char buffer[65536];
    for (;;) {
      std::string text;
      for (size_t i = 0; i + 4 <= wire.size(); i += 4) text += Base64DecodeBytes(wire.substr(i, 4));
      if (text.find(words) != text.npos) return text;
      const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
      if (count <= 0) return text;
      wire.append(buffer, static_cast<size_t>(count));
    }
  }

  static void Send(int descriptor, const std::string& records) {
    const std::string bytes = Base64EncodeBytes(records);
    EXPECT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  TemporaryFolder folder_;
};

TEST_F(KilledServer, LosesNothingThatWasAcknowledged) {
  RealProcess server({VNQ_SERVER_PROGRAM, "--app-path", folder_ / "app", "--bind", Address()});
  ASSERT_TRUE(server.WaitForWords("ready")) << server.standardError();
  const int client = Connect();
  std::string wire;
  ReadUntil(client, "SuccessfulConnection", wire);
  Send(client, ".+successful_online|1|1|#");
  ReadUntil(client, "SynchronousSuccessfully", wire);
  // Messages go on coming until the first receipts are there, and are under way when the end comes.
  constexpr int kMessages = 600;
  for (int i = 0; i < kMessages; ++i) {
    Send(client, fmt::format(".+message|2|1|hello|font|M{}|1|#", i));
  }
  const std::string heard = ReadUntil(client, ".+reply|", wire);
  for (int i = kMessages; i < kMessages + 200; ++i) {
    Send(client, fmt::format(".+message|2|1|hello|font|M{}|1|#", i));
  }
  server.Signal(SIGKILL);
  server.ExitCode();
  close(client);

  OtherProgram database(DatabasePath());
  int acknowledged = 0;
  for (int i = 0; i < kMessages + 200; ++i) {
    if (heard.find(fmt::format(".+reply|1|2|M{}|#", i)) == heard.npos) continue;
    ++acknowledged;
    EXPECT_EQ(database.Read(fmt::format("select count(*) from Messeng_Text where Msg_ID='M{}'", i)),
              "1");
  }
  EXPECT_GT(acknowledged, 0) << heard;
}

}  // namespace
}  // namespace vnq
