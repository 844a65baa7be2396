#include "server/status/request_server.h"

namespace vnq {

RequestServer::~RequestServer() {
  while (!askers_.empty()) End(*askers_.begin());
}

void RequestServer::Accept(AcceptedSocket socket) {
  if (askers_.size() >= kMostConnections) return;
  const auto asker = std::make_shared<Asker>();
  asker->connection =
      TcpConnection::Start(loop_, std::move(socket),
                           {[this, asker](const std::string& bytes) { Hear(asker, bytes); },
                            [this, asker] { End(asker); }});
  asker->timeLimit = loop_.RunAfter(kLongestWaitMs, [this, asker] { End(asker); });
  askers_.insert(asker);
}

void RequestServer::Hear(const AskerPtr& asker, std::string_view bytes) {
  if (asker->isHeard) return;
  asker->request += bytes;
  const size_t end = asker->request.find(terminator_);
  if (end == std::string::npos) {
    if (asker->request.size() > kMostBytes) End(asker);
    return;
  }
  asker->isHeard = true;
  loop_.StopTimer(asker->timeLimit);
  asker->request.resize(end);
  // The asker may leave while the answer is made.
  const std::string answer = answer_(asker->request);
  if (asker->connection != nullptr) asker->connection->Send(answer);
  End(asker);
}

void RequestServer::End(const AskerPtr& asker) {
  const AskerPtr kept = asker;
  loop_.StopTimer(kept->timeLimit);
  if (const auto connection = std::exchange(kept->connection, nullptr)) connection->Close();
  askers_.erase(kept);
}

}  // namespace vnq
