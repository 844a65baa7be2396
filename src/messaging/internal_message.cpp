#include "messaging/internal_message.h"

#include "support/ids.h"

namespace vnq {

void CompleteMessage(Host& host, Fields& fields) {
  fields.Set(4, host.DefaultFontInfo);
  fields.Set(5, NewGuidString());
  fields.Resize(8);
  fields.Set(6, "1");
  fields.Set(7, "#");
}

}  // namespace vnq
