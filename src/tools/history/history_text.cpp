#include "tools/history/history_text.h"

#include <algorithm>
#include <iterator>

#include "host/outgoing/control_tokens.h"
#include "support/ascii_case.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

constexpr int32_t kFileForm = 60;
constexpr std::string_view kFileLabel = "im283";

const ControlToken* TokenAt(std::string_view text) {
  const auto* token =
      std::find_if(std::begin(kControlTokens), std::end(kControlTokens),
                   [&](const ControlToken& each) { return text.starts_with(each.opening); });
  return token == std::end(kControlTokens) ? nullptr : token;
}

// "{h@...}" with the token's label in its place; moves behind it. What is inside is the clients'
// own, but for a file's name.
std::string TakeToken(std::string_view text, size_t& at, const ControlToken& token,
                      const LabelOf& label) {
  const size_t inside = at + token.opening.size();
  const size_t end = text.find('}', inside);
  std::string shown = label(token.labelKey);
  at = end == std::string_view::npos ? inside : end + 1;
  if (end == std::string_view::npos || token.labelKey != kFileLabel) return shown;
  return shown + " " + ReadEscapedText(text.substr(inside, end - inside));
}

std::string WithLabels(std::string_view text, const LabelOf& label) {
  std::string shown;
  for (size_t at = 0; at < text.size();) {
    const ControlToken* token = text[at] == '{' ? TokenAt(text.substr(at)) : nullptr;
    if (token == nullptr) {
      shown += text[at++];
    } else {
      shown += TakeToken(text, at, *token, label);
    }
  }
  return shown;
}

}  // namespace

std::string ShownText(const HistoryEntry& entry, const LabelOf& label) {
  const std::string text = ReadEscapedText(entry.UserText);
  const bool isFile = entry.kind == HistoryEntry::Kind::kPeer && entry.To_Type == kFileForm;
  return isFile ? label(kFileLabel) + " " + text : WithLabels(text, label);
}

std::string WholeText(const HistoryEntry& entry, const LabelOf& label) {
  std::string text = ShownText(entry, label);
  if (!entry.content.empty()) text += " - " + ReadEscapedText(entry.content);
  if (!entry.link.empty()) text += " <" + ReadEscapedText(entry.link) + ">";
  return text;
}

bool HoldsWords(const HistoryEntry& entry, std::string_view words, const LabelOf& label) {
  return AsciiLower(WholeText(entry, label)).find(AsciiLower(words)) != std::string::npos;
}

}  // namespace vnq
