#include "host/slots/records.h"

#include "host/values/fields.h"

namespace vnq {

void ForEachRecord(const std::string& text,
                   const std::function<void(const std::string&)>& onRecord) {
  const std::vector<std::string> pieces = SplitText(text, kRecordPrefix);
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].empty()) continue;
    onRecord(i == 0 ? text : std::string(kRecordPrefix) + pieces[i]);
  }
}

}  // namespace vnq
