#include "support/json/json_script_terminal.h"

#include <istream>
#include <ostream>

namespace vnq {
namespace {

// Flushed at once: a person may be waiting for it.
void WriteLine(std::ostream& stream, std::string_view text) {
  stream << text;
  if (!text.ends_with('\n')) stream << '\n';
  stream.flush();
}

std::string Titled(std::string_view title, std::string_view message) {
  return std::string(title).append(": ").append(message);
}

}  // namespace

void TerminalDialogs::ShowInformation(std::string_view message, std::string_view title) {
  WriteLine(boxes_, Titled(title, message));
}

void TerminalDialogs::ShowWarning(std::string_view message, std::string_view title) {
  ++warnings_;
  WriteLine(boxes_, Titled(title, message));
}

std::string TerminalDialogs::Ask(std::string_view prompt, std::string_view /*title*/,
                                 std::string_view initial) {
  WriteLine(boxes_, prompt);
  std::string line;
  if (!std::getline(answers_, line)) return "";
  if (line.ends_with('\r')) line.pop_back();
  return line.empty() ? std::string(initial) : line;
}

}  // namespace vnq
