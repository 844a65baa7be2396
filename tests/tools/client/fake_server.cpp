#include "tests/tools/client/fake_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "support/base64_text.h"

namespace vnq {
namespace {

constexpr int kPatienceMs = 10'000;

bool Readable(int fd) {
  pollfd waited{fd, POLLIN, 0};
  return poll(&waited, 1, kPatienceMs) > 0;
}

}  // namespace

FakeServer::FakeServer() : ansi_(CodePage::Open(936)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  listen(listener_, 4);
  socklen_t length = sizeof address;
  getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
}

FakeServer::~FakeServer() {
  CloseClient();
  close(listener_);
}

bool FakeServer::Accept() {
  const int next = Readable(listener_) ? accept(listener_, nullptr, nullptr) : -1;
  CloseClient();
  client_ = next;
  return client_ >= 0;
}

void FakeServer::Send(std::string_view records) {
  SendBytes(Base64EncodeText(ansi_, records));
}

void FakeServer::SendBytes(std::string_view bytes) {
  (void)!send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string FakeServer::ReceiveBytes() {
  char buffer[64 * 1024];
  const ssize_t got = Readable(client_) ? recv(client_, buffer, sizeof buffer, 0) : 0;
  return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : "";
}

std::string FakeServer::Receive() {
  std::string text = Base64DecodeText(ansi_, ReceiveBytes());
  text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
  return text;
}

void FakeServer::ReceiveAll() {
  while (!Receive().empty()) {
  }
}

void FakeServer::CloseClient() {
  if (client_ >= 0) close(client_);
  client_ = -1;
}

}  // namespace vnq
