// Commands of several clients on all six ports of one server with a database, their handlers
// interleaved at each yield, ticks in between.
//
// Input: deeds of two bytes and more, see Play::Do. Commands are taken from the tables of the
// ports, their fields from a list of telling values or from the input. Behind each input every port
// must take a connection and answer it, and no handler be left but those that wait for an outside
// answer.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/command_table.h"
#include "tests/harness/test_server.h"
#include "tests/webgate/visitor_client.h"

namespace {

constexpr size_t kMostClients = 6;
constexpr int kInputsOfAServer = 100;  // a place on some ports stays taken when its client goes

struct PortOfPlay {
  uint16_t number;
  std::span<const vnq::CommandRow> commands;
};

const std::vector<PortOfPlay>& PortsOfPlay() {
  static const std::vector<PortOfPlay> ports = {
      {6004, vnq::ClientCommands()},      {6004, vnq::ClientCommands()},
      {6004, vnq::ClientCommands()},      {6001, vnq::VisitorCommands()},
      {6002, vnq::ScreenCommands()},      {6003, vnq::ControlCommands()},
      {6007, vnq::ApplicationCommands()}, {6008, vnq::EndpointCommands()}};
  return ports;
}

constexpr std::array<std::string_view, 32> kFields = {"1",
                                                      "2",
                                                      "3",
                                                      "1m",
                                                      "m",
                                                      "",
                                                      "0",
                                                      "#",
                                                      "-1",
                                                      "32768",
                                                      "99999999999",
                                                      "1.5",
                                                      "x",
                                                      "Clot000001",
                                                      "Clot000002",
                                                      "1:1:Ann-2:0:Ben-3:0:-",
                                                      "4:0:New-",
                                                      "1,2,,3",
                                                      "1*2**Clot000001",
                                                      "M1",
                                                      "M2",
                                                      "M1",
                                                      "2026-03-04",
                                                      "127.0.0.1",
                                                      "a'b",
                                                      "%u4E2D%20",
                                                      "{x@call}",
                                                      "name1",
                                                      "pw1",
                                                      "PC1",
                                                      "VNQUpload",
                                                      "宋体,10,0,False,False,False"};

/// The input, taken from its front; zeros behind its end.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : data_(data), left_(size) {}
  bool empty() const { return left_ == 0; }
  uint8_t Next() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  size_t Below(size_t bound) { return Next() % bound; }
  std::string Text(size_t size) {
    std::string text;
    for (; size > 0 && left_ > 0; --size) text += static_cast<char>(Next());
    return text;
  }

 private:
  const uint8_t* data_;
  size_t left_;
};

struct Player {
  const PortOfPlay& port;
  vnq::TestClient client;
};

class Play {
 public:
  Play(vnq::TestServer& server, Bytes bytes) : server_(server), bytes_(bytes) {}

  void Run() {
    while (!bytes_.empty()) Do();
    server_.Pump();
  }

 private:
  void Do() {
    switch (bytes_.Below(16)) {
      case 0:
      case 1:
        return Connect();
      case 2:
        return Leave();
      case 3:
        return server_.AdvanceMs(1000);
      case 4:
        return server_.AdvanceMs(20'000);
      case 5:
        return server_.Pump();
      case 6:
        return SendRaw();
      default:
        return SendCommands();
    }
  }

  void Connect() {
    if (players_.size() >= kMostClients) players_.erase(players_.begin());
    const PortOfPlay& port = PortsOfPlay()[bytes_.Below(PortsOfPlay().size())];
    players_.push_back(std::make_unique<Player>(Player{port, server_.ConnectTo(port.number)}));
    if (port.number == 6001) players_.back()->client.SendBytes(vnq::GoodUpgradeRequest());
  }

  void Leave() {
    if (players_.empty()) return;
    const size_t who = bytes_.Below(players_.size());
    if (bytes_.Below(2) == 0) players_[who]->client.Reset();
    players_.erase(players_.begin() + static_cast<std::ptrdiff_t>(who));
  }

  void SendRaw() {
    if (players_.empty()) return;
    Player& player = *players_[bytes_.Below(players_.size())];
    player.client.SendBytesQuietly(bytes_.Text(1 + bytes_.Below(32)));
  }

  void SendCommands() {
    if (players_.empty()) return Connect();
    Player& player = *players_[bytes_.Below(players_.size())];
    std::string records;
    for (size_t left = 1 + bytes_.Below(3); left > 0; --left) records += Record(player.port);
    if (player.port.number == 6003 || player.port.number == 6008) {
      player.client.SendBytesQuietly(records);
    } else if (player.port.number == 6001) {
      player.client.SendBytesQuietly(
          vnq::TextFrame(vnq::Base64EncodeText(server_.page(), records)));
    } else {
      player.client.SendQuietly(records);
    }
  }

  std::string Record(const PortOfPlay& port) {
    if (port.commands.empty()) return ".+landing|1|#";
    const vnq::CommandRow& row = port.commands[bytes_.Below(port.commands.size())];
    std::string record(row.word);
    // Now and then a field too few, a field too many.
    const size_t fields =
        static_cast<size_t>(row.FieldCount()) + (bytes_.Below(8) == 0 ? bytes_.Below(3) : 1);
    for (size_t i = 1; i < fields; ++i) {
      const size_t choice = bytes_.Below(kFields.size() + 4);
      record += "|";
      record += choice < kFields.size() ? std::string(kFields[choice]) : bytes_.Text(choice % 8);
    }
    return record + (bytes_.Below(8) == 0 ? "" : "|#");
  }

  vnq::TestServer& server_;
  Bytes bytes_;
  std::vector<std::unique_ptr<Player>> players_;
};

std::unique_ptr<vnq::TestServer> MakeServer() {
  vnq::TestServerOptions options;
  options.settings =
      vnq::DefaultSettings("CheckIM0=0\nchats=1\n") + "[message_push]\ninterval_time=1\n";
  auto made = std::make_unique<vnq::TestServer>(options);
  for (const char* user : {"1", "2", "3", "4"}) made->AddUser(user);
  made->Run("update Users_ID set Registration_Id='phone',IsManager=1 where UserID='2'");
  made->Run(
      "insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Group');"
      "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('Clot000001','1',1,'Ann');"
      "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('Clot000001','2',0,'Ben')");
  return made;
}

void Require(bool promise) {
  if (!promise) std::abort();
}

void RequireAllPorts(vnq::TestServer& server) {
  for (const PortOfPlay& port : PortsOfPlay()) {
    vnq::TestClient next = server.ConnectTo(port.number);
    if (port.number == 6001) next.SendBytes(vnq::GoodUpgradeRequest());
    Require(!next.ReceiveBytes().empty());
  }
  vnq::TestClient good = server.ConnectTo(6004);
  good.Receive();
  good.Send(".+y|#");
  Require(good.Receive().find(".+y|#") != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::unique_ptr<vnq::TestServer> server;
  static int inputs = 0;
  if (inputs++ % kInputsOfAServer == 0) {
    server.reset();
    server = MakeServer();
  }
  Play(*server, Bytes(data, size)).Run();
  server->AdvanceMs(1000);
  RequireAllPorts(*server);
  return 0;
}
