// vnqctl decode: what travelled on the six ports, as records with the names of their fields.
#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "tools/decode/record_forms.h"

namespace CLI {
class App;
}  // namespace CLI

namespace vnq {

struct DecodeOptions {
  std::string file = {};  ///< a capture, or the bytes of one side; empty: standard input
  int port = 6004;        ///< of bytes that are no capture
  Side from = Side::kServer;
  int codePage = 936;
  bool json = false;       ///< an object a line
  bool passwords = false;  ///< shown as they are
};

/// Prints the records of a file or of `in`. Returns the exit code.
int RunDecodeCommand(const DecodeOptions& options, std::istream& in, std::ostream& out,
                     std::ostream& err);

void AddDecodeCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
