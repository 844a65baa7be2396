// The shipped server on a folder of its own, with clients on real sockets and in real time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/harness/real_process.h"
#include "tests/harness/test_database.h"
#include "tests/platform/system/temporary_folder.h"

namespace vnq {

/// A program folder and a database of the kind that the run is for, with users "1" to `users`.
class Deployment {
 public:
  explicit Deployment(int users, unsigned network);

  /// Starts the server; the one before has ended. False: it was not ready within ten seconds.
  bool Start();
  RealProcess& server() { return *server_; }
  /// Ends the server as a crash does, and waits for that.
  void Kill();

  TestDatabase& database() { return *database_; }
  std::string DatabaseFile() const { return folder_ / "Web/Data/vnq.db"; }
  const std::string& address() const { return address_; }

 private:
  TemporaryFolder folder_;
  std::string address_;
  std::unique_ptr<TestDatabase> database_;
  std::unique_ptr<RealProcess> server_;
};

/// A client whose reads never wait.
class RealClient {
 public:
  /// Not connected when the server did not accept.
  explicit RealClient(const std::string& address, uint16_t port = 6004);
  ~RealClient();
  RealClient(RealClient&& other) noexcept;
  RealClient& operator=(RealClient&&) = delete;

  /// Records, all at once. Waits for room in the socket for a second at most.
  void Send(std::string_view records);
  /// Bytes as they are; how many the socket took.
  size_t SendBytes(std::string_view bytes);
  /// Everything that has come since the last call, decoded.
  std::string Receive();
  /// Receives until the words have come. What came by then; after ten seconds without them too.
  std::string ReceiveUntil(std::string_view words);

  void HalfClose();
  void Reset();
  bool IsOpen() const { return descriptor_ >= 0 && !ended_; }
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_ = -1;
  bool ended_ = false;
  std::string wire_;  // what does not make four characters yet
};

/// Waits until one of the clients has something to read, at most so long.
void WaitForBytes(const std::vector<RealClient>& clients, int milliseconds);

}  // namespace vnq
