#include "host/slots/devices.h"
#include "host/slots/presence_values.h"
#include "host/values/control_tokens.h"
#include "host/values/skipped.h"
#include "messaging/messaging.h"
#include "support/utf16.h"

namespace vnq {
namespace {

constexpr size_t kLabelCharacters = 40;

// Who is asked for by name: one person. Everything else is queued without a test.
bool NamesOnePerson(int16_t kind) {
  return kind == 1 || kind == 3;
}

bool IsPushWanted(Host& host, const Expr& target, const Expr& source,
                  const std::string& senderTag) {
  int16_t userIcoLine = 0;
  std::string registrationId;
  Cursor user(host.database);
  user.Open(Sql("Select * from Users_ID where UserID='?'", target));
  if (!user.EndOfRows()) {
    Assign(userIcoLine, ToInt16(user["UserIcoLine"]));
    Assign(registrationId, Join(user["Registration_Id"]));
  }
  // A note to oneself from a desktop is pushed whether or not a phone is registered.
  if (Is(target, source.text())) return !IsMobileTag(senderTag);
  if (registrationId.empty()) return false;
  const int16_t checkIM1 = host.settings.CheckIM1;
  return checkIM1 == 1 || (checkIM1 == 0 && userIcoLine != kPresenceOnline);
}

}  // namespace

void QueueMobilePush(Host& host, const Expr& target, const Expr& extra, const Expr& source,
                     int16_t kind, const Expr& text, const std::string& senderTag) {
  if (!target.ok() || !extra.ok() || !source.ok() || !text.ok()) {
    NoteSkipped("QueueMobilePush", "failed value");
    return;
  }
  const ControlToken* token = FindControlToken(text.text());
  const std::string label = token != nullptr ? host.ReadLang(token->labelKey) : text.text();
  if (NamesOnePerson(kind) && !IsPushWanted(host, target, source, senderTag)) return;
  host.PushQueue.Add(Join(target, "|", extra, "|", source, "|", kind, "|",
                          FirstCharacters(label, kLabelCharacters))
                         .text());
}

void SendQueuedPush(Host& host) {
  std::string text;
  for (const std::string& line : host.PushQueue.lines()) {
    if (!line.empty()) text += "p|" + line;
  }
  if (text.empty()) return;
  host.outgoing.SendPush(host.PushUrl, text);
  host.PushQueue.Clear();
}

}  // namespace vnq
