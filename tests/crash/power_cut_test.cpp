// The power goes at any write or sync of the embedded database: what a client was told is there.
//
//   VNQ_ROUNDS=1000 VNQ_SEED=2 vnq_crash_tests --gtest_filter='PowerCut.*'     more of them, by
// hand
#include <fmt/format.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "support/base64_text.h"
#include "tests/crash/rounds.h"
#include "tests/crash/synced_disk.h"
#include "tests/harness/test_server.h"
#include "tests/platform/system/temporary_folder.h"

namespace vnq {
namespace {

constexpr size_t kClients = 3;

TestServerOptions AsDeployed() {
  TestServerOptions options;
  options.durability = SqlDurability::kReceipt;
  return options;
}

// A database file as it was found after the cut, without the disk that is watched.
class FoundFile {
 public:
  FoundFile(const TemporaryFolder& folder, const SyncedDisk::Files& files) {
    std::string database;
    for (const auto& [path, content] : files) {
      const std::string name = std::filesystem::path(path).filename();
      folder.Write(name, content);
      if (name.ends_with(".db")) database = folder / name;
    }
    sqlite3_open_v2(database.c_str(), &handle_, SQLITE_OPEN_READWRITE, "unix");
  }
  ~FoundFile() { sqlite3_close(handle_); }
  FoundFile(const FoundFile&) = delete;
  FoundFile& operator=(const FoundFile&) = delete;

  std::multiset<std::string> Column(const std::string& select) {
    std::multiset<std::string> values;
    auto take = [](void* target, int, char** cells, char**) {
      static_cast<std::multiset<std::string>*>(target)->insert(cells[0] ? cells[0] : "(null)");
      return 0;
    };
    char* error = nullptr;
    sqlite3_exec(handle_, select.c_str(), take, &values, &error);
    EXPECT_EQ(error, nullptr) << error;
    sqlite3_free(error);
    return values;
  }

 private:
  sqlite3* handle_ = nullptr;
};

class PowerCut : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "of the embedded database";
    disk = std::make_unique<SyncedDisk>();
    server = std::make_unique<TestServer>(AsDeployed());
    server->Run("insert into Role(ID,DefaultRole) values(7,1)");
    disk->SetBeforeChange([this](uint64_t) {
      if (changesUntilCut > 0 && --changesUntilCut == 0) Cut();
    });
  }
  void TearDown() override {
    clients.clear();
    server.reset();
  }

  // Notes what everybody has been told by now, and what the disk holds.
  void Cut() {
    for (size_t i = 0; i < clients.size(); ++i) wire[i] += clients[i].ReceiveNow();
    told = wire;
    found = disk->AfterPowerCut(random);
  }

  // Goes on with the deed until the power has gone.
  void UntilCut(const std::function<void()>& deed) {
    changesUntilCut = 1 + random() % 60;
    found.clear();
    while (found.empty()) {
      deed();
      for (size_t i = 0; i < clients.size(); ++i) wire[i] += clients[i].ReceiveNow();
    }
  }

  std::string Told(size_t client) const {
    std::string text;
    for (size_t i = 0; i + 4 <= told[client].size(); i += 4) {
      text += Base64DecodeBytes(told[client].substr(i, 4));
    }
    return text;
  }

  std::mt19937_64 random{Seed()};
  std::unique_ptr<SyncedDisk> disk;
  std::unique_ptr<TestServer> server;
  std::vector<TestClient> clients;
  std::vector<std::string> wire, told;  // by client, as it came
  SyncedDisk::Files found;
  uint64_t changesUntilCut = 0;
};

// Every word between `before` and the next '|'.
std::set<std::string> WordsBehind(const std::string& text, const std::string& before) {
  std::set<std::string> words;
  for (size_t at = 0; (at = text.find(before, at)) != text.npos;) {
    at += before.size();
    words.insert(text.substr(at, text.find('|', at) - at));
  }
  return words;
}

TEST_F(PowerCut, NoMessageWithAReceiptIsMissingAndNoneIsThereTwice) {
  for (size_t i = 0; i < kClients; ++i) {
    server->AddUser(std::to_string(i + 1));
    clients.push_back(server->Online(std::to_string(i + 1)));
    wire.emplace_back();
  }
  const int rounds = Rounds(100);
  int sent = 0;
  size_t receipts = 0;
  for (int round = 0; round < rounds; ++round) {
    UntilCut([&] {
      const size_t sender = random() % kClients;
      for (size_t left = random() % 4; left > 0; --left) {
        clients[sender].SendQuietly(fmt::format(".+message|{}|{}|hello|font|M{}|1|#",
                                                1 + random() % kClients, sender + 1, ++sent));
        server->Pump();
      }
      if (random() % 4 == 0) server->Tick();
    });
    const TemporaryFolder folder;
    FoundFile file(folder, found);
    EXPECT_EQ(file.Column("pragma integrity_check"), std::multiset<std::string>{"ok"});
    const auto stored = file.Column("select Msg_ID from Messeng_Text");
    receipts = 0;
    for (size_t i = 0; i < kClients; ++i) {
      for (size_t target = 1; target <= kClients; ++target) {
        for (const auto& id : WordsBehind(Told(i), fmt::format(".+reply|1|{}|", target))) {
          ++receipts;
          ASSERT_EQ(stored.count(id), 1U) << id << " in round " << round;
        }
      }
    }
  }
  EXPECT_GT(receipts, 0U);
  fmt::print("{} power cuts, {} messages, {} receipts, none lost\n", rounds, sent, receipts);
}

TEST_F(PowerCut, NoAccountThatWasToldAsMadeIsMissing) {
  clients.push_back(server->ConnectTo(6007));
  wire.emplace_back();
  const int rounds = Rounds(100);
  int asked = 0;
  size_t made = 0;
  for (int round = 0; round < rounds; ++round) {
    UntilCut([&] {
      clients[0].SendQuietly(
          fmt::format(".+account_application|000002|12|login{}|Name|pw|Pilot|555|Leo|#", ++asked));
      server->Pump();
      if (random() % 4 == 0) server->Tick();
    });
    const TemporaryFolder folder;
    FoundFile file(folder, found);
    EXPECT_EQ(file.Column("pragma integrity_check"), std::multiset<std::string>{"ok"});
    const auto stored = file.Column("select UserID from Users_ID");
    const std::set<std::string> users = WordsBehind(Told(0), ".+application_success|");
    made = users.size();
    for (const std::string& userId : users) {
      ASSERT_EQ(stored.count(userId), 1U) << userId << " in round " << round;
    }
  }
  EXPECT_GT(made, 0U);
  fmt::print("{} power cuts, {} accounts told as made, none lost\n", rounds, made);
}

}  // namespace
}  // namespace vnq
