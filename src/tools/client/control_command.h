// vnqctl control: a person's orders over the server's control channel.
//
//   vnqctl control --server ADDRESS disconnect [--reason TEXT] USER...
//   vnqctl control --server ADDRESS broadcast [--title TEXT] [--font FONT] TEXT
//   vnqctl control --server ADDRESS info COMPUTER
//   vnqctl control --server ADDRESS computer|usb COMPUTER USER CODE
//   vnqctl control --server ADDRESS remote-desktop|close-remote-desktop COMPUTER
//   vnqctl control --server ADDRESS ping
//
// The options of control may stand behind the order as well.
//
// The channel asks for no password: whoever reaches its port may give orders.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "tools/client/server_page.h"

namespace CLI {
class App;
}

namespace vnq {

struct ControlOptions {
  std::string server;
  uint16_t port = 6003;
  int codePage = kDefaultServerPage;
  std::string appPath;  ///< of the server; empty: not known
  int waitMs = 10'000;  ///< for the connection, for each order and for a computer's answer

  std::string reason;              ///< disconnect: what the client is told
  std::string title, font, text;   ///< broadcast
  std::vector<std::string> users;  ///< disconnect
  std::string computer, user;      ///< a managed computer, and who sits at it
  int16_t code = 0;                ///< computer, usb: what the computer is told to do
  bool json = false;               ///< info: a JSON array, an object a value
};

/// Adds the command to a program's arguments. It runs while they are parsed, and leaves its exit
/// code.
///
/// exitCode  must live as long as the program parses.
void AddControlCommand(CLI::App& app, int& exitCode);

/// Runs one order, by its name on the command line. Gives the exit code: 0 when the server has
/// carried it out; 1 with a line on `errors` for a server or a computer that does not answer; 2
/// for names that no record can carry and for a code page or an order that is not known.
int RunControl(const std::string& order, const ControlOptions& options, std::ostream& out,
               std::ostream& errors);

}  // namespace vnq
