#include "host/outgoing/control_tokens.h"
#include "messaging/messaging.h"
#include "support/replace_all.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

// An empty word stands at the head of every text that is not empty.
bool Holds(std::string_view text, std::string_view word) {
  return !text.empty() && text.find(word) != std::string_view::npos;
}

}  // namespace

std::string FilterMessageText(Host& host, const std::string& rawText) {
  std::string plain = UnescapeText(host.page, rawText);
  if (FindControlToken(plain) != nullptr) return rawText;
  for (const std::string& word : host.BlockKeywords) {
    if (Holds(plain, word)) return EscapeText(host.ReadLang("im311"));
  }
  if (host.MaskKeywords.empty()) return rawText;
  for (const std::string& word : host.MaskKeywords) ReplaceAll(plain, word, "***");
  return EscapeText(plain);
}

}  // namespace vnq
