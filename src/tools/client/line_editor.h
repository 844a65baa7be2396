// A one-line editor for a terminal: what is typed stays whole while other lines arrive above it.
#pragma once

#include <termios.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vnq {

/// The line being typed, with its cursor and the lines typed before. Knows no terminal: bytes of
/// the keyboard go in, finished lines and the row to paint come out.
class LineEditor {
 public:
  enum class Event { kNone, kLine, kEndOfInput, kInterrupt };

  /// Takes one byte from the keyboard. kLine: TakeLine() has a line. kEndOfInput: Ctrl-D on an
  /// empty line. kInterrupt: Ctrl-C on an empty line; on a line with text it clears it.
  ///
  /// Backspace, arrows, Home, End, Delete, Ctrl-A, -E, -B, -F, -K, -U, -W work on whole characters;
  /// Up and Down (Ctrl-P, -N) walk through earlier lines. Keys that mean nothing here are passed
  /// over.
  Event Key(char byte);

  /// The line that was ended last.
  std::string TakeLine() { return std::exchange(finished_, {}); }

  /// What is typed so far.
  const std::string& text() const { return text_; }

  /// Paints prompt and text on the terminal's present row: return, row, clear to its end, cursor in
  /// place. Of a text wider than `columns` the part around the cursor is shown.
  std::string Paint(std::string_view prompt, size_t columns) const;

 private:
  Event Control(char byte);
  Event EndLine();
  void EscapeSequence(char last);
  void Insert(char byte);
  void EraseBefore();
  void EraseUnder();
  void EraseWordBefore();
  void Recall(size_t entry);
  size_t Before(size_t position) const;
  size_t Behind(size_t position) const;

  std::string text_, finished_;
  std::string escape_;     // an escape sequence that is coming in, from its ESC on
  std::string character_;  // a character of several bytes that is coming in
  size_t cursor_ = 0;      // in bytes, always between characters
  std::vector<std::string> history_;
  size_t recalled_ = 0;  // entry shown; history_.size() is the line of one's own
  std::string own_;      // that line, while an earlier one is shown
};

/// A terminal that hands over each key at once, without echo; as it was before when this object
/// dies.
class RawTerminal {
 public:
  explicit RawTerminal(int fd) : fd_(fd) { Enter(); }
  ~RawTerminal() { Leave(); }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;

  void Enter();
  void Leave();

 private:
  int fd_;
  std::optional<termios> before_;
};

/// Columns of the terminal behind `fd`; 80 when it does not say.
size_t TerminalColumns(int fd);

}  // namespace vnq
