// Replacement of every occurrence of one text by another.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Replaces every occurrence of `what` in `text`, from left to right; what a replacement brings in
/// is not searched again. The comparison is by bytes. An empty `what` changes nothing.
inline void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  size_t at = what.empty() ? std::string::npos : text.find(what);
  if (at == std::string::npos) return;
  std::string replaced;  // in place, each of many would move all that stands behind it
  size_t begin = 0;
  for (; at != std::string::npos; at = text.find(what, begin)) {
    replaced.append(text, begin, at - begin).append(by);
    begin = at + what.size();
  }
  text = replaced.append(text, begin);
}

}  // namespace vnq
