#include "platform/sql/sql_tokens.h"

#include <algorithm>

#include "support/ascii_case.h"

namespace vnq {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsWordChar(char c) {
  return IsDigit(c) || (AsciiLower(c) >= 'a' && AsciiLower(c) <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool StartsWithDate(std::string_view text) {
  constexpr std::string_view kShape = "#dddd-dd-dd#";
  return text.size() >= kShape.size() &&
         std::equal(kShape.begin(), kShape.end(), text.begin(),
                    [](char shape, char c) { return shape == 'd' ? IsDigit(c) : c == shape; });
}

// The length up to and with `end`, or of all the text when it does not come.
size_t LengthThrough(std::string_view text, std::string_view end, size_t from) {
  size_t found = text.find(end, from);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

template <typename Belongs>
size_t LengthWhile(std::string_view text, Belongs belongs) {
  return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), belongs) - text.begin());
}

// The first token of a text that is not empty.
Token FirstToken(std::string_view text) {
  auto token = [&](Token::Kind kind, size_t length) { return Token{kind, text.substr(0, length)}; };
  char c = text.front();
  if (IsBlank(c)) return token(Token::Kind::kBlank, LengthWhile(text, IsBlank));
  if (text.starts_with("--")) return token(Token::Kind::kBlank, LengthThrough(text, "\n", 2));
  if (text.starts_with("/*")) return token(Token::Kind::kBlank, LengthThrough(text, "*/", 2));
  if (c == '\'' || c == '"' || c == '`') {
    return token(Token::Kind::kQuoted, LengthThrough(text, std::string_view(&c, 1), 1));
  }
  if (c == '[') return token(Token::Kind::kQuoted, LengthThrough(text, "]", 1));
  if (StartsWithDate(text)) return token(Token::Kind::kDate, 12);
  if (IsDigit(c)) return token(Token::Kind::kNumber, LengthWhile(text, IsWordChar));
  if (IsWordChar(c)) return token(Token::Kind::kWord, LengthWhile(text, IsWordChar));
  return token(Token::Kind::kSign, 1);
}

}  // namespace

Tokens Tokenize(std::string_view text) {
  Tokens tokens;
  while (!text.empty()) {
    tokens.push_back(FirstToken(text));
    text.remove_prefix(tokens.back().text.size());
  }
  return tokens;
}

size_t SkipBlanks(const Tokens& tokens, size_t index) {
  while (index < tokens.size() && tokens[index].kind == Token::Kind::kBlank) ++index;
  return index;
}

bool IsWord(const Token& token, std::string_view lower) {
  return token.kind == Token::Kind::kWord && SameButForCase(token.text, lower);
}

bool IsSign(const Token& token, char sign) {
  return token.kind == Token::Kind::kSign && token.text.front() == sign;
}

bool IsWordAt(const Tokens& tokens, size_t index, std::string_view lower) {
  return index < tokens.size() && IsWord(tokens[index], lower);
}

bool IsSignAt(const Tokens& tokens, size_t index, char sign) {
  return index < tokens.size() && IsSign(tokens[index], sign);
}

}  // namespace vnq
