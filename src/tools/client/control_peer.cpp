#include "tools/client/control_peer.h"

#include <algorithm>

#include "host/values/fields.h"
#include "platform/net/clock.h"

namespace vnq {
namespace {

constexpr std::string_view kGreeting = ".+successful_connection|#";
constexpr std::string_view kEcho = ".+y|#";
constexpr std::string_view kConsoleLanding = ".+landing|VNQPcTelnet|#";
constexpr std::string_view kInformation = ".+submit_information|";

int64_t NowMs() {
  return SystemClock().MonotonicMs();
}

}  // namespace

bool ControlPeer::Open(const std::string& server, uint16_t port, int timeoutMs,
                       std::string& error) {
  return connection_.Open(server, port, timeoutMs, error) && WaitFor(kGreeting, timeoutMs, error);
}

bool ControlPeer::Order(std::string_view record, int timeoutMs, std::string& error) {
  // One read, so that the echo is made when the record in front of it is through.
  return Send(std::string(record).append(kEcho), error) && WaitFor(kEcho, timeoutMs, error);
}

bool ControlPeer::AskComputer(const std::string& endpoint, int timeoutMs,
                              std::vector<std::string>& values, std::string& error) {
  const int64_t deadlineMs = NowMs() + timeoutMs;
  if (!Order(kConsoleLanding, timeoutMs, error)) return false;
  if (!Send(".+computer_information|" + endpoint + "|#", error)) return false;
  while (!TakeInformation(values)) {
    if (ReadMore(deadlineMs, error)) continue;
    if (error.empty()) error = "no answer: is the computer " + endpoint + " connected?";
    return false;
  }
  return true;
}

bool ControlPeer::Send(std::string_view text, std::string& error) {
  if (connection_.Send(page_.ToBytes(text), 5000)) return true;
  error = "the server has closed the connection";
  return false;
}

bool ControlPeer::WaitFor(std::string_view words, int timeoutMs, std::string& error) {
  const int64_t deadlineMs = NowMs() + timeoutMs;
  size_t at = 0;
  while ((at = received_.find(words)) == std::string::npos) {
    if (ReadMore(deadlineMs, error)) continue;
    if (error.empty()) error = "the server does not answer on its control port";
    return false;
  }
  received_.erase(0, at + words.size());
  return true;
}

// False at the deadline, with no words, and at the end of the connection.
bool ControlPeer::ReadMore(int64_t deadlineMs, std::string& error) {
  const int64_t leftMs = std::max<int64_t>(0, deadlineMs - NowMs());
  switch (connection_.Read(received_, static_cast<int>(leftMs))) {
    case Connection::ReadResult::kData:
      return true;
    case Connection::ReadResult::kNothing:
      return NowMs() < deadlineMs;
    case Connection::ReadResult::kClosed:
      error = "the server has closed the connection";
  }
  return false;
}

bool ControlPeer::TakeInformation(std::vector<std::string>& values) const {
  const size_t at = received_.find(kInformation);
  if (at == std::string::npos) return false;
  const std::string text = page_.FromBytes(std::string_view(received_).substr(at));
  const std::vector<std::string> elements = SplitText(text, "|");
  if (elements.size() < kInformationFields + 2) return false;
  if (!elements[kInformationFields + 1].starts_with('#')) return false;
  values.assign(elements.begin() + 1, elements.begin() + 1 + kInformationFields);
  return true;
}

}  // namespace vnq
