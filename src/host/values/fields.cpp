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

void Fields::Take(std::string_view text, std::string_view separator) {
  text_ = text;
  if (text.empty()) return;
  size_t start = 0;
  const auto add = [&](size_t end) {
    elements_.push_back({static_cast<uint32_t>(start), static_cast<uint32_t>(end - start)});
  };
  for (size_t end; (end = text.find(separator, start)) != text.npos; start = end + separator.size())
    add(end);
  add(text.size());
}

std::string_view Fields::At(size_t field) const {
  const Element& element = elements_[field];
  return std::string_view(text_).substr(element.begin, element.length);
}

Fields Fields::Split(std::string_view record, std::string_view separator) {
  Fields fields;
  fields.Take(record, separator);
  return fields;
}

Fields Fields::Of(const Expr& value, std::string_view separator) {
  Fields fields;
  if (!Skips("Split", value)) fields.Take(value.text(), separator);
  return fields;
}

Expr Fields::operator[](size_t field) const {
  if (field >= elements_.size()) return Expr::Failed();
  return Expr(At(field));
}

bool Fields::Set(size_t field, const Expr& value) {
  if (Skips("set field", value)) return false;
  if (field >= elements_.size()) {
    NoteSkipped("set field", "beyond the end of the record");
    return false;
  }
  Element& element = elements_[field];
  const std::string& text = value.text();
  if (text.size() > element.length) {
    element.begin = static_cast<uint32_t>(text_.size());
    text_.append(text);
  } else {
    text_.replace(element.begin, text.size(), text);
  }
  element.length = static_cast<uint32_t>(text.size());
  return true;
}

void Fields::Resize(size_t count) {
  elements_.resize(count);
}

}  // namespace vnq
