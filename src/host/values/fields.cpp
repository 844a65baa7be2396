#include "host/values/fields.h"

#include "host/values/skipped.h"

namespace vnq {

std::vector<std::string> SplitText(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (text.empty()) return pieces;
  size_t start = 0;
  for (size_t end; (end = text.find(separator, start)) != std::string_view::npos;
       start = end + separator.size()) {
    pieces.emplace_back(text.substr(start, end - start));
  }
  pieces.emplace_back(text.substr(start));
  return pieces;
}

std::vector<std::string> SplitField(const Expr& value, std::string_view separator) {
  if (Skips("Split", value)) return {};
  return SplitText(value.text(), separator);
}

Fields Fields::Split(std::string_view record, std::string_view separator) {
  Fields fields;
  fields.elements_ = SplitText(record, separator);
  return fields;
}

Fields Fields::Of(const Expr& value, std::string_view separator) {
  Fields fields;
  fields.elements_ = SplitField(value, separator);
  return fields;
}

Expr Fields::operator[](size_t field) const {
  if (field >= elements_.size()) return Expr::Failed();
  return Expr(elements_[field]);
}

bool Fields::Set(size_t field, const Expr& value) {
  if (Skips("set field", value)) return false;
  if (field >= elements_.size()) {
    NoteSkipped("set field", "beyond the end of the record");
    return false;
  }
  elements_[field] = value.text();
  return true;
}

}  // namespace vnq
