// Replacement of every occurrence of one text by another.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Replaces every occurrence of `what` in `text`, from left to right; what a replacement brings in
/// is not searched again. The comparison is by bytes. An empty `what` changes nothing.
inline void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  if (what.empty()) return;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
}

}  // namespace vnq
