// The terminal client: session, screen and connection put together.
#pragma once

#include <cstdint>
#include <string>

#include "tools/client/server_page.h"
#include "tools/client/tls_options.h"

namespace vnq {

struct ChatOptions {
  std::string server, user;
  uint16_t port = 6004;
  TlsOptions tls;
  std::string passwordFile;  ///< empty: VNQ_PASSWORD, else asked
  int codePage = kDefaultServerPage;
  bool codePageIsGiven = true;  ///< false: a person is told which one is spoken
  std::string stateFile;        ///< empty: the default place
  std::string machineId;        ///< empty: one made of the host name
  bool verbose = false;
  bool catchUp = false;      ///< show what came meanwhile, from the database
  std::string appPath;       ///< of the server, for catchUp
  int receiptWaitMs = 5000;  ///< how long a script's end waits for receipts
  int reconnectMs = 1000;    ///< before the first try to come back; each further one waits longer
  bool keepHistory = true;   ///< of what was typed, beside the state file
};

/// Runs until the input ends, `/quit`, a signal, or, without a terminal, the end of the session.
///
/// With a terminal at input and output a person types; a session that is lost is opened again by
/// itself, and what was typed meanwhile is sent then.
/// Else lines are read and written as they are, and at the end of input outstanding receipts are
/// waited for. Returns 0; 1 when a log-in, a line or a receipt failed or the output is lost, which
/// a line on error names; 2 for bad arguments.
int RunChat(const ChatOptions& options, int inputFd, int outputFd, int errorFd);

}  // namespace vnq
