// Inputs that are reads of the main port, parted by a 0xFF byte. A read that begins with '.' is
// text and is encoded first; any other is taken as it came on the wire.
#pragma once

#include <cstdint>
#include <string_view>

#include "tests/harness/test_server.h"

namespace vnq {

inline void FeedReads(TestClient& client, const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  while (!input.empty()) {
    const size_t end = input.find('\xFF');
    const std::string_view read = input.substr(0, end);
    read.starts_with('.') ? client.Send(read) : client.SendBytes(read);
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
  }
}

}  // namespace vnq
