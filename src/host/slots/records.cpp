#include "host/slots/records.h"

namespace vnq {

void ForEachRecord(const std::string& text,
                   const std::function<void(const std::string&)>& onRecord) {
  size_t begin = text.find(kRecordPrefix);
  if (begin != 0 && !text.empty()) onRecord(text);
  while (begin != std::string::npos) {
    const size_t piece = begin + kRecordPrefix.size();
    const size_t end = text.find(kRecordPrefix, piece);
    const size_t length = (end == std::string::npos ? text.size() : end) - begin;
    if (length > kRecordPrefix.size()) onRecord(text.substr(begin, length));
    begin = end;
  }
}

}  // namespace vnq
