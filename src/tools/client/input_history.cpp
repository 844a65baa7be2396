#include "tools/client/input_history.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tools/client/chat_text.h"

namespace vnq {
namespace {

// One write, so that what two clients add does not mix.
void AppendToFile(const std::string& file, const std::string& text) {
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0) return;
  (void)!write(descriptor, text.data(), text.size());
  close(descriptor);
}

}  // namespace

void InputHistory::KeepIn(std::string file) {
  if (file.empty()) return;
  file_ = std::move(file);
  size_t count = 0;
  {
    std::ifstream input(file_);
    for (std::string line; std::getline(input, line); ++count) {
      if (TerminalLine(line) == line) Push(std::move(line));
    }
  }
  if (count <= 2 * kMaxLines) return;
  const std::string shorter = file_ + ".new";
  std::error_code ignored;
  std::filesystem::remove(shorter, ignored);
  for (const std::string& line : lines_) AppendToFile(shorter, line + "\n");
  std::filesystem::rename(shorter, file_, ignored);
}

void InputHistory::Add(const std::string& line) {
  if (line.empty() || (!lines_.empty() && lines_.back() == line)) return;
  if (!file_.empty()) AppendToFile(file_, line + "\n");
  Push(line);
}

void InputHistory::Push(std::string line) {
  if (line.empty()) return;
  lines_.push_back(std::move(line));
  if (lines_.size() > kMaxLines) lines_.erase(lines_.begin());
}

std::optional<size_t> InputHistory::FindBefore(size_t end, std::string_view text) const {
  for (size_t entry = std::min(end, lines_.size()); entry-- > 0;) {
    if (lines_[entry].find(text) != std::string::npos) return entry;
  }
  return std::nullopt;
}

}  // namespace vnq
