// What one side of a connection sends, from bytes to records, on whichever port.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/ansi_text.h"
#include "tools/decode/record_forms.h"

namespace vnq {

class PortStream {
 public:
  /// The page must outlive the stream.
  static std::unique_ptr<PortStream> Of(uint16_t port, Side from, const AnsiText& page);
  virtual ~PortStream() = default;

  /// Takes the bytes that come next; returns the records that are whole by now.
  virtual std::vector<std::string> Feed(std::string_view bytes) = 0;

  /// What is held back, as it is, where nothing more comes.
  virtual std::vector<std::string> TakeRest() = 0;
};

/// Whether a port of the suite has this number.
bool IsKnownPort(int port);

}  // namespace vnq
