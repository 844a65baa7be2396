#include "platform/sql/select_shape.h"

#include <algorithm>
#include <array>

namespace vnq {
namespace {

bool MixesRows(const Token& token) {
  constexpr std::array<std::string_view, 7> kWords = {"distinct", "join",   "group",    "having",
                                                      "union",    "except", "intersect"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view word) { return IsWord(token, word); });
}

bool EndsTableList(const Token& token) {
  return IsWord(token, "where") || IsWord(token, "order") || IsWord(token, "limit");
}

std::string_view NameAt(const Tokens& tokens, size_t index) {
  if (index == tokens.size()) return {};
  const Token& token = tokens[index];
  const bool isName = token.kind == Token::Kind::kWord || token.kind == Token::Kind::kQuoted;
  return isName ? token.text : std::string_view();
}

}  // namespace

std::optional<SelectShape> ReadSelectShape(const Tokens& tokens) {
  const size_t first = SkipBlanks(tokens, 0);
  if (!IsWordAt(tokens, first, "select")) return std::nullopt;

  std::optional<SelectShape> shape;
  bool inTables = false;
  int depth = 0;
  for (size_t i = first; i < tokens.size(); ++i) {
    const Token& token = tokens[i];
    if (IsSign(token, '(')) ++depth;
    if (IsSign(token, ')')) --depth;
    if (depth != 0) continue;
    if (MixesRows(token) || (inTables && IsSign(token, ','))) return std::nullopt;
    if (EndsTableList(token)) inTables = false;
    if (!shape && IsWord(token, "from")) {
      shape = {i, NameAt(tokens, SkipBlanks(tokens, i + 1))};
      inTables = true;
    }
  }
  return shape;
}

}  // namespace vnq
