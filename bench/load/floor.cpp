#include "bench/load/floor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "bench/load/accounts.h"
#include "bench/load/pacing.h"
#include "bench/load/poller.h"
#include "bench/load/process_probe.h"
#include "tools/schema/schema_sql.h"

namespace vnq::bench {
namespace {

constexpr int kMessages = 20000;
constexpr int kUsers = 1000;
constexpr int kConnections = 64;
constexpr int kRounds = 200;
constexpr double kWokenSeconds = 2;
constexpr size_t kMostInTurn = 50;  // messages: their statements are as many as a turn may have

class BareDatabase {
 public:
  explicit BareDatabase(const std::string& path) {
    sqlite3_open(path.c_str(), &handle_);
    Run("pragma journal_mode=wal");
    Run("pragma synchronous=normal");
    // Checkpoints are no part of a message: the server makes them at its tick.
    Run("pragma wal_autocheckpoint=0");
    for (const std::string& statement : SchemaStatements(DatabaseEngine::kSqlite))
      Run(statement.c_str());
    AddUsers();
    PrepareStatements();
  }
  ~BareDatabase() {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close(handle_);
  }
  BareDatabase(const BareDatabase&) = delete;
  BareDatabase& operator=(const BareDatabase&) = delete;

  bool ok() const { return ok_; }

  void OneMessage(int number, const std::string& text) {
    const std::string id = "floor-" + std::to_string(number);
    const std::string sender = UserId(static_cast<size_t>(number % kUsers));
    const std::string target = UserId(static_cast<size_t>((number + 1) % kUsers));
    Step(0, {&sender});
    Step(1, {&id, &target});
    Step(2, {&id, &sender, &target, &text});
    Step(3, {&id});
    Step(4, {&sender});
    Step(5, {&target});
  }

  void Begin() { Step(6, {}); }
  void Commit() { Step(7, {}); }

  void Run(const char* sql) {
    ok_ = sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK && ok_;
  }

 private:
  void AddUsers() {
    Run("begin");
    for (size_t i = 0; i < kUsers; ++i) {
      Run(("insert into Users_ID(UserID,UserName,FcName) values('" + UserId(i) + "','" +
           UserName(i) + "','Bench')")
              .c_str());
    }
    Run("commit");
  }

  void PrepareStatements() {
    const char* const texts[] = {
        "select UserID,FcName,UserIcoLine from Users_ID where UserID=?",
        "select * from Messeng_Text where Msg_ID=? and YouID=? limit 1",
        "insert into Messeng_Text(Msg_ID,MyID,YouID,UserText,FcName,To_Date,To_Time,FontInfo,"
        "To_Type,IsAck2,IsAck3,IsAck4)"
        " values(?,?,?,?,'Bench','2026-01-01','12:00:00','',10,1,1,1)",
        "select * from Messeng_Text where Msg_ID=? and IsAck3=1",
        "insert into ServerLog(UserID,Txt,Ip,Ico) values(?,'sent a message','127.0.0.1',5)",
        "select * from Users_ID where UserID=?",
        "begin immediate",
        "commit"};
    for (size_t i = 0; i < statements_.size(); ++i) {
      ok_ = sqlite3_prepare_v2(handle_, texts[i], -1, &statements_[i], nullptr) == SQLITE_OK && ok_;
    }
  }

  void Step(size_t index, std::initializer_list<const std::string*> values) {
    sqlite3_stmt* statement = statements_[index];
    int position = 0;
    for (const std::string* value : values) {
      sqlite3_bind_text(statement, ++position, value->data(), static_cast<int>(value->size()),
                        SQLITE_STATIC);
    }
    int result;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
      for (int i = 0; i < sqlite3_column_count(statement); ++i) sqlite3_column_text(statement, i);
    }
    ok_ = ok_ && result == SQLITE_DONE;
    sqlite3_reset(statement);
  }

  sqlite3* handle_ = nullptr;
  std::array<sqlite3_stmt*, 8> statements_{};
  bool ok_ = true;
};

void OneTurn(BareDatabase& database, int from, int to, const std::string& text) {
  database.Begin();
  for (int i = from; i < to; ++i) database.OneMessage(i, text);
  database.Commit();
}

// What `measure` gives of a database of its own, in µs each.
template <typename Measure>
std::optional<double> OnDatabase(const Measure& measure) {
  std::string name = (std::filesystem::temp_directory_path() / "vnq_floor_XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) return std::nullopt;
  std::optional<double> us;
  {
    BareDatabase database(name + "/floor.db");
    us = measure(database);
    if (!database.ok()) us.reset();
  }
  std::error_code ignored;
  std::filesystem::remove_all(name, ignored);
  return us;
}

std::optional<double> DatabaseUs(int inTurn, const std::string& text) {
  return OnDatabase([&](BareDatabase& database) -> std::optional<double> {
    double us = 0;
    OneTurn(database, 0, kMessages / 10, text);
    for (int from = kMessages / 10; from < kMessages; from += 1000) {
      const double before = ThreadCpuUs();
      for (int i = from; i < from + 1000; i += inTurn) {
        OneTurn(database, i, std::min(i + inTurn, from + 1000), text);
      }
      us += ThreadCpuUs() - before;
      database.Run("pragma wal_checkpoint(passive)");
    }
    return us / (kMessages - kMessages / 10);
  });
}

struct Pair {
  int client = -1, server = -1;
  ~Pair() {
    close(client);
    close(server);
  }
};

/// Both ends of a connection over loopback.
bool Connect(int listener, const sockaddr_in& address, Pair& pair) {
  pair.client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(pair.client, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return false;
  }
  pair.server = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  const int on = 1;
  setsockopt(pair.client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setsockopt(pair.server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return pair.server >= 0;
}

bool ConnectAll(std::vector<Pair>& pairs) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bool ok = bind(listener, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            listen(listener, kConnections) == 0 &&
            getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  for (Pair& pair : pairs) ok = ok && Connect(listener, address, pair);
  close(listener);
  return ok;
}

void Discard(int descriptor, std::vector<char>& buffer) {
  while (recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT) > 0) {
  }
}

// Reads of one message each, then the writes of a buffer that holds a window of them. Only the
// server's side is counted.
std::optional<double> SocketUs(size_t window, const std::string& message) {
  std::vector<Pair> pairs(kConnections);
  if (!ConnectAll(pairs)) return std::nullopt;
  const std::string flush(std::min<size_t>(message.size() * window, 60'000), 'x');
  std::vector<char> buffer(1 << 20);
  double readUs = 0, writeUs = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (Pair& pair : pairs) {
      if (send(pair.client, message.data(), message.size(), 0) < 0) return std::nullopt;
    }
    double before = ThreadCpuUs();
    for (Pair& pair : pairs) {
      if (recv(pair.server, buffer.data(), buffer.size(), 0) < 0) return std::nullopt;
    }
    readUs += ThreadCpuUs() - before;
    before = ThreadCpuUs();
    for (Pair& pair : pairs) {
      if (send(pair.server, flush.data(), flush.size(), MSG_DONTWAIT) < 0) return std::nullopt;
    }
    writeUs += ThreadCpuUs() - before;
    for (Pair& pair : pairs) Discard(pair.client, buffer);
  }
  const double calls = static_cast<double>(kRounds) * kConnections;
  const double sent = static_cast<double>(flush.size()) / static_cast<double>(message.size());
  // Two buffers leave for a window of messages: the deliveries and the receipts.
  return readUs / calls + 2 * writeUs / calls / std::max(1.0, sent);
}

// A read and a turn for each message, as they come from another thread at a fixed rate: what they
// cost where the process sleeps in between.
std::optional<double> WokenUs(double rate, const std::string& text, const std::string& message) {
  std::vector<Pair> pairs(1);
  if (!ConnectAll(pairs)) return std::nullopt;
  const int messages = static_cast<int>(std::clamp(rate * kWokenSeconds, 100.0, 1e6));
  const std::jthread sender([&](const std::stop_token& stop) {
    Pacer pacer(rate, NowNs());
    for (int i = 0; i < messages && !stop.stop_requested();) {
      std::this_thread::sleep_for(std::chrono::nanoseconds(pacer.WaitNs(NowNs())));
      for (; i < messages && pacer.Take(NowNs()); ++i) {
        if (send(pairs[0].client, message.data(), message.size(), MSG_NOSIGNAL) < 0) return;
      }
    }
    shutdown(pairs[0].client, SHUT_WR);
  });
  return OnDatabase([&](BareDatabase& database) -> std::optional<double> {
    std::vector<char> buffer(message.size());
    pollfd incoming{pairs[0].server, POLLIN, 0};
    const double before = ThreadCpuUs();
    int count = 0;
    while (poll(&incoming, 1, -1) == 1 &&
           recv(pairs[0].server, buffer.data(), buffer.size(), MSG_WAITALL) > 0) {
      OneTurn(database, count, count + 1, text);
      ++count;
    }
    if (count != messages) return std::nullopt;
    return (ThreadCpuUs() - before) / messages;
  });
}

}  // namespace

std::optional<Floor> MeasureFloor(const FloorShape& shape, std::string& error) {
  const size_t inTurn = std::clamp<size_t>(shape.turn, 1, kMostInTurn);
  const std::string text(shape.textBytes, 'x');
  const std::string message((shape.textBytes + 90) * 4 / 3, 'x');
  const auto databaseUs = DatabaseUs(static_cast<int>(inTurn), text);
  const auto socketUs = SocketUs(std::max<size_t>(shape.window, 1), message);
  const auto wokenUs = shape.rate > 0 ? WokenUs(shape.rate, text, message) : databaseUs;
  if (databaseUs && socketUs && wokenUs) {
    return Floor{*databaseUs, *socketUs, std::max(0.0, *wokenUs - *databaseUs)};
  }
  error = socketUs ? "no database file in the temporary folder" : "no connection over loopback";
  return std::nullopt;
}

}  // namespace vnq::bench
