// Inline control tokens: opening sequences in a message text for content that is no chat.
#pragma once

#include <string_view>

namespace vnq {

struct ControlToken {
  std::string_view opening;
  std::string_view labelKey;  ///< key of the text that a notification shows instead
};

/// In the order in which a text is searched for a label: the first hit wins.
inline constexpr ControlToken kControlTokens[] = {
    {"{a@", "im283"}, {"{b@", "im284"}, {"{c@", "im285"}, {"{d@", "im286"},
    {"{e@", "im287"}, {"{f@", "im288"}, {"{i@", "im289"}, {"{h@", "im283"},
    {"{k@", "im298"}, {"{o@", "im299"}, {"{x@", "im309"}, {"{y@", "im310"},
};

/// The first token of the table that a text holds, null when it holds none.
inline const ControlToken* FindControlToken(std::string_view text) {
  if (text.find('{') == std::string_view::npos) return nullptr;
  for (const ControlToken& token : kControlTokens) {
    if (text.find(token.opening) != std::string_view::npos) return &token;
  }
  return nullptr;
}

}  // namespace vnq
