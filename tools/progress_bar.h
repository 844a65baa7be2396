// A bar that shows how far a long job has come.
#pragma once

#include <cstddef>
#include <ostream>
#include <string_view>

namespace vnq {

/// Draws one line over and over: "[#########-----------]  45 %  450 of 1000". Silent where nobody
/// watches.
class ProgressBar {
 public:
  /// isWatched  the stream is a terminal.
  ProgressBar(std::ostream& out, size_t total, bool isWatched);

  /// Takes the bar off the line.
  ~ProgressBar() { Erase(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// One more piece is done.
  void Advance();

  /// Writes a whole line; the bar stays below it.
  void Say(std::string_view line);

 private:
  void Draw();
  void Erase();

  std::ostream& out_;
  const size_t total_;
  const bool isWatched_;
  size_t done_ = 0;
  size_t drawnPercent_ = 0;
  bool isDrawn_ = false;
};

}  // namespace vnq
