#include "platform/sql_dialect.h"

#include <algorithm>
#include <array>
#include <vector>

namespace vnq {
namespace {

struct Token {
  enum class Kind { kBlank, kWord, kNumber, kQuoted, kDate, kSign };
  Kind kind;
  std::string_view text;
};
using Tokens = std::vector<Token>;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
bool IsWordChar(char c) {
  return IsDigit(c) || (Lower(c) >= 'a' && Lower(c) <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool SameWord(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char a, char b) { return Lower(a) == b; });
}
bool IsWord(const Token& token, std::string_view lower) {
  return token.kind == Token::Kind::kWord && SameWord(token.text, lower);
}
bool IsSign(const Token& token, char sign) {
  return token.kind == Token::Kind::kSign && token.text.front() == sign;
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

Tokens Tokenize(std::string_view text) {
  Tokens tokens;
  while (!text.empty()) {
    tokens.push_back(FirstToken(text));
    text.remove_prefix(tokens.back().text.size());
  }
  return tokens;
}

// The next token from `index` on that is not blank; tokens.size() when there is none.
size_t SkipBlanks(const Tokens& tokens, size_t index) {
  while (index < tokens.size() && tokens[index].kind == Token::Kind::kBlank) ++index;
  return index;
}

class Translator {
 public:
  Translator(const Tokens& tokens, const SqlDialect& dialect)
      : tokens_(tokens), dialect_(dialect) {}

  TranslatedSql Translate() {
    for (size_t i = 0; i < tokens_.size();) i = TranslateAt(i);
    WriteLimit();
    if (dialect_.numberedMarkers) {
      for (size_t i = 0; i < markers_; ++i) parameters_.push_back(i);
    }
    return {std::move(out_), std::move(parameters_)};
  }

 private:
  // One nesting level of parentheses.
  struct Level {
    std::string_view close;  // what its closing parenthesis becomes
    std::string_view limit;  // the N of its select's `top N`
  };

  // Writes what stands at `i` and returns the index behind it.
  size_t TranslateAt(size_t i) {
    const Token& token = tokens_[i];
    if (size_t end = IntegerCallEnd(i); end != i) {
      Write(dialect_.integerOpen);
      levels_.push_back({dialect_.integerClose, {}});
      return end;
    }
    if (size_t end = TopEnd(i); end != i) return end;
    if (token.kind == Token::Kind::kDate) {
      Write("'");
      Write(token.text.substr(1, 10));
      Write("'");
    } else if (IsSign(token, '(')) {
      Write("(");
      levels_.push_back({")", {}});
    } else if (IsSign(token, ')') && levels_.size() > 1) {
      WriteLimit();
      Write(levels_.back().close);
      levels_.pop_back();
    } else if (token.kind == Token::Kind::kBlank) {
      out_ += token.text;
    } else {
      if (IsSign(token, ';')) WriteLimit();
      IsSign(token, '?') ? WriteMarker(markers_++) : Write(token.text);
    }
    if (token.kind != Token::Kind::kBlank) previous_ = token;
    return i + 1;
  }

  // The index behind `clng(` or `CONVERT(int,`; `i` when neither stands there.
  size_t IntegerCallEnd(size_t i) const {
    bool clng = IsWord(tokens_[i], "clng");
    if (!clng && !IsWord(tokens_[i], "convert")) return i;
    size_t next = SkipBlanks(tokens_, i + 1);
    if (next == tokens_.size() || !IsSign(tokens_[next], '(')) return i;
    if (clng) return next + 1;
    next = SkipBlanks(tokens_, next + 1);
    if (next == tokens_.size() || !IsWord(tokens_[next], "int")) return i;
    next = SkipBlanks(tokens_, next + 1);
    if (next == tokens_.size() || !IsSign(tokens_[next], ',')) return i;
    return next + 1;
  }

  // The index behind `top N` and its blanks, N noted for the end of the select; `i` when it does
  // not stand there.
  size_t TopEnd(size_t i) {
    bool inSelect = IsWord(previous_, "select") || IsWord(previous_, "distinct");
    if (!dialect_.limitAtEnd || !inSelect || !IsWord(tokens_[i], "top")) return i;
    size_t number = SkipBlanks(tokens_, i + 1);
    if (number == tokens_.size() || tokens_[number].kind != Token::Kind::kNumber) return i;
    levels_.back().limit = tokens_[number].text;
    previous_ = tokens_[number];
    return SkipBlanks(tokens_, number + 1);
  }

  void WriteMarker(size_t parameter) {
    if (dialect_.numberedMarkers) return Write("$" + std::to_string(parameter + 1));
    parameters_.push_back(parameter);
    Write("?");
  }

  void Write(std::string_view text) {
    out_ += text;
    contentEnd_ = out_.size();
  }

  // A limit goes before trailing blanks, which may be a comment that would swallow it.
  void WriteLimit() {
    std::string_view& limit = levels_.back().limit;
    if (limit.empty()) return;
    std::string clause = " limit " + std::string(limit);
    out_.insert(contentEnd_, clause);
    contentEnd_ += clause.size();
    limit = {};
  }

  const Tokens& tokens_;
  const SqlDialect& dialect_;
  std::vector<Level> levels_{Level{")", {}}};
  Token previous_{Token::Kind::kBlank, {}};
  std::string out_;
  size_t contentEnd_ = 0;
  size_t markers_ = 0;  // seen so far
  std::vector<size_t> parameters_;
};

bool MixesRows(const Token& token) {
  constexpr std::array<std::string_view, 7> kWords = {"distinct", "join",   "group",    "having",
                                                      "union",    "except", "intersect"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view word) { return IsWord(token, word); });
}

bool EndsTableList(const Token& token) {
  return IsWord(token, "where") || IsWord(token, "order") || IsWord(token, "limit");
}

}  // namespace

TranslatedSql TranslateSql(std::string_view statement, std::span<const SqlMarker> markers,
                           const SqlDialect& dialect) {
  (void)markers;
  Tokens tokens = Tokenize(statement);
  return Translator(tokens, dialect).Translate();
}

std::string FoldedText(std::string_view expression, const SqlDialect& dialect) {
  switch (dialect.textComparison) {
    case SqlDialect::TextComparison::kByColumn:
      return std::string(expression);
    case SqlDialect::TextComparison::kFolded:
      return "lower(cast(" + std::string(expression) + " as text) collate \"C\")";
    case SqlDialect::TextComparison::kSearchFolded:
      break;
  }
  // The binary collation folds nothing, so the letters are named; the character at the end keeps
  // trailing blanks from being ignored.
  return "translate(" + std::string(expression) +
         " collate Latin1_General_BIN2,'ABCDEFGHIJKLMNOPQRSTUVWXYZ',"
         "'abcdefghijklmnopqrstuvwxyz')+N'.'";
}

std::string SingleTable(std::string_view select) {
  Tokens tokens = Tokenize(select);
  size_t first = SkipBlanks(tokens, 0);
  if (first == tokens.size() || !IsWord(tokens[first], "select")) return {};
  // What SelectWithColumn refuses has no single table.
  if (!SelectWithColumn(select, "x")) return {};
  int depth = 0;
  for (size_t i = first; i < tokens.size(); ++i) {
    if (IsSign(tokens[i], '(')) ++depth;
    if (IsSign(tokens[i], ')')) --depth;
    if (depth != 0 || !IsWord(tokens[i], "from")) continue;
    size_t name = SkipBlanks(tokens, i + 1);
    bool isName = name < tokens.size() && (tokens[name].kind == Token::Kind::kWord ||
                                           tokens[name].kind == Token::Kind::kQuoted);
    return isName ? std::string(tokens[name].text) : std::string();
  }
  return {};
}

std::optional<std::string> SelectWithColumn(std::string_view select, std::string_view column) {
  Tokens tokens = Tokenize(select);
  size_t first = SkipBlanks(tokens, 0);
  if (first == tokens.size() || !IsWord(tokens[first], "select")) return std::nullopt;

  size_t listEnd = 0;  // where the column list ends, once the `from` behind it is found
  size_t written = 0;
  int depth = 0;
  bool inTables = false;
  for (const Token& token : tokens) {
    if (IsSign(token, '(')) ++depth;
    if (IsSign(token, ')')) --depth;
    if (depth == 0) {
      if (MixesRows(token) || (inTables && IsSign(token, ','))) return std::nullopt;
      if (EndsTableList(token)) inTables = false;
      if (listEnd == 0 && IsWord(token, "from")) {
        listEnd = written;
        inTables = true;
      }
    }
    if (listEnd == 0 && token.kind != Token::Kind::kBlank) {
      written = static_cast<size_t>(token.text.data() + token.text.size() - select.data());
    }
  }
  if (listEnd == 0) return std::nullopt;
  return std::string(select.substr(0, listEnd)) + "," + std::string(column) + " " +
         std::string(select.substr(listEnd));
}

}  // namespace vnq
