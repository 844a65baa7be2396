#include "platform/sql/sql_dialect.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/sql/sql_comparison.h"
#include "platform/sql/sql_tokens.h"
#include "support/ascii_case.h"

namespace vnq {
namespace {

class Translator {
 public:
  Translator(const Tokens& tokens, std::span<const SqlMarker> markers, const SqlDialect& dialect,
             std::span<const std::string> exactColumns)
      : tokens_(tokens), markerKinds_(markers), dialect_(dialect), exactColumns_(exactColumns) {}

  TranslatedSql Translate() {
    for (size_t i = 0; i < tokens_.size();) i = TranslateAt(i);
    EndSelect();
    if (dialect_.numberedMarkers) {
      for (size_t i = 0; i < markers_; ++i) parameters_.push_back(i);
    }
    return {std::move(out_), std::move(parameters_)};
  }

 private:
  // One nesting level of parentheses.
  struct Level {
    std::string_view close;   // what its closing parenthesis becomes
    std::string_view limit;   // the N of its select's `top N`
    bool conditions = false;  // behind `where`
    bool ordering = false;    // behind `order by`
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
    if (size_t end = ComparisonEnd(i); end != i) return end;
    NoteClause(i);
    if (token.kind == Token::Kind::kDate) {
      Write("'");
      Write(token.text.substr(1, 10));
      Write("'");
    } else if (IsSign(token, '(')) {
      Write("(");
      levels_.push_back({")", {}, levels_.back().conditions});
    } else if (IsSign(token, ')') && levels_.size() > 1) {
      EndSelect();
      Write(levels_.back().close);
      levels_.pop_back();
    } else if (token.kind == Token::Kind::kBlank) {
      out_ += token.text;
    } else {
      if (IsSign(token, ';')) EndSelect();
      if (IsSign(token, ',')) WriteNullOrder();
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

  // Keeps track of where comparisons and sort keys stand.
  void NoteClause(size_t i) {
    if (tokens_[i].kind != Token::Kind::kWord) return;
    Level& level = levels_.back();
    if (IsWord(tokens_[i], "order")) level.ordering = dialect_.nullsNeedPlacing;
    if (IsWord(tokens_[i], "where") || IsWord(tokens_[i], "on")) level.conditions = true;
    for (std::string_view word : {"select", "set", "values", "order", "group"}) {
      if (IsWord(tokens_[i], word)) level.conditions = false;
    }
  }

  // Writes the comparison of texts that begins at `i` and returns the index behind it; `i` when
  // there is none that needs care.
  size_t ComparisonEnd(size_t i) {
    const bool mayFold = dialect_.textComparison != SqlDialect::TextComparison::kByColumn;
    if (!mayFold || !levels_.back().conditions || IsOperator(previous_)) return i;
    if (tokens_[i].kind == Token::Kind::kBlank) return i;
    const auto comparison = ReadComparison(tokens_, i, markerKinds_, markers_);
    if (!comparison || !WriteComparison(*comparison)) return i;
    previous_ = tokens_[comparison->end - 1];
    return comparison->end;
  }

  static bool IsOperator(const Token& token) {
    return token.kind == Token::Kind::kSign &&
           std::string_view("+-*/%|&.").find(token.text.front()) != std::string_view::npos;
  }

  bool WriteComparison(const SqlComparison& comparison) {
    const bool exact = IsExact(comparison);
    if (dialect_.textComparison == SqlDialect::TextComparison::kFolded) {
      if (exact) return false;
      WriteSides(comparison, Form::kFolded);
    } else {
      if (!comparison.WithText() || HasNoLetters(comparison)) return false;
      Write("(");
      WriteSides(comparison, Form::kPlain);
      Write(comparison.sign == "<>" ? " or " : " and ");
      WriteSides(comparison, exact ? Form::kExact : Form::kFolded);
      Write(")");
    }
    CountMarkers(comparison);
    return true;
  }

  enum class Form { kPlain, kFolded, kExact };

  void WriteSides(const SqlComparison& comparison, Form form) {
    WriteOperand(comparison.left, form);
    Write(comparison.sign);
    const bool list = comparison.sign == " in ";
    if (list) Write("(");
    for (const SqlOperand& operand : comparison.right) {
      if (&operand != &comparison.right.front()) Write(",");
      WriteOperand(operand, form);
    }
    if (list) Write(")");
  }

  void WriteOperand(const SqlOperand& operand, Form form) {
    std::string text = operand.text;
    if (operand.kind == SqlOperand::Kind::kParameter) {
      text = dialect_.numberedMarkers ? "$" + std::to_string(operand.parameter + 1) : "?";
      if (!dialect_.numberedMarkers) parameters_.push_back(operand.parameter);
    }
    if (form == Form::kFolded) text = FoldedText(text, dialect_);
    if (form == Form::kExact) text += " collate Latin1_General_BIN2+N'.'";
    Write(text);
  }

  void CountMarkers(const SqlComparison& comparison) {
    auto count = [this](const SqlOperand& operand) {
      if (operand.kind == SqlOperand::Kind::kParameter) ++markers_;
    };
    count(comparison.left);
    std::for_each(comparison.right.begin(), comparison.right.end(), count);
  }

  bool IsExact(const SqlComparison& comparison) const {
    auto exact = [this](const SqlOperand& operand) {
      return operand.kind == SqlOperand::Kind::kColumn &&
             std::any_of(exactColumns_.begin(), exactColumns_.end(), [&](const std::string& name) {
               return SameButForCase(name, operand.column);
             });
    };
    return exact(comparison.left) || exact(comparison.right.front());
  }

  // Only literals that no folding changes: the column may then be one of numbers, too.
  static bool HasNoLetters(const SqlComparison& comparison) {
    auto plain = [](const SqlOperand& operand) {
      return operand.kind == SqlOperand::Kind::kColumn ||
             (operand.kind == SqlOperand::Kind::kLiteral &&
              operand.text.find_first_not_of("'0123456789") == std::string::npos);
    };
    return plain(comparison.left) &&
           std::all_of(comparison.right.begin(), comparison.right.end(), plain);
  }

  // Everywhere else a NULL sorts as the smallest value.
  void WriteNullOrder() {
    Level& level = levels_.back();
    if (!level.ordering) return;
    Write(IsWord(previous_, "desc") ? " nulls last" : " nulls first");
  }

  void EndSelect() {
    if (levels_.back().ordering) {
      const std::string blanks = out_.substr(contentEnd_);
      out_.resize(contentEnd_);
      WriteNullOrder();
      out_ += blanks;
      levels_.back().ordering = false;
    }
    WriteLimit();
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
  std::span<const SqlMarker> markerKinds_;
  const SqlDialect& dialect_;
  std::span<const std::string> exactColumns_;
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
                           const SqlDialect& dialect, std::span<const std::string> exactColumns) {
  Tokens tokens = Tokenize(statement);
  return Translator(tokens, markers, dialect, exactColumns).Translate();
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
