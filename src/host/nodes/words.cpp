#include "host/nodes/words.h"

#include <charconv>

namespace vnq {

std::string JoinWords(const Words& words) {
  std::string text;
  for (const std::string& word : words) text.append(std::to_string(word.size())) += ':' + word;
  return text;
}

std::optional<Words> SplitWords(std::string_view text) {
  Words words;
  while (!text.empty()) {
    size_t size = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    const auto digits = static_cast<size_t>(end - text.data());
    if (error != std::errc() || digits >= text.size() || text[digits] != ':') return std::nullopt;
    text.remove_prefix(digits + 1);
    if (size > text.size()) return std::nullopt;
    words.emplace_back(text.substr(0, size));
    text.remove_prefix(size);
  }
  return words;
}

}  // namespace vnq
