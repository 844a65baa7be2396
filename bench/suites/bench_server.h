// A whole host inside the benchmark program: a folder of its own, a real SQLite file, real sockets.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/index_form.h"
#include "tests/harness/recording_command_runner.h"

namespace vnq::bench {

class BenchServer {
 public:
  /// users: accounts "1" to "<users>", with an index as in every deployment.
  explicit BenchServer(int users = 2000);
  ~BenchServer();
  BenchServer(const BenchServer&) = delete;
  BenchServer& operator=(const BenchServer&) = delete;

  Host& host() { return form_->host(); }
  Ports& ports() { return form_->ports(); }
  EventLoop& loop() { return *loop_; }

  /// Connected slots with the tags "1" to "<count>". They all share one socket, so that many are
  /// possible; nothing may be sent to them.
  void AddSilentSlots(int count);

  /// Real connections, tagged in the same way, behind the slots that are there.
  void Connect(int count);

  /// Reads away what the server has sent to the real connections.
  void Drain();

  /// Runs statements; the program ends when one fails.
  void Run(const std::string& statement);

  /// Runs work that may yield, to its end.
  void InHandler(const std::function<void()>& work);

  /// Forgets what waits for the next tick.
  void ClearReplies();

 private:
  void MakeFolder();
  void AddUsers(int users);

  std::string folder_, address_;
  SystemClock clock_;
  RecordingCommandRunner commands_;
  std::unique_ptr<EventLoop> loop_;
  std::unique_ptr<IndexForm> form_;
  std::vector<int> clients_;
  std::vector<int> sharedPair_;
};

/// Texts as people write them, about 60 bytes and about 60 characters.
extern const std::string kAsciiText;
extern const std::string kChineseText;

}  // namespace vnq::bench
