#include "tests/crash/deployment.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

#include "support/base64_text.h"
#include "support/replace_all.h"
#include "tests/harness/own_address.h"
#include "tools/folder/init_command.h"

namespace vnq {

Deployment::Deployment(int users, unsigned network)
    : address_(AddressOfThisProcess(network)), database_(TestDatabase::Make()) {
  std::string settings =
      "[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\vnq.db\n"
      "[message_push]\ninterval_time=30\n";
  ReplaceAll(settings, "DB_TYPE=access", database_->Settings());
  folder_.Write("platform.ini", database_->PlatformIni());
  folder_.Write("Web/Data/DataBase.ini", settings);
  std::ostringstream said;
  EXPECT_EQ(RunInit({folder_.path(), false, "en_US.UTF-8"}, said, said), 0) << said.str();
  database_->Open(folder_.path());
  for (int user = 1; user <= users; ++user) {
    database_->Run(
        fmt::format("insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState,IsVerify) "
                    "values('{0}','name{0}','pw{0}','Name {0}',1,0)",
                    user));
  }
}

bool Deployment::Start() {
  server_ = std::make_unique<RealProcess>(std::vector<std::string>{
      VNQ_SERVER_PROGRAM, "--app-path", folder_.path(), "--bind", address_});
  return server_->WaitForWords("database usable");
}

void Deployment::Kill() {
  server_->Signal(SIGKILL);
  server_->ExitCode();
}

RealClient::RealClient(const std::string& address, uint16_t port)
    : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
  if (connect(descriptor_, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) ended_ = true;
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  fcntl(descriptor_, F_SETFL, O_NONBLOCK);
}

RealClient::~RealClient() {
  if (descriptor_ >= 0) close(descriptor_);
}

RealClient::RealClient(RealClient&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      ended_(other.ended_),
      wire_(std::move(other.wire_)) {}

// Line ends, which the server drops, make texts without padding: those that meet in one read are
// not lost.
void RealClient::Send(std::string_view records) {
  std::string text(records);
  while (text.size() % 3 != 0) text += '\n';
  const std::string bytes = Base64EncodeBytes(text);
  size_t sent = 0;
  while (IsOpen() && (sent += SendBytes(std::string_view(bytes).substr(sent))) < bytes.size()) {
    pollfd ready{descriptor_, POLLOUT, 0};
    if (poll(&ready, 1, 1000) == 0) return;
  }
}

size_t RealClient::SendBytes(std::string_view bytes) {
  const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent < 0 && errno != EAGAIN) ended_ = true;
  return sent < 0 ? 0 : static_cast<size_t>(sent);
}

std::string RealClient::Receive() {
  char buffer[65536];
  ssize_t count = 0;
  while ((count = recv(descriptor_, buffer, sizeof buffer, 0)) > 0) {
    wire_.append(buffer, static_cast<size_t>(count));
  }
  if (count == 0 || (count < 0 && errno != EAGAIN)) ended_ = true;
  std::string text;
  size_t at = 0;
  for (; at + 4 <= wire_.size(); at += 4) text += Base64DecodeBytes(wire_.substr(at, 4));
  wire_.erase(0, at);
  return text;
}

std::string RealClient::ReceiveUntil(std::string_view words) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::string text;
  while (text.find(words) == text.npos && !ended_ && std::chrono::steady_clock::now() < deadline) {
    pollfd ready{descriptor_, POLLIN, 0};
    poll(&ready, 1, 100);
    text += Receive();
  }
  return text;
}

void RealClient::HalfClose() {
  shutdown(descriptor_, SHUT_WR);
}

void RealClient::Reset() {
  const linger now{1, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  close(std::exchange(descriptor_, -1));
}

void WaitForBytes(const std::vector<RealClient>& clients, int milliseconds) {
  std::vector<pollfd> ready;
  for (const RealClient& client : clients) ready.push_back({client.descriptor(), POLLIN, 0});
  poll(ready.data(), ready.size(), milliseconds);
}

}  // namespace vnq
