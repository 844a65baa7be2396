// Where the lines of a chat appear: a terminal with a line being typed, or plain streams.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/line_editor.h"

namespace vnq {

/// What input and output are for the person or the script at the other end.
class ChatScreen {
 public:
  /// With a terminal at both input and output lines are edited on it; else they are read and
  /// written as they are.
  ChatScreen(int inputFd, int outputFd, int errorFd);
  ~ChatScreen() { Suspend(); }
  ChatScreen(const ChatScreen&) = delete;
  ChatScreen& operator=(const ChatScreen&) = delete;

  bool IsTerminal() const { return terminal_ != nullptr; }
  int inputFd() const { return inputFd_; }

  /// A line of the conversation, on output.
  void Show(std::string_view line);

  /// Why a line of the conversation could not be written; empty when all were.
  const std::string& OutputError() const { return outputError_; }

  /// A refusal or a failure: on the terminal, else on error.
  void Complain(std::string_view line);

  /// What stands in front of the line being typed.
  void SetPrompt(std::string prompt);

  /// Reads what input has. Returns the lines that were finished.
  std::vector<std::string> ReadLines();

  /// Lines typed before and what Tab offers; neither counts without a terminal.
  void KeepHistoryIn(const std::string& file);
  void SetCompleter(LineEditor::Completer completer) { editor_.SetCompleter(std::move(completer)); }

  /// The terminal has another size.
  void Resized();

  /// True when no more input will come.
  bool InputEnded() const { return inputEnded_; }

  /// Gives the terminal back for a question of its own, and takes it again.
  void Suspend();
  void Resume();

 private:
  void ReadKeys(std::string_view bytes, std::vector<std::string>& lines);
  void Repaint();

  int inputFd_, outputFd_, errorFd_;
  std::unique_ptr<RawTerminal> terminal_;
  LineEditor editor_;
  std::string prompt_ = "> ";
  std::string partial_;
  std::string outputError_;
  bool inputEnded_ = false;
};

}  // namespace vnq
