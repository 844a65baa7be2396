#include "platform/sql/sql_comparison.h"

#include <algorithm>

#include "support/ascii_case.h"

namespace vnq {
namespace {

class ComparisonReader {
 public:
  ComparisonReader(const Tokens& tokens, size_t index, std::span<const SqlMarker> markers,
                   size_t markersBefore)
      : tokens_(tokens),
        at_(index),
        markers_(markers),
        markersBefore_(markersBefore),
        marker_(markersBefore) {}

  std::optional<SqlComparison> Read() {
    SqlComparison read;
    if (!TakeOperand(read.left)) return std::nullopt;
    if (!TakeSign(read.sign)) return std::nullopt;
    const bool complete = read.sign == " in " ? TakeList(read.right) : TakeRight(read.right);
    if (!complete || !ComparesTexts(read)) return std::nullopt;
    read.end = end_;
    read.markers = marker_ - markersBefore_;
    return read;
  }

 private:
  static bool ComparesTexts(const SqlComparison& read) {
    const bool column = read.left.kind == SqlOperand::Kind::kColumn;
    return column || read.right.front().kind == SqlOperand::Kind::kColumn;
  }

  bool TakeRight(std::vector<SqlOperand>& right) {
    right.emplace_back();
    return TakeOperand(right.back()) && !IsContinued();
  }

  bool TakeList(std::vector<SqlOperand>& list) {
    if (!TakeSignAt('(')) return false;
    do {
      list.emplace_back();
      if (!TakeOperand(list.back())) return false;
    } while (TakeSignAt(','));
    return TakeSignAt(')');
  }

  bool TakeSign(std::string& sign) {
    at_ = SkipBlanks(tokens_, at_);
    if (IsWordAt(tokens_, at_, "in")) {
      ++at_;
      sign = " in ";
      return true;
    }
    if (IsSignAt(tokens_, at_, '<') && IsSignAt(tokens_, at_ + 1, '>')) {
      at_ += 2;
      sign = "<>";
      return true;
    }
    sign = "=";
    return TakeSignAt('=');
  }

  bool TakeSignAt(char sign) {
    at_ = SkipBlanks(tokens_, at_);
    if (!IsSignAt(tokens_, at_, sign)) return false;
    end_ = ++at_;
    return true;
  }

  bool TakeOperand(SqlOperand& operand) {
    at_ = SkipBlanks(tokens_, at_);
    if (at_ >= tokens_.size()) return false;
    const bool taken = IsSignAt(tokens_, at_, '?')         ? TakeParameter(operand)
                       : tokens_[at_].text.front() == '\'' ? TakeLiteral(operand)
                                                           : TakeColumn(operand);
    end_ = at_;
    return taken;
  }

  bool TakeParameter(SqlOperand& operand) {
    operand.kind = SqlOperand::Kind::kParameter;
    operand.parameter = marker_++;
    ++at_;
    return operand.parameter < markers_.size() && markers_[operand.parameter] == SqlMarker::kText;
  }

  bool TakeLiteral(SqlOperand& operand) {
    operand.kind = SqlOperand::Kind::kLiteral;
    operand.text = tokens_[at_++].text;
    // A doubled quote within the text begins another token.
    return at_ == tokens_.size() || tokens_[at_].kind != Token::Kind::kQuoted;
  }

  bool TakeColumn(SqlOperand& operand) {
    if (!IsName(at_)) return false;
    const bool ofTable = IsSignAt(tokens_, at_ + 1, '.');
    const size_t name = ofTable ? at_ + 2 : at_;
    if (!IsName(name)) return false;
    operand.column = tokens_[name].text;
    for (; at_ <= name; ++at_) operand.text += tokens_[at_].text;
    // What looks like a name may be a function.
    return !IsSignAt(tokens_, SkipBlanks(tokens_, at_), '(');
  }

  bool IsName(size_t index) const {
    return index < tokens_.size() && tokens_[index].kind == Token::Kind::kWord;
  }

  // The operand is the beginning of an expression.
  bool IsContinued() const {
    const size_t next = SkipBlanks(tokens_, at_);
    if (next >= tokens_.size() || tokens_[next].kind != Token::Kind::kSign) return false;
    return std::string_view("+-*/%|&.(").find(tokens_[next].text.front()) != std::string_view::npos;
  }

  const Tokens& tokens_;
  size_t at_;
  size_t end_ = 0;  // behind what was taken last
  std::span<const SqlMarker> markers_;
  size_t markersBefore_;
  size_t marker_;
};

// Not between two columns alone.
bool IsWithText(const SqlComparison& comparison) {
  auto isText = [](const SqlOperand& operand) { return operand.kind != SqlOperand::Kind::kColumn; };
  return isText(comparison.left) ||
         std::any_of(comparison.right.begin(), comparison.right.end(), isText);
}

// Only literals that no folding changes: the column may then be one of numbers, too.
bool HasNoLetters(const SqlComparison& comparison) {
  auto plain = [](const SqlOperand& operand) {
    return operand.kind == SqlOperand::Kind::kColumn ||
           (operand.kind == SqlOperand::Kind::kLiteral &&
            operand.text.find_first_not_of("'0123456789") == std::string::npos);
  };
  return plain(comparison.left) &&
         std::all_of(comparison.right.begin(), comparison.right.end(), plain);
}

bool IsExact(const SqlComparison& comparison, std::span<const std::string> exactColumns) {
  auto exact = [&](const SqlOperand& operand) {
    return operand.kind == SqlOperand::Kind::kColumn &&
           std::any_of(exactColumns.begin(), exactColumns.end(), [&](const std::string& name) {
             return SameButForCase(name, operand.column);
           });
  };
  return exact(comparison.left) || exact(comparison.right.front());
}

// --- Writing ---

enum class Form { kPlain, kFolded, kIndexed, kExact };

std::string Operand(const SqlOperand& operand, Form form, const SqlDialect& dialect,
                    std::vector<size_t>& parameters) {
  const bool marker = operand.kind == SqlOperand::Kind::kParameter;
  const std::string text =
      marker ? MarkerText(operand.parameter, dialect, parameters) : operand.text;
  if (form == Form::kFolded) return FoldedText(text, dialect);
  if (form == Form::kIndexed) return IndexedText(text, dialect);
  return form == Form::kExact ? text + " collate Latin1_General_BIN2+N'.'" : text;
}

std::string Sides(const SqlComparison& comparison, Form form, const SqlDialect& dialect,
                  std::vector<size_t>& parameters) {
  std::string written = Operand(comparison.left, form, dialect, parameters) + comparison.sign;
  const bool list = comparison.sign == " in ";
  if (list) written += "(";
  for (const SqlOperand& operand : comparison.right) {
    if (&operand != &comparison.right.front()) written += ",";
    written += Operand(operand, form, dialect, parameters);
  }
  return list ? written + ")" : written;
}

}  // namespace

std::optional<SqlComparison> ReadComparison(const Tokens& tokens, size_t index,
                                            std::span<const SqlMarker> markers,
                                            size_t markersBefore) {
  return ComparisonReader(tokens, index, markers, markersBefore).Read();
}

std::optional<std::string> WrittenComparison(const SqlComparison& comparison,
                                             const SqlDialect& dialect,
                                             std::span<const std::string> exactColumns,
                                             std::vector<size_t>& parameters) {
  const bool exact = IsExact(comparison, exactColumns);
  auto sides = [&](Form form) { return Sides(comparison, form, dialect, parameters); };
  switch (dialect.textComparison) {
    case SqlDialect::TextComparison::kByColumn:
      return std::nullopt;
    case SqlDialect::TextComparison::kFolded:
      if (exact) return std::nullopt;
      if (!IsWithText(comparison) || comparison.sign == "<>") return sides(Form::kFolded);
      return "(" + sides(Form::kIndexed) + " and " + sides(Form::kFolded) + ")";
    case SqlDialect::TextComparison::kSearchFolded:
      break;
  }
  if (!IsWithText(comparison) || HasNoLetters(comparison)) return std::nullopt;
  std::string written = "(" + sides(Form::kPlain);
  written += comparison.sign == "<>" ? " or " : " and ";
  return written + sides(exact ? Form::kExact : Form::kFolded) + ")";
}

std::string MarkerText(size_t parameter, const SqlDialect& dialect,
                       std::vector<size_t>& parameters) {
  if (dialect.numberedMarkers) return "$" + std::to_string(parameter + 1);
  parameters.push_back(parameter);
  return "?";
}

}  // namespace vnq
