#include "platform/sql/sql_dialect.h"

#include <vector>

#include "platform/sql/select_shape.h"
#include "platform/sql/sql_comparison.h"
#include "platform/sql/sql_tokens.h"

namespace vnq {
namespace {

class Translator {
 public:
  Translator(const Tokens& tokens, std::span<const SqlMarker> markers, const SqlDialect& dialect,
             std::span<const std::string> exactColumns)
      : tokens_(tokens), markerKinds_(markers), dialect_(dialect), exactColumns_(exactColumns) {}

  TranslatedSql Translate() {
    const auto shape = ReadSelectShape(tokens_);
    std::optional<size_t> columnsEnd;
    for (size_t i = 0; i < tokens_.size();) {
      if (shape && i == shape->from) columnsEnd = contentEnd_;
      i = TranslateAt(i);
    }
    WriteNullOrderAtEnd();
    const size_t contentEnd = contentEnd_;
    WriteLimit();
    if (dialect_.numberedMarkers) {
      for (size_t i = 0; i < markers_; ++i) parameters_.push_back(i);
    }
    TranslatedSql made{std::move(out_), std::move(parameters_),
                       std::string(shape ? shape->table : ""), columnsEnd};
    if (columnsEnd && !isOrderTold_) made.orderPlace = contentEnd;
    made.hasCondition = levels_.front().hasWhere;
    return made;
  }

 private:
  // One nesting level of parentheses.
  struct Level {
    std::string_view close;   // what its closing parenthesis becomes
    std::string_view limit;   // the N of its select's `top N`
    bool conditions = false;  // behind `where`
    bool ordering = false;    // behind `order by`
    bool hasWhere = false;
  };

  // Writes what stands at `i` and returns the index behind it.
  size_t TranslateAt(size_t i) {
    if (size_t end = IntegerCallEnd(i); end != i) {
      Write(dialect_.integerOpen);
      levels_.push_back({dialect_.integerClose, {}});
      return end;
    }
    if (size_t end = TopEnd(i); end != i) return end;
    if (size_t end = ComparisonEnd(i); end != i) return end;
    NoteClause(tokens_[i]);
    WriteToken(tokens_[i]);
    return i + 1;
  }

  void WriteToken(const Token& token) {
    if (token.kind == Token::Kind::kBlank) {
      out_ += token.text;
      return;
    }
    if (token.kind == Token::Kind::kDate) {
      Write("'" + std::string(token.text.substr(1, 10)) + "'");
    } else if (IsSign(token, '(')) {
      Write("(");
      levels_.push_back({")", {}, levels_.back().conditions});
    } else if (IsSign(token, ')') && levels_.size() > 1) {
      EndSelect();
      Write(levels_.back().close);
      levels_.pop_back();
    } else if (IsSign(token, '?')) {
      Write(MarkerText(markers_++, dialect_, parameters_));
    } else {
      if (IsSign(token, ';')) {
        EndSelect();
        isOrderTold_ = true;
      }
      if (IsSign(token, ',')) WriteNullOrder();
      Write(token.text);
    }
    previous_ = token;
  }

  // The index behind `clng(` or `CONVERT(int,`; `i` when neither stands there.
  size_t IntegerCallEnd(size_t i) const {
    const bool clng = IsWord(tokens_[i], "clng");
    if (!clng && !IsWord(tokens_[i], "convert")) return i;
    size_t next = SkipBlanks(tokens_, i + 1);
    if (!IsSignAt(tokens_, next, '(')) return i;
    if (clng) return next + 1;
    next = SkipBlanks(tokens_, next + 1);
    if (!IsWordAt(tokens_, next, "int")) return i;
    next = SkipBlanks(tokens_, next + 1);
    return IsSignAt(tokens_, next, ',') ? next + 1 : i;
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
  void NoteClause(const Token& token) {
    if (token.kind != Token::Kind::kWord) return;
    Level& level = levels_.back();
    if (IsWord(token, "order")) level.ordering = dialect_.nullsNeedPlacing;
    if (IsWord(token, "where") || IsWord(token, "on")) level.conditions = true;
    if (IsWord(token, "where")) level.hasWhere = true;
    NoteOrder(token);
    for (std::string_view word : {"select", "set", "values", "order", "group"}) {
      if (IsWord(token, word)) level.conditions = false;
    }
  }

  // Behind these words an order has no place, or there is one.
  void NoteOrder(const Token& token) {
    if (levels_.size() > 1) return;
    for (std::string_view word : {"order", "limit", "offset", "fetch", "for", "window"}) {
      if (IsWord(token, word)) isOrderTold_ = true;
    }
  }

  // Writes the comparison of texts that begins at `i` and returns the index behind it; `i` when
  // there is none that needs care.
  size_t ComparisonEnd(size_t i) {
    if (!levels_.back().conditions || IsOperator(previous_)) return i;
    if (tokens_[i].kind == Token::Kind::kBlank) return i;
    const auto comparison = ReadComparison(tokens_, i, markerKinds_, markers_);
    if (!comparison) return i;
    const auto written = WrittenComparison(*comparison, dialect_, exactColumns_, parameters_);
    if (!written) return i;
    Write(*written);
    markers_ += comparison->markers;
    previous_ = tokens_[comparison->end - 1];
    return comparison->end;
  }

  static bool IsOperator(const Token& token) {
    return token.kind == Token::Kind::kSign &&
           std::string_view("+-*/%|&.").find(token.text.front()) != std::string_view::npos;
  }

  // Everywhere else a NULL sorts as the smallest value.
  void WriteNullOrder() {
    Level& level = levels_.back();
    if (!level.ordering) return;
    Write(IsWord(previous_, "desc") ? " nulls last" : " nulls first");
  }

  void EndSelect() {
    WriteNullOrderAtEnd();
    WriteLimit();
  }

  void WriteNullOrderAtEnd() {
    if (!levels_.back().ordering) return;
    const std::string blanks = out_.substr(contentEnd_);
    out_.resize(contentEnd_);
    WriteNullOrder();
    out_ += blanks;
    levels_.back().ordering = false;
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
  bool isOrderTold_ = false;
  std::vector<size_t> parameters_;
};

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

std::string IndexedText(std::string_view expression, const SqlDialect& dialect) {
  return "substr(" + FoldedText(expression, dialect) + ",1," + std::to_string(kIndexedCharacters) +
         ")";
}

std::string TranslatedSql::WithColumns(std::string_view columns, std::string_view order) const {
  std::string longer = text;
  if (!order.empty() && orderPlace) {
    // As an expression it does not tempt the engine to walk the whole table in that order.
    const std::string_view expression = hasCondition ? "+0" : "";
    longer.insert(*orderPlace, " order by " + std::string(order) + std::string(expression));
  }
  return longer.insert(*columnsEnd, "," + std::string(columns) + " ");
}

}  // namespace vnq
