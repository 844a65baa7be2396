// The least that one peer message can cost: the bare statements and socket calls that it must make,
// measured in this process on a file and connections of its own.
#pragma once

#include <optional>
#include <string>

namespace vnq::bench {

struct Floor {
  double databaseUs = 0;  ///< four point selects, two inserts, its share of the turn's one commit
  double socketUs = 0;    ///< one read of its text, its share of the writes of two flushed buffers
  double wakingUs = 0;    ///< at a fixed rate: what these cost more to a process that was asleep
  double TotalUs() const { return databaseUs + socketUs + wakingUs; }
};

struct FloorShape {
  size_t turn = 1;    ///< messages that share a commit, as far as a turn may have so many
  size_t window = 1;  ///< messages that leave in one flush of a connection
  size_t textBytes = 0;
  double rate = 0;  ///< messages a second; 0: each waits for the one before
};

/// CPU µs per message. Nothing, with the reason in `error`, when no file or connection could be
/// made.
std::optional<Floor> MeasureFloor(const FloorShape& shape, std::string& error);

}  // namespace vnq::bench
