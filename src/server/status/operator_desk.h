// Where a running server answers those who operate it: a socket in its folder, and, where
// platform.ini asks for one, a listener for a monitoring system.
//
//   socket    line                     answer, up to the end of the connection
//             status                   the status as text
//             status json              the same as JSON
//             who, who json            the connections
//             presence repair [test]   what was set right in Users_ID; "test" changes nothing
//             keywords                 the keyword lists are read again; how long they are
//             logout USERID TEXT       the user's sessions are ended, and told TEXT; how many
//             trace                    the users whose records are written to the log, a line each
//             trace on USERID, off     begins and ends that
//   The first line of an answer is "ok", or "error WHY" and nothing behind it.
//
//   listener  GET /metrics             the status as metrics
//             GET /livez               200: the event thread runs
//             GET /readyz              200: all ports are bound, and the database takes writes;
//                                      else 503, a line a fault
#pragma once

#include <string>
#include <vector>

#include "platform/net/unix_socket.h"
#include "server/index_form.h"
#include "server/status/pulse.h"
#include "server/status/request_server.h"
#include "server/status/server_status.h"

namespace vnq {

class OperatorDesk {
 public:
  /// form  is loaded, and outlives the desk. onBeat  see Pulse.
  OperatorDesk(EventLoop& loop, IndexForm& form, std::function<void()> onBeat = {});

  /// Opens the socket at `socketPath` and the listener that the settings name. What cannot be
  /// opened stays closed, and a line says why: the server serves without it.
  void Open(const std::string& socketPath);

  ServerStatus Status();

  /// Takes over what the settings say of the log.
  void SetSlowMs(int slowMs) { pulse_.SetSlowMs(slowMs); }

  /// Writes the status to the log, a line each.
  void LogStatus();

  /// How long a write to the database counts for /readyz, and how long a failed one is not tried
  /// again.
  static constexpr int64_t kWriteCountsMs = 10'000;

 private:
  std::string AnswerLine(const std::string& line);
  std::string AnswerHttp(const std::string& head);
  std::string RepairPresence(bool isDryRun);
  std::string ReadKeywords();
  std::string Trace(const std::string& order);
  std::string EndSessions(const std::string& userIdAndText);
  std::vector<std::string> Faults();
  bool DatabaseTakesWrites();

  EventLoop& loop_;
  IndexForm& form_;
  int64_t startedMs_;
  Pulse pulse_;
  RequestServer lines_, requests_;
  UnixListener socket_;
  TcpListener listener_;
  bool wroteOnce_ = false, lastWriteDone_ = false;
  int64_t lastWriteMs_ = 0;
};

}  // namespace vnq
