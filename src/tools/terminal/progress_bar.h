// A bar that shows how far a long job has come.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace vnq {

/// Draws one line over and over: "[#########-----------]  45 %  450 of 1000", and what is being
/// done behind it. Silent where nobody watches.
class ProgressBar {
 public:
  /// total      pieces to be done; more than that still count as all.
  /// isWatched  the stream is a terminal.
  ProgressBar(std::ostream& out, size_t total, bool isWatched, std::string label = "");

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
  const std::string label_;
  size_t done_ = 0;
  size_t drawnPercent_ = 0;
  bool isDrawn_ = false;
};

}  // namespace vnq
