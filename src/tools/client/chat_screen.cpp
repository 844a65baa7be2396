#include "tools/client/chat_screen.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

namespace vnq {
namespace {

constexpr std::string_view kClearRow = "\r\x1B[K", kClearBelow = "\r\x1B[J";

// What is pasted comes between two marks then, so that its line ends do not send it.
constexpr std::string_view kMarkPastes = "\x1B[?2004h", kMarkNoPastes = "\x1B[?2004l";
constexpr size_t kMaxLineBytes = 64 * 1024;

// False, with errno set, when the system refuses.
bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written > 0) {
      text.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd room{fd, POLLOUT, 0};
      poll(&room, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

ChatScreen::ChatScreen(int inputFd, int outputFd, int errorFd)
    : inputFd_(inputFd), outputFd_(outputFd), errorFd_(errorFd) {
  if (isatty(inputFd) == 1 && isatty(outputFd) == 1) {
    terminal_ = std::make_unique<RawTerminal>(inputFd);
    WriteAll(outputFd_, kMarkPastes);
  }
}

void ChatScreen::Show(std::string_view line) {
  std::string text(line);
  if (IsTerminal()) text = std::string(kClearRow) + text;
  if (!WriteAll(outputFd_, text + "\n")) outputError_ = strerror(errno);
  Repaint();
}

void ChatScreen::Complain(std::string_view line) {
  if (IsTerminal()) {
    Show("! " + std::string(line));
  } else {
    WriteAll(errorFd_, std::string(line) + "\n");
  }
}

void ChatScreen::SetPrompt(std::string prompt) {
  if (prompt == prompt_) return;
  prompt_ = std::move(prompt);
  Repaint();
}

void ChatScreen::Repaint() {
  if (IsTerminal()) WriteAll(outputFd_, editor_.Paint(prompt_, TerminalColumns(outputFd_)));
}

std::vector<std::string> ChatScreen::ReadLines() {
  std::vector<std::string> lines;
  char buffer[4096];
  const ssize_t got = read(inputFd_, buffer, sizeof buffer);
  if (got < 0 && (errno == EINTR || errno == EAGAIN)) return lines;
  const std::string_view bytes(buffer, got > 0 ? static_cast<size_t>(got) : 0);
  if (IsTerminal()) {
    ReadKeys(bytes, lines);
  } else {
    for (char c : bytes) {
      if (c != '\n' && partial_.size() < kMaxLineBytes) partial_ += c;
      if (c == '\n') lines.push_back(std::move(partial_)), partial_.clear();
    }
    if (got <= 0 && !partial_.empty()) lines.push_back(std::move(partial_));
  }
  for (std::string& line : lines) {
    if (line.ends_with('\r')) line.pop_back();
  }
  inputEnded_ = inputEnded_ || got <= 0;
  return lines;
}

void ChatScreen::ReadKeys(std::string_view bytes, std::vector<std::string>& lines) {
  for (char byte : bytes) {
    const LineEditor::Event event = editor_.Key(byte);
    if (event == LineEditor::Event::kLine) lines.push_back(editor_.TakeLine());
    if (event == LineEditor::Event::kEndOfInput || event == LineEditor::Event::kInterrupt) {
      inputEnded_ = true;
    }
  }
  Repaint();
}

void ChatScreen::Suspend() {
  if (!IsTerminal()) return;
  WriteAll(outputFd_, kClearRow);
  WriteAll(outputFd_, kMarkNoPastes);
  terminal_->Leave();
}

void ChatScreen::Resume() {
  if (!IsTerminal()) return;
  terminal_->Enter();
  WriteAll(outputFd_, kMarkPastes);
  Repaint();
}

void ChatScreen::KeepHistoryIn(const std::string& file) {
  if (IsTerminal()) editor_.history().KeepIn(file);
}

void ChatScreen::Resized() {
  if (!IsTerminal()) return;
  WriteAll(outputFd_, kClearBelow);
  Repaint();
}

}  // namespace vnq
