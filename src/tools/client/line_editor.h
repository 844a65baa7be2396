// A one-line editor for a terminal: what is typed stays whole while other lines arrive above it.
#pragma once

#include <termios.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/client/input_history.h"

namespace vnq {

/// The line being typed, with its cursor and the lines typed before. Knows no terminal: bytes of
/// the keyboard go in, finished lines and the row to paint come out.
class LineEditor {
 public:
  enum class Event { kNone, kLine, kEndOfInput, kInterrupt };

  /// What the text in front of the cursor may become, each whole.
  using Completer = std::function<std::vector<std::string>(const std::string& before)>;

  /// Takes one byte from the keyboard. kLine: TakeLine() has a line. kEndOfInput: Ctrl-D on an
  /// empty line. kInterrupt: Ctrl-C on an empty line; on a line with text it clears it.
  ///
  /// Backspace, arrows, Home, End, Delete, Ctrl-A, -E, -B, -F, -K, -U, -W work on whole characters;
  /// Up and Down (Ctrl-P, -N) walk through earlier lines, Ctrl-R searches them: what is typed then
  /// is looked for, Ctrl-R again goes further back, Enter takes the line, Ctrl-G gives it up. Tab
  /// completes; again, it goes through what there is. Line ends of a bracketed paste are blanks.
  /// Keys that mean nothing here are passed over.
  Event Key(char byte);

  void SetCompleter(Completer completer) { completer_ = std::move(completer); }

  /// Lines typed before; a line is added when it is ended.
  InputHistory& history() { return history_; }

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
  Event SearchControl(char byte);
  void Search(size_t end);
  void EndSearch(std::string text);
  void Complete();
  void ReplaceBefore(const std::string& text);
  void Insert(char byte);
  void Put(const std::string& character);
  void EraseBefore();
  void EraseUnder();
  void EraseWordBefore();
  void RecallOlder();
  void RecallNewer();
  void Recall(size_t entry);
  std::string PaintBehind(std::string_view prompt, size_t columns) const;
  size_t Before(size_t position) const;
  size_t Behind(size_t position) const;

  std::string text_, finished_;
  std::string escape_;     // an escape sequence that is coming in, from its ESC on
  std::string character_;  // a character of several bytes that is coming in
  size_t cursor_ = 0;      // in bytes, always between characters
  InputHistory history_;
  std::optional<size_t> recalled_;    // entry shown; none: the line of one's own
  std::string own_;                   // that line, while an earlier one is shown
  std::optional<std::string> query_;  // what is searched for; none: no search is on
  size_t found_ = 0;                  // the entry that a search shows
  bool isPasting_ = false;
  Completer completer_;
  std::vector<std::string> candidates_;  // that Tab goes through
  size_t candidate_ = 0;
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
