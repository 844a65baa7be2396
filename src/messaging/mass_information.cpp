// One text for many: each receiver gets a message of its own.
#include "messaging/internal_message.h"
#include "messaging/messaging.h"

namespace vnq {
namespace {
constexpr int32_t kToPersons = 1;
}  // namespace

void HandleMassInformation(Host& host, Fields& fields, SlotIndex slot,
                           const std::string& remoteIp) {
  const std::vector<std::string> list = SplitText(fields[1].text(), "*");
  int32_t mode = 0;
  Assign(mode, ToInt32(fields[4]));
  for (const std::string& receiver : list) {
    if (receiver.empty()) continue;
    fields.Set(1, receiver);
    CompleteMessage(host, fields);
    if (mode == kToPersons) {
      UserMesseng(host, fields, slot, remoteIp);
    } else {
      ClotMesseng(host, fields, slot);
    }
    host.loop.Yield();  // a long list must not hold the others up
  }
}

}  // namespace vnq
