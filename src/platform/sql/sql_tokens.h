// Private to platform: a statement cut into tokens, as far as its translation needs them.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace vnq {

struct Token {
  enum class Kind {
    kBlank,   ///< blanks and comments
    kWord,    ///< a name or keyword
    kNumber,  ///< begins with a digit
    kQuoted,  ///< a text, a name in quotes or in brackets
    kDate,    ///< #YYYY-MM-DD#
    kSign,    ///< any other character by itself
  };
  Kind kind = Kind::kBlank;
  std::string_view text;  ///< of the statement, which outlives it
};
using Tokens = std::vector<Token>;

/// All of the text, token by token; takes any text.
Tokens Tokenize(std::string_view text);

/// The next token from `index` on that is not blank; tokens.size() when there is none.
size_t SkipBlanks(const Tokens& tokens, size_t index);

/// The token at `index` is this word, given in lower case; false beyond the end.
bool IsWordAt(const Tokens& tokens, size_t index, std::string_view lower);
/// The token at `index` is this sign; false beyond the end.
bool IsSignAt(const Tokens& tokens, size_t index, char sign);

bool IsWord(const Token& token, std::string_view lower);
bool IsSign(const Token& token, char sign);

}  // namespace vnq
