// vnqctl notify: a notice from a shell script or a monitoring system to people's clients.
//
//   vnqctl notify --server A --as NAME --to a,b|* --title T [--text T] [--link L]
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "platform/system/code_page.h"
#include "tools/client/server_page.h"

namespace CLI {
class App;
}

namespace vnq {

struct NotifyOptions {
  std::string server;
  uint16_t port = 6004;
  int codePage = kDefaultServerPage;
  std::string appPath;   ///< of the server; empty: not known
  int waitMs = 10'000;   ///< for the connection, and for each answer of the server
  std::string sender;    ///< login name that the notice is from; the server asks for no password
  std::string receiver;  ///< login names joined by commas, or "*" for everybody who may log in
  std::string title, text, link;
};

/// The record of a notice.
///
/// A text that a field can carry and the code page holds goes out as it is; any other in the
/// escaped form of message texts, which clients read.
std::string NotifyRecord(const NotifyOptions& options, const CodePage& page);

/// Posts the notice and waits until the server has taken it, which says nothing about its
/// receivers: names that nobody has are passed over without a word. Gives the exit code: 0; 1 with
/// a line on `errors` when the server cannot be reached or does not answer; 2 for what no record
/// can carry and for a code page that is not known.
int RunNotify(const NotifyOptions& options, std::ostream& errors);

/// Adds the command to a program's arguments. It leaves its exit code in `exitCode`.
void AddNotifyCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
