#include "platform/sql/sql_comparison.h"

#include <algorithm>

namespace vnq {
namespace {

class ComparisonReader {
 public:
  ComparisonReader(const Tokens& tokens, size_t index, std::span<const SqlMarker> markers,
                   size_t markersBefore)
      : tokens_(tokens), at_(index), markers_(markers), marker_(markersBefore) {}

  std::optional<SqlComparison> Read() {
    SqlComparison read;
    if (!TakeOperand(read.left)) return std::nullopt;
    if (!TakeSign(read.sign)) return std::nullopt;
    const bool complete = read.sign == " in " ? TakeList(read.right) : TakeRight(read.right);
    if (!complete || !ComparesTexts(read)) return std::nullopt;
    read.end = end_;
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
  size_t marker_;
};

}  // namespace

bool SqlComparison::WithText() const {
  if (left.kind != SqlOperand::Kind::kColumn) return true;
  return std::any_of(right.begin(), right.end(), [](const SqlOperand& operand) {
    return operand.kind != SqlOperand::Kind::kColumn;
  });
}

std::optional<SqlComparison> ReadComparison(const Tokens& tokens, size_t index,
                                            std::span<const SqlMarker> markers,
                                            size_t markersBefore) {
  return ComparisonReader(tokens, index, markers, markersBefore).Read();
}

}  // namespace vnq
