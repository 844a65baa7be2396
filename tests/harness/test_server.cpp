#include "tests/harness/test_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/base64_text.h"
#include "support/replace_all.h"
#include "tools/folder/app_folder.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

constexpr uint16_t kMainPort = 6004;
constexpr int kIdleTurns =
    3;  // loopback traffic is there at once; the rest is for what one turn makes ready

// An address that no other test that runs now has: from the process number and a count.
std::string OwnAddress() {
  static int count = 0;
  const unsigned number = static_cast<unsigned>(getpid()) * 4u + static_cast<unsigned>(count++ % 4);
  return fmt::format("127.{}.{}.{}", 10 + (number / (254 * 254)) % 200, 1 + (number / 254) % 254,
                     1 + number % 254);
}

void WriteFile(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

// How many nodes the run has a server be.
int NodesOfRun() {
  const char* nodes = getenv("VNQ_TEST_NODES");
  return nodes == nullptr ? 1 : std::max(1, atoi(nodes));
}

void BindTo(int descriptor, const std::string& address) {
  sockaddr_in own{};
  own.sin_family = AF_INET;
  inet_pton(AF_INET, address.c_str(), &own.sin_addr);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&own), sizeof own), 0) << address;
}

}  // namespace

std::string DefaultSettings(std::string_view more) {
  return fmt::format("[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\vnq.db\n{}\n",
                     more);
}

// --- TestClient ---

TestClient::TestClient(TestServer& server, uint16_t port, const std::string& from)
    : server_(&server), descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (!from.empty()) BindTo(descriptor_, from);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  const int node = server.NextNode();
  inet_pton(AF_INET, server.nodes_[static_cast<size_t>(node)].address.c_str(), &peer.sin_addr);
  const uint64_t before = server.LastConnection(port, node);
  if (connect(descriptor_, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) ended_ = true;
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  fcntl(descriptor_, F_SETFL, O_NONBLOCK);
  server.Pump();
  server.CountIn(port, node, before);
}

TestClient::~TestClient() {
  if (descriptor_ >= 0) close(descriptor_);
}

TestClient::TestClient(TestClient&& other) noexcept
    : server_(other.server_),
      descriptor_(std::exchange(other.descriptor_, -1)),
      ended_(other.ended_),
      received_(std::move(other.received_)) {}

void TestClient::Send(std::string_view records) {
  SendQuietly(records);
  server_->Pump();
}

void TestClient::SendBytes(std::string_view bytes) {
  SendBytesQuietly(bytes);
  server_->Pump();
}

void TestClient::SendQuietly(std::string_view records) {
  SendBytesQuietly(Base64EncodeText(server_->page(), records));
}

void TestClient::SendBytesQuietly(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else if (errno == EAGAIN) {
      server_->Pump();  // the server takes what fills the socket
      Drain();
    } else {
      return;
    }
  }
}

void TestClient::Drain() {
  char buffer[65536];
  for (;;) {
    const ssize_t count = recv(descriptor_, buffer, sizeof buffer, 0);
    if (count > 0) {
      received_.append(buffer, static_cast<size_t>(count));
    } else {
      if (count == 0 || errno != EAGAIN) ended_ = true;
      return;
    }
  }
}

std::string TestClient::ReceiveBytes() {
  do {
    Drain();
    server_->Pump();
    const size_t before = received_.size();
    Drain();
    if (received_.size() == before) break;
  } while (true);
  return std::exchange(received_, {});
}

std::string TestClient::ReceiveNow() {
  Drain();
  return std::exchange(received_, {});
}

std::string TestClient::Receive() {
  const std::string wire = ReceiveBytes();
  std::string bytes;
  for (size_t i = 0; i < wire.size(); i += 4) bytes += Base64DecodeBytes(wire.substr(i, 4));
  return server_->page().FromBytes(bytes);
}

void TestClient::Close() {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  server_->Pump();
}

void TestClient::Reset() {
  const linger now{1, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  Close();
}

bool TestClient::IsClosed() {
  server_->Pump();
  Drain();
  return ended_;
}

std::string TestClient::LocalAddress() const {
  sockaddr_in own{};
  socklen_t size = sizeof own;
  getsockname(descriptor_, reinterpret_cast<sockaddr*>(&own), &size);
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &own.sin_addr, text, sizeof text);
  return text;
}

// --- TestServer ---

TestServer::TestServer(const TestServerOptions& options) : clock_({2026, 3, 4, 5, 6, 7}) {
  spdlog::set_level(spdlog::level::off);
  MakeFolder(options);
  codePage_ = CodePage::Open(options.codePage);
  page_ = std::make_unique<AnsiCodePage>(codePage_);
  PlatformSettings platform;
  platform.languageId = options.languageId;
  platform.codePage = options.codePage;
  if (TestDatabase::IsPostgres()) platform.databaseDriver = "postgresql";
  if (!options.databaseDriver.empty()) platform.databaseDriver = options.databaseDriver;
  platform.durability = options.durability;
  platform.protection = options.protection;
  platform.listeners = options.listeners;
  platform.limits = options.limits;
  const int count = options.nodes > 0 ? options.nodes : NodesOfRun();
  for (int i = 0; i < count; ++i) AddNode(platform, count);
  loop_ = nodes_.front().loop.get();
  form_ = nodes_.front().form.get();
  address_ = nodes_.front().address;
  if (count > 1) Pump();  // until they know each other
}

void TestServer::AddNode(PlatformSettings platform, int count) {
  Node& node = nodes_.emplace_back();
  node.address = platform.bindAddress = OwnAddress();
  for (ListenerSettings& listener : platform.listeners) {
    if (listener.address.empty()) listener.address = node.address;
  }
  node.loop = std::make_unique<EventLoop>(clock_);
  std::unique_ptr<Bus> bus;
  if (count > 1) {
    EXPECT_FALSE(TestDatabase::IsEmbedded()) << "nodes share a database server";
    platform.nodes.name = fmt::format("node{}", nodes_.size());
    bus = bus_.Connect(*node.loop, platform.nodes.name);
  }
  node.form =
      std::make_unique<IndexForm>(*node.loop, clock_, commands_,
                                  ReadProgramFolder(folder_, platform, codePage_), std::move(bus));
  node.form->Load();
}

TestServer::~TestServer() {
  for (Node& node : nodes_) {
    if (node.loop) node.loop->UnwindHandlers();
  }
  for (Node& node : nodes_) node.form.reset();
  nodes_.clear();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void TestServer::MakeFolder(const TestServerOptions& options) {
  std::string name = (std::filesystem::temp_directory_path() / "vnq_server_XXXXXX").string();
  folder_ = mkdtemp(name.data());
  database_ = TestDatabase::Make();
  WriteFile(folder_ + "/platform.ini",
            fmt::format("[locale]\nlanguage_id={}\ncode_page={}\n{}", options.languageId,
                        options.codePage,
                        options.databaseDriver.empty()
                            ? database_->PlatformIni()
                            : "[database]\ndriver=" + options.databaseDriver + "\n"));
  std::filesystem::create_directories(folder_ + "/Web/Data");
  std::filesystem::create_directories(folder_ + "/Web/download");
  WriteSettings(options.settings);
  WriteFile(folder_ + "/Web/download/log.txt", options.versionFile);
  std::ostringstream said;
  EXPECT_EQ(RunInit({folder_, false, "C"}, said, said), 0) << said.str();
  database_->Open(folder_);
  if (!options.sql.empty()) Run(options.sql);
}

// The settings name the embedded database; a run for another one names that instead.
void TestServer::WriteSettings(std::string settings) {
  const std::string path = folder_ + "/Web/Data/DataBase.ini";
  if (settings.empty()) {
    std::ostringstream said;
    EXPECT_TRUE(AppFolderMaker(folder_, said, said).MakeDataBaseIni()) << said.str();
    std::ifstream made(path, std::ios::binary);
    settings.assign(std::istreambuf_iterator<char>(made), {});
  }
  if (settings.find("\\vnq.db") != std::string::npos) {
    for (const char* key : {"DB_USER=", "DB_PWD=", "DB_NAME=", "DB_SERVER=", "DB_PORT="}) {
      ReplaceAll(settings, std::string("\n") + key, std::string("\n;") + key);
    }
    ReplaceAll(settings, "DB_TYPE=access", database_->Settings());
  }
  WriteFile(path, settings);
}

void TestServer::Pump() {
  int idle = 0;
  while (idle < kIdleTurns) {
    bool ran = false;
    for (Node& node : nodes_) ran = (node.loop && node.loop->Turn(0)) || ran;
    idle = ran ? 0 : idle + 1;
  }
}

int TestServer::NextNode() {
  return chosen_ >= 0 ? chosen_ : connected_++ % nodes();
}

const std::string& TestServer::NextAddress() {
  return nodes_[static_cast<size_t>(NextNode())].address;
}

void TestServer::KillNode(int node) {
  Node& killed = nodes_[static_cast<size_t>(node)];
  killed.loop->UnwindHandlers();
  killed.form.reset();
  killed.loop.reset();
  Pump();
}

void TestServer::SettleAll() {
  for (Node& node : nodes_) {
    if (node.loop) node.loop->Settle();
  }
}

void TestServer::AdvanceMs(int64_t ms) {
  Pump();
  while (ms > 0) {
    const int64_t step = std::min<int64_t>(ms, 1000);
    clock_.AdvanceMs(step);
    Pump();
    ms -= step;
  }
}

void TestServer::StallMs(int64_t ms) {
  Pump();
  clock_.AdvanceMs(ms);
  Pump();
}

TestClient TestServer::ConnectTo(uint16_t port) {
  return TestClient(*this, port);
}

TestClient TestServer::Connect(const std::string& from) {
  TestClient client(*this, kMainPort, from);
  EXPECT_EQ(client.Receive(), ".+SuccessfulConnection|#");
  return client;
}

TestClient TestServer::Online(const std::string& userId, int state) {
  TestClient client = Connect();
  client.Send(fmt::format(".+successful_online|{}|{}|#", userId, state));
  EXPECT_EQ(client.Receive(), ".+SynchronousSuccessfully|#");
  return client;
}

std::vector<std::string> TestServer::Rows(const std::string& select) {
  SettleAll();  // as the loop does once the server's work is done
  return database_->Rows(select);
}

std::string TestServer::Value(const std::string& select) {
  const std::vector<std::string> rows = Rows(select);
  return rows.empty() ? "(none)" : rows.front();
}

void TestServer::Run(const std::string& statements) {
  SettleAll();
  database_->Run(statements);
}

Lines TestServer::Log() {
  return Rows("select Txt,UserID,Ip,Ico from ServerLog");
}

void TestServer::AddUser(const std::string& userId, const std::vector<std::string>& columns) {
  std::string names = "UserID,UserName,UserPaws,FcName,UserState,UserIcoLine,IsVerify";
  std::string values = fmt::format("'{0}','name{0}','pw{0}','Name {0}',1,0,0", userId);
  Run(fmt::format("insert into Users_ID({}) values({})", names, values));
  for (const std::string& column : columns) {
    const size_t sign = column.find('=');
    Run(fmt::format("update Users_ID set {}='{}' where UserID='{}'", column.substr(0, sign),
                    column.substr(sign + 1), userId));
  }
}

void TestServer::InHandler(std::function<void(Host&)> work) {
  loop_->StartHandler([this, work = std::move(work)] { work(host()); });
  Pump();
}

// --- Slots ---

namespace {

SlotArray* ArrayOfPort(Host& host, uint16_t port) {
  constexpr std::pair<uint16_t, SlotArray Host::*> kArrays[] = {
      {6001, &Host::SckServer6001}, {6002, &Host::SckServer6002}, {6003, &Host::SckServer6003},
      {6004, &Host::SckServer},     {6007, &Host::SckServer6007}, {6008, &Host::SckServer6008}};
  for (const auto& [number, array] : kArrays) {
    if (number == port) return &(host.*array);
  }
  return nullptr;
}

}  // namespace

SlotArray& TestServer::ArrayOf(const Place& place, uint16_t port) {
  return *ArrayOfPort(host(place.node), port);
}

TestServer::Place TestServer::PlaceOf(uint16_t port, SlotIndex slot) const {
  const auto found = places_.find(port);
  if (nodes_.size() == 1) return {0, slot};
  const bool isKnown =
      found != places_.end() && slot > 0 && static_cast<size_t>(slot) <= found->second.size();
  return isKnown ? found->second[static_cast<size_t>(slot) - 1] : Place{};
}

uint64_t TestServer::LastConnection(uint16_t port, int node) {
  uint64_t last = 0;
  Node& its = nodes_[static_cast<size_t>(node)];
  SlotArray* const slots =
      nodes_.size() == 1 || !its.form ? nullptr : ArrayOfPort(its.form->host(), port);
  if (slots == nullptr) return 0;
  for (const SlotIndex slot : slots->AllNow()) last = std::max(last, slots->ConnectionNumber(slot));
  return last;
}

// The lowest slot that is closed has the new connection, as on a server alone.
void TestServer::CountIn(uint16_t port, int node, uint64_t before) {
  if (nodes_.size() == 1 || LastConnection(port, node) == before) return;
  SlotArray& slots = *ArrayOfPort(host(node), port);
  Place place{node, kNoSlot};
  for (const SlotIndex slot : slots.AllNow()) {
    if (slots.ConnectionNumber(slot) > before) place.slot = slot;
  }
  std::vector<Place>& places = places_[port];
  for (Place& each : places) {
    if (each.node == node && each.slot == place.slot) each = {};
  }
  for (Place& each : places) {
    const bool isClosed = each.slot == kNoSlot || !nodes_[static_cast<size_t>(each.node)].form ||
                          ArrayOf(each, port).State(each.slot) == SocketState::kClosed;
    if (isClosed) {
      each = place;
      return;
    }
  }
  places.push_back(place);
}

SocketState TestSlots::State(SlotIndex slot) const {
  const auto place = server_.PlaceOf(port_, slot);
  return server_.ArrayOf(place, port_).State(place.slot);
}

const std::string& TestSlots::Tag(SlotIndex slot) const {
  const auto place = server_.PlaceOf(port_, slot);
  return server_.ArrayOf(place, port_).Tag(place.slot);
}

SlotIndex TestSlots::Highest() const {
  if (server_.nodes() == 1) return server_.ArrayOf({}, port_).Highest();
  return static_cast<SlotIndex>(std::max<size_t>(1, server_.places_[port_].size()));
}

SlotIndex TestSlots::FirstWithTag(const std::string& tag) const {
  for (SlotIndex slot = 1; slot <= Highest(); ++slot) {
    if (Tag(slot) == tag) return slot;
  }
  return kNoSlot;
}

void TestSlots::SetTag(SlotIndex slot, const std::string& tag) {
  const auto place = server_.PlaceOf(port_, slot);
  server_.ArrayOf(place, port_).SetTag(place.slot, tag);
}

void TestSlots::Close(SlotIndex slot) {
  const auto place = server_.PlaceOf(port_, slot);
  server_.ArrayOf(place, port_).Close(place.slot);
}

std::string TestServer::Waiting(SlotIndex slot) {
  const Place place = PlaceOf(6004, slot);
  return host(place.node).ReplyBuffer[place.slot];
}

Lines TestServer::Pushes() {
  Lines lines;
  for (int node = 0; node < nodes(); ++node) {
    const Lines& own = host(node).PushQueue.lines();
    lines.insert(lines.end(), own.begin(), own.end());
  }
  return lines;
}

void TestServer::ClearPushes() {
  for (int node = 0; node < nodes(); ++node) host(node).PushQueue.Clear();
}

void TestServer::OnEveryNode(const std::function<void(Host&)>& change) {
  for (int node = 0; node < nodes(); ++node) change(host(node));
}

void TestServer::Everywhere(const std::function<void(Host&)>& work) {
  for (int node = 0; node < nodes(); ++node) {
    nodes_[static_cast<size_t>(node)].loop->StartHandler([this, node, work] { work(host(node)); });
  }
  Pump();
}

}  // namespace vnq
