#include "tools/decode/record_forms.h"

#include <charconv>
#include <cstdlib>

namespace vnq {
namespace {

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    parts.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

// "6004 < .+new_online|UserID|NetworkIP|LocalIP|#"
RecordForm Read(std::string_view line) {
  RecordForm form;
  std::from_chars(line.data(), line.data() + 4, form.port);
  form.from = line[5] == '>' ? Side::kClient : Side::kServer;
  form.names = Split(line.substr(7), '|');
  form.word = form.names.front();
  form.names.erase(form.names.begin());
  return form;
}

size_t Distance(size_t a, size_t b) {
  return a > b ? a - b : b - a;
}

}  // namespace

const std::vector<RecordForm>& RecordForms() {
  static const std::vector<RecordForm> forms = [] {
    std::vector<RecordForm> read;
    for (const std::string_view line : Split(ShippedRecordForms("records"), '\n')) {
      if (!line.empty() && !line.starts_with(';')) read.push_back(Read(line));
    }
    return read;
  }();
  return forms;
}

const RecordForm* FindRecordForm(uint16_t port, Side from, std::string_view word, size_t fields) {
  const RecordForm* best = nullptr;
  for (const RecordForm& form : RecordForms()) {
    if (form.port != port || form.from != from || form.word != word) continue;
    const bool isNearer = best == nullptr || Distance(form.names.size(), fields) <
                                                 Distance(best->names.size(), fields);
    if (isNearer) best = &form;
  }
  return best;
}

}  // namespace vnq
