// A phone that is already known takes its user over.
#include "host/slots/wire_codec.h"
#include "sessions/presence.h"
#include "sessions/sessions.h"

namespace vnq {

void HandlePhoneLog(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::string userId;
  int16_t oldState = kPresenceOffline;
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='?'", fields[1]));
  if (Adodc1.RecordCount() >= 1) {
    Assign(oldState, ToInt16(Adodc1["UserIcoLine"]));
    Assign(userId, Adodc1["UserID"]);
    Adodc1.Set("UserIcoLine", kPresenceOnPhone);
    Adodc1.Set("LoginTime", host.clock.Now().DateAndTime());
    Adodc1.Update();
    host.loop.Yield();
  }
  Adodc1.Close();

  // Kept: for an unknown user `userId` is empty, and every slot without a name loses its connection
  // here.
  SlotArray& slots = host.SckServer;
  const int highest = slots.Highest();
  for (int index = 1; index <= highest; ++index) {
    const auto i = static_cast<SlotIndex>(index);
    if (slots.Tag(i) == userId) {
      host.loop.Yield();
      if (oldState != kPresenceOnPhone && slots.IsConnected(i)) {
        SendRecord(host, i, Join(".+busy_force|", host.ReadLang("im54"), "|#"));
      }
      slots.SetTag(i, "");
      slots.Close(i);
    }
    host.loop.Yield();
    if (oldState != kPresenceOnPhone && i != slot && slots.IsConnected(i)) {
      SendRecord(host, i, PhoneLineRecord(userId));
    }
  }
  slots.SetTag(slot, userId);
}

}  // namespace vnq
