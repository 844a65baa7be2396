// A whole server inside the test program: real sockets, a real database, a stepped clock.
//
// Everything runs on the test's one thread. Time stands still until the test advances it, and the
// server works only while the test pumps it (each verb of TestClient and TestServer does).
//
// VNQ_TEST_NODES=2 makes it several, nodes of one cluster on the run's database server: a test's
// connections go to them in turn, so that two parties are on two nodes.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/index_form.h"
#include "tests/harness/in_process_bus.h"
#include "tests/harness/lines.h"
#include "tests/harness/recording_command_runner.h"
#include "tests/harness/stepped_clock.h"
#include "tests/harness/test_database.h"

namespace vnq {

class TestServer;

/// The slots of one port as a test counts them: its connections get them from 1 on, whichever node
/// each is on, and a slot that is closed is taken again.
class TestSlots {
 public:
  TestSlots(TestServer& server, uint16_t port) : server_(server), port_(port) {}

  SocketState State(SlotIndex slot) const;
  const std::string& Tag(SlotIndex slot) const;
  SlotIndex Highest() const;
  SlotIndex FirstWithTag(const std::string& tag) const;
  void SetTag(SlotIndex slot, const std::string& tag);
  void Close(SlotIndex slot);

 private:
  TestServer& server_;
  uint16_t port_;
};

/// One connection to the server, kept by the test. Not connected to anything when the server did
/// not accept.
class TestClient {
 public:
  /// from: the client's own loopback address; empty for the one that the system picks.
  TestClient(TestServer& server, uint16_t port, const std::string& from = {});
  ~TestClient();
  TestClient(TestClient&& other) noexcept;
  TestClient& operator=(TestClient&&) = delete;

  /// Sends records as one Base64 text, which arrives as one read, and pumps the server.
  void Send(std::string_view records);
  /// Sends bytes as they are, and pumps the server.
  void SendBytes(std::string_view bytes);
  /// The same two without pumping: what is sent this way before the next verb is all there when the
  /// server looks.
  void SendQuietly(std::string_view records);
  void SendBytesQuietly(std::string_view bytes);

  /// Everything that has come since the last call, decoded from Base64, texts joined.
  std::string Receive();
  /// The same as it came on the wire.
  std::string ReceiveBytes();

  /// What has come by now, as on the wire, without pumping the server.
  std::string ReceiveNow();

  /// Ends the client's side. The server acts on it at the next pump.
  void Close();
  /// Ends with a reset.
  void Reset();
  /// True when the server has ended the connection and everything before that was received.
  bool IsClosed();

  /// The address that the server sees.
  std::string LocalAddress() const;

 private:
  void Drain();

  TestServer* server_;
  int descriptor_ = -1;
  bool ended_ = false;
  std::string received_;
};

/// DataBase.ini of an embedded database as `vnqctl init` names it, with further lines of its first
/// section.
std::string DefaultSettings(std::string_view more = {});

struct TestServerOptions {
  int languageId = 1033;
  int codePage = 936;
  std::string settings =
      {};  ///< lines of DataBase.ini that take the place of the default file; see DefaultSettings
  std::string databaseDriver = {};                  ///< of platform.ini; empty: as the run is for
  SqlDurability durability = SqlDurability::kNone;  ///< a test's rows need not survive the machine
  std::string versionFile = "0|0";
  ProtectionSettings protection = {};
  std::vector<ListenerSettings> listeners = {};  ///< without an address: the server's own
  LimitSettings limits = {};
  std::string sql = {};  ///< run on the database before load, beside the schema
  int nodes = 0;         ///< servers of one cluster; 0: as the run is for
};

class TestServer {
 public:
  /// Makes a folder as `vnqctl init` does, and loads the server on a loopback address of its own.
  explicit TestServer(const TestServerOptions& options = {});
  ~TestServer();

  /// Runs everything that is ready, until nothing is.
  void Pump();

  /// Moves the clock in steps of at most a second, pumping after each.
  void AdvanceMs(int64_t ms);
  /// Moves the clock at once, as if the event thread had been held up, and pumps.
  void StallMs(int64_t ms);
  /// To the next tick of Timer1, which sends the reply buffers.
  void Tick() { AdvanceMs(1000); }

  /// A new connection to the main port, its greeting taken.
  TestClient Connect(const std::string& from = {});
  /// A new connection to a port, its greeting not taken.
  TestClient ConnectTo(uint16_t port);
  /// A connection tagged with a user's desktop (state 1) or mobile (state 3) session, all that came
  /// for it taken.
  TestClient Online(const std::string& userId, int state = 1);

  /// The rows of a select, a row a text: columns joined by '|', NULL as "NULL".
  std::vector<std::string> Rows(const std::string& select);
  /// The one value of a select; "(none)" without a row.
  std::string Value(const std::string& select);
  /// Runs statements as another program does.
  void Run(const std::string& statements);
  /// All rows of ServerLog in the order of writing: Txt|UserID|Ip|Ico.
  Lines Log();
  /// Adds a user; further columns as "Column=value" texts.
  void AddUser(const std::string& userId, const std::vector<std::string>& columns = {});

  /// Runs something in a handler of the server, to its end or its next wait.
  void InHandler(std::function<void(Host&)> work);
  /// Changes what each node has in memory.
  void OnEveryNode(const std::function<void(Host&)>& change);
  /// InHandler on each node: a tick of a timer.
  void Everywhere(const std::function<void(Host&)>& work);

  /// Nodes of the cluster; of a server alone 1.
  int nodes() const { return static_cast<int>(nodes_.size()); }
  /// Has the next connections go to this node, from 0, until another call; -1: in turn.
  void ConnectToNode(int node) { chosen_ = node; }
  Host& host(int node) { return nodes_[static_cast<size_t>(node)].form->host(); }
  InProcessHub& bus() { return bus_; }
  /// Ends a node as a crash does: nobody is told.
  void KillNode(int node);

  Host& host() { return form_->host(); }
  IndexForm& form() { return *form_; }
  const Dispatcher& ClientDispatcher() { return form_->ports().DispatcherOf(kClientPort); }
  EventLoop& loop() { return *loop_; }
  RecordingCommandRunner& commands() { return commands_; }
  const std::string& address() const { return address_; }
  /// Of the node that the next connection goes to.
  const std::string& NextAddress();
  const std::string& folder() const { return folder_; }
  const AnsiText& page() const { return *page_; }
  LocalTime Now() const { return clock_.Now(); }
  /// Sets the machine's date, as a person or a time service does; timers go on as they were.
  void SetDate(LocalTime date) { clock_.SetDate(date); }

  TestSlots Slots(uint16_t port) { return {*this, port}; }

  /// State, tag and waiting records of a main-port slot.
  SocketState State(SlotIndex slot) { return Slots(6004).State(slot); }
  std::string Tag(SlotIndex slot) { return Slots(6004).Tag(slot); }
  std::string Waiting(SlotIndex slot);

  /// What waits to be pushed, on all nodes.
  Lines Pushes();
  void ClearPushes();

  /// Text of a language key as the server reads it.
  std::string Lang(std::string_view key) { return form_->host().ReadLang(key); }

 private:
  friend class TestClient;
  friend class TestSlots;

  // Where a slot that a test counts is.
  struct Place {
    int node = 0;
    SlotIndex slot = 0;
  };

  struct Node {
    std::string address;
    std::unique_ptr<EventLoop> loop;
    std::unique_ptr<IndexForm> form;
  };

  void AddNode(PlatformSettings platform, int count);
  SlotArray& ArrayOf(const Place& place, uint16_t port);
  Place PlaceOf(uint16_t port, SlotIndex slot) const;
  void CountIn(uint16_t port, int node, uint64_t before);
  uint64_t LastConnection(uint16_t port, int node);
  int NextNode();
  void SettleAll();
  void MakeFolder(const TestServerOptions& options);
  void WriteSettings(std::string settings);

  SteppedClock clock_;
  std::string address_;
  std::string folder_;
  std::shared_ptr<const CodePage> codePage_;
  std::unique_ptr<AnsiCodePage> page_;
  RecordingCommandRunner commands_;
  InProcessHub bus_;
  std::vector<Node> nodes_;
  EventLoop* loop_ = nullptr;  // of the first node, as is:
  IndexForm* form_ = nullptr;
  int connected_ = 0, chosen_ = -1;
  std::map<uint16_t, std::vector<Place>> places_;  // by port; of a server alone empty
  std::unique_ptr<TestDatabase> database_;
};

/// A fixture with one server and what tests need of it most.
class ServerTest : public ::testing::Test {
 protected:
  explicit ServerTest(const TestServerOptions& options = {}) : server(options) {}

  TestServer server;
};

}  // namespace vnq
