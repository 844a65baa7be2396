// The least that one peer message can cost: the bare statements and socket calls that it must make,
// measured in this process on a file and connections of its own.
#pragma once

#include <optional>
#include <string>

namespace vnq::bench {

struct Floor {
  double databaseUs = 0;  ///< four point selects, two inserts, each committed by itself
  double socketUs = 0;    ///< one read of its text, its share of the writes of two flushed buffers
  double TotalUs() const { return databaseUs + socketUs; }
};

/// CPU µs per message. window: messages that leave in one flush of a connection. Nothing, with the
/// reason in `error`, when no file or connection could be made.
std::optional<Floor> MeasureFloor(size_t window, size_t textBytes, std::string& error);

}  // namespace vnq::bench
