#include "endpoints/endpoints.h"
#include "host/slots/records.h"
#include "host/values/fields.h"
#include "support/base64_text.h"

namespace vnq {

void OnScreenPortData(Host& host, SlotIndex, const std::string& bytes) {
  ForEachRecord(Base64DecodeText(host.page, bytes), [](const std::string& record) {
    const Fields fields = Fields::Split(record);  // the command is taken and compared with nothing
  });
}

}  // namespace vnq
