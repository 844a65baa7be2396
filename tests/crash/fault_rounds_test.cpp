// Something around the server breaks and heals, again and again: the server stays up, answers
// meanwhile, and stores again by itself.
//
// What else of this kind is tested stands where its part is: refused descriptors in
// server/process_test.cpp and refused_connections_test.cpp, silent siblings in
// endpoints/watchdog_test.cpp, lost database servers in server/database_outage_test.cpp and
// platform/sql/*_outage_test.cpp, single files in platform/sql/sqlite_driver_test.cpp.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/crash/rounds.h"
#include "tests/crash/synced_disk.h"
#include "tests/harness/as_nobody.h"
#include "tests/harness/own_address.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

class FaultRounds : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "of the embedded database";
    disk = std::make_unique<SyncedDisk>();
    server = std::make_unique<TestServer>(TestServerOptions{.durability = SqlDurability::kReceipt});
    server->AddUser("1");
    server->AddUser("2");
    ann = std::make_unique<TestClient>(server->Online("1"));
    ben = std::make_unique<TestClient>(server->Online("2"));
    said = std::make_unique<SaidLines>();
  }
  void TearDown() override {
    said.reset();
    ann.reset();
    ben.reset();
    server.reset();
  }

  void Message(const std::string& id) {
    ann->Send(".+message|2|1|hello|font|" + id + "|1|#");
    server->Tick();
  }
  bool Answers() {
    ann->Receive();
    ann->Send(".+y|#");
    return ann->Receive().find(".+y|#") != std::string::npos;
  }
  std::string Stored(const std::string& id) {
    return server->Value("select count(*) from Messeng_Text where Msg_ID='" + id + "'");
  }

  // The fault comes, people go on, the fault goes, people go on.
  void GoThrough(int rounds, const std::function<void()>& breaks,
                 const std::function<void()>& heals) {
    for (int round = 0; round < rounds; ++round) {
      breaks();
      for (const char* part : {"a", "b", "c"}) Message(fmt::format("F{}{}", round, part));
      ASSERT_TRUE(Answers()) << "in the fault of round " << round;
      heals();
      server->AdvanceMs(15'000);
      Message(fmt::format("A{}", round));
      ASSERT_TRUE(Answers()) << "behind the fault of round " << round;
      ASSERT_EQ(Stored(fmt::format("A{}", round)), "1");
      ASSERT_FALSE(ben->IsClosed());
    }
  }

  // Each fault is said once, with a line or two when it is over.
  void ExpectSaidOnceARound(int rounds) {
    const std::vector<std::string> lines = said->Take();
    const auto begun = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
      return !line.starts_with("info");
    });
    EXPECT_EQ(begun, rounds) << fmt::format("{}", fmt::join(lines, "\n"));
    EXPECT_LE(lines.size(), static_cast<size_t>(3 * rounds))
        << fmt::format("{}", fmt::join(lines, "\n"));
  }

  void RefuseInRounds(int code) {
    const int rounds = Rounds(10);
    GoThrough(
        rounds, [&] { disk->RefuseWrites(code); }, [&] { disk->RefuseWrites(0); });
    ExpectSaidOnceARound(rounds);
  }

  std::string DatabaseFile() const { return server->folder() + "/Web/Data/vnq.db"; }

  std::unique_ptr<SyncedDisk> disk;
  std::unique_ptr<TestServer> server;
  std::unique_ptr<TestClient> ann, ben;
  std::unique_ptr<SaidLines> said;
};

TEST_F(FaultRounds, AFullDiskIsOutlived) {
  RefuseInRounds(SQLITE_FULL);
}

TEST_F(FaultRounds, ADiskThatTakesNoWritesIsOutlived) {
  RefuseInRounds(SQLITE_IOERR_WRITE);
}

TEST_F(FaultRounds, AReadOnlyDiskIsOutlived) {
  RefuseInRounds(SQLITE_READONLY);
}

// The lock is waited for once; then people are answered at once.
TEST_F(FaultRounds, AForeignLockIsOutlived) {
  OtherProgram other(DatabaseFile());
  const int rounds = Rounds(1);
  GoThrough(
      rounds, [&] { other.Run("begin immediate"); }, [&] { other.Run("rollback"); });
  ExpectSaidOnceARound(rounds);
}

TEST_F(FaultRounds, AFileThatIsTakenAwayAndPutBackIsOutlived) {
  const int rounds = Rounds(5);
  const auto move = [&](const std::string& from, const std::string& to) {
    for (const char* end : {"", "-wal", "-shm"}) {
      std::error_code ignored;
      std::filesystem::rename(DatabaseFile() + from + end, DatabaseFile() + to + end, ignored);
    }
  };
  GoThrough(
      rounds,
      [&] {
        move("", ".away");
        server->AdvanceMs(2000);
      },
      [&] { move(".away", ""); });
  ExpectSaidOnceARound(rounds);
}

// Ticks, sweeps and the dates of rows: only these follow the machine's date.
TEST_F(FaultRounds, AClockThatIsSetBackAndForthStopsNoTimer) {
  const std::vector<LocalTime> dates = {{2025, 1, 1, 0, 0, 0},
                                        {2036, 12, 31, 0, 0, 0},
                                        {1999, 2, 28, 0, 0, 0},
                                        {2026, 3, 4, 0, 0, 0}};
  for (const LocalTime& date : dates) {
    server->SetDate(date);
    const std::string id = "D" + date.Date();
    ann->Receive();
    Message(id);
    EXPECT_EQ(ann->Receive(), ".+reply|1|2|" + id + "|#");
    EXPECT_EQ(server->Value("select To_Date from Messeng_Text where Msg_ID='" + id + "'"),
              date.Date());
  }
  ben.reset();
  server->Pump();
  EXPECT_EQ(server->State(2), SocketState::kClosing);
  server->SetDate(dates[0]);
  server->AdvanceMs(20'000);
  EXPECT_EQ(server->State(2), SocketState::kClosed);
}

// A user without root's rights, whose folder somebody else may write by now.
TEST(UnwritableFolder, WhatIsOpenIsStillWritten) {
  if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "of the embedded database";
  const std::string result = AsNobody([] {
    TestServer server;
    server.AddUser("1");
    TestClient ann = server.Online("1");
    const std::string folder = server.folder();
    for (const char* place : {"/Web/Data", "/Web", ""}) chmod((folder + place).c_str(), 0555);
    ann.Send(".+message|2|1|hello|font|U1|1|#");
    server.Tick();
    const std::string heard = ann.Receive();
    for (const char* place : {"", "/Web", "/Web/Data"}) chmod((folder + place).c_str(), 0755);
    return heard + server.Value("select UserText from Messeng_Text where Msg_ID='U1'");
  });
  EXPECT_EQ(result, ".+reply|1|2|U1|#hello");
}

// A port that takes connections and never says a word.
class SilentPort {
 public:
  explicit SilentPort(const std::string& address)
      : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(8097);
    inet_pton(AF_INET, address.c_str(), &own.sin_addr);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
    EXPECT_EQ(listen(descriptor_, 128), 0);
  }
  ~SilentPort() { close(descriptor_); }
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;

 private:
  int descriptor_;
};

size_t OpenDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST_F(FaultRounds, APushAddressThatNeverAnswersKeepsNobodyWaiting) {
  const std::string address = AddressOfThisProcess(215);
  const size_t before = OpenDescriptors();
  {
    SilentPort silent(address);
    server->host().PushUrl = "http://" + address + ":8097/push";
    for (int push = 0; push < 60; ++push) {
      server->host().PushQueue.Add(fmt::format("a||b|1|push {}", push));
      server->AdvanceMs(1000);
      ASSERT_TRUE(Answers()) << push;
    }
  }
  // The port goes, and with it what waits for it.
  for (int turn = 0; turn < 200 && OpenDescriptors() > before; ++turn) {
    server->loop().Turn(20);
  }
  EXPECT_LE(OpenDescriptors(), before);
  EXPECT_TRUE(Answers());
}

}  // namespace
}  // namespace vnq
