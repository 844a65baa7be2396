#include "tools/users/csv.h"

#include <algorithm>

namespace vnq {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

class Reader {
 public:
  Reader(std::string_view text, char separator) : text_(text), separator_(separator) {
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  }

  std::vector<CsvRecord> ReadAll() {
    std::vector<CsvRecord> records;
    while (at_ < text_.size()) {
      if (TakeLineEnd()) continue;
      records.push_back(ReadRecord());
    }
    return records;
  }

 private:
  CsvRecord ReadRecord() {
    CsvRecord record;
    record.line = line_;
    const size_t start = at_;
    do {
      record.cells.push_back(Take('"') ? QuotedCell(record.error) : PlainCell());
    } while (record.error.empty() && Take(separator_));
    if (!record.error.empty()) {
      at_ = start;
      line_ = record.line;
      at_ = std::min(text_.find('\n', at_), text_.size());
    }
    TakeLineEnd();
    return record;
  }

  std::string PlainCell() {
    const size_t start = at_;
    const char ends[] = {separator_, '\n'};
    at_ = std::min(text_.find_first_of({ends, sizeof ends}, at_), text_.size());
    std::string cell(text_.substr(start, at_ - start));
    if (AtLineEnd() && cell.ends_with('\r')) cell.pop_back();
    return cell;
  }

  std::string QuotedCell(std::string& error) {
    std::string cell;
    for (;; ++at_) {
      if (at_ == text_.size()) {
        error = "a quote is not closed";
        return cell;
      }
      if (text_[at_] == '\n') ++line_;
      if (text_[at_] == '"' && !text_.substr(at_ + 1).starts_with('"')) break;
      cell += text_[at_];
      if (text_[at_] == '"') ++at_;
    }
    ++at_;
    if (!AtLineEnd() && text_[at_] != separator_) error = "text behind a closing quote";
    return cell;
  }

  bool AtLineEnd() const {
    const std::string_view rest = text_.substr(at_);
    return rest.empty() || rest.front() == '\n' || rest.starts_with("\r\n");
  }

  bool TakeLineEnd() {
    const std::string_view rest = text_.substr(at_);
    const size_t length = rest.starts_with('\n') ? 1 : rest.starts_with("\r\n") ? 2 : 0;
    at_ += length;
    if (length > 0) ++line_;
    return length > 0;
  }

  bool Take(char wanted) {
    if (at_ == text_.size() || text_[at_] != wanted) return false;
    ++at_;
    return true;
  }

  std::string_view text_;
  const char separator_;
  size_t at_ = 0;
  size_t line_ = 1;
};

}  // namespace

std::vector<CsvRecord> ReadCsv(std::string_view text, char separator) {
  return Reader(text, separator).ReadAll();
}

}  // namespace vnq
