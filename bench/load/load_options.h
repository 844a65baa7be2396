// What a run is asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/client/tls_options.h"

namespace vnq::bench {

struct LoadOptions {
  std::string server = "127.0.0.1";
  std::vector<std::string> servers;  ///< nodes of a cluster, in place of server
  bool across = false;               ///< peer: the two of a pair are on different ones
  uint16_t port = 6004;              ///< of clients of the main port
  TlsOptions tls;                    ///< for the same
  int codePage = 936;

  double warmupSeconds = 1, seconds = 5;
  double settleSeconds = 10;   ///< how long what is on its way may take at the end
  double rate = 0;             ///< operations a second over all; 0: closed loop
  size_t window = 100;         ///< closed loop: messages in flight of each pair, writer or visitor
  bool untilDelivery = false;  ///< closed loop: a message ends with its delivery, not its receipt
  size_t textBytes = 40;
  bool chinese = false;

  size_t pairs = 10;
  size_t members = 100, connected = 50;
  size_t receivers = 4000;  ///< notice
  size_t clients = 100;     ///< sessions of login, broadcast, idle
  size_t actors = 1;        ///< broadcast: who changes presence
  size_t visitors = 10, agents = 2;
  bool online = false;      ///< idle: logged in, not only connected
  size_t firstAccount = 1;  ///< idle: whose session the first is
  size_t others = 0;        ///< further sessions that are online and silent during the run

  std::vector<int64_t> pids;        ///< the servers' processes
  std::vector<std::string> usedBy;  ///< NAME=PID: further processes, with their children
  bool json = false;
  bool markdown = false;
  bool withFloor = false;
  bool quiet = false;  ///< no live line
  std::string plot;
  std::string note;  ///< joins the title of the result
};

}  // namespace vnq::bench
