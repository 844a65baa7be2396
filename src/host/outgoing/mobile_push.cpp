#include "host/outgoing/mobile_push.h"

#include "host/host.h"
#include "host/outgoing/control_tokens.h"
#include "host/slots/devices.h"
#include "host/slots/presence_values.h"
#include "support/utf16.h"

namespace vnq {
namespace {

constexpr size_t kLabelCharacters = 40;

// Who is asked for by name: one person. Everything else is queued without a test.
bool NamesOnePerson(PushKind kind) {
  return kind == PushKind::kPerson || kind == PushKind::kVisitorLine;
}

bool IsPushWanted(Host& host, const Expr& target, const Expr& source,
                  const std::string& senderTag) {
  int16_t userIcoLine = 0;
  std::string registrationId;
  Cursor user(host.database);
  user.Open(Sql("Select UserIcoLine,Registration_Id from Users_ID where UserID='?'", target));
  if (!user.EndOfRows()) {
    Assign(userIcoLine, ToInt16(user["UserIcoLine"]));
    Assign(registrationId, Join(user["Registration_Id"]));
  }
  // A note to oneself from a desktop is pushed whether or not a phone is registered.
  if (Same(target, source)) return !IsMobileTag(senderTag);
  if (registrationId.empty()) return false;
  const int16_t checkIM1 = host.settings.CheckIM1;
  return checkIM1 == 1 || (checkIM1 == 0 && userIcoLine != kPresenceOnline);
}

}  // namespace

void QueueMobilePush(Host& host, const Expr& target, const Expr& extra, const Expr& source,
                     PushKind kind, const Expr& text, const std::string& senderTag) {
  if (Skips("QueueMobilePush", target, extra, source, text)) return;
  if (host.settings.pushIntervalMs <= 0) return;  // nothing would ever empty the queue
  const ControlToken* token = FindControlToken(text.text());
  const std::string label = token != nullptr ? host.ReadLang(token->labelKey) : text.text();
  if (NamesOnePerson(kind) && !IsPushWanted(host, target, source, senderTag)) return;
  host.PushQueue.Add(Join(target, "|", extra, "|", source, "|", static_cast<int>(kind), "|",
                          FirstCharacters(label, kLabelCharacters))
                         .text());
}

void SendQueuedPush(Host& host) {
  std::string text;
  for (const std::string& line : host.PushQueue.lines()) {
    if (!line.empty()) text += "p|" + line;
  }
  if (text.empty()) return;
  host.outgoing.SendPush(
      host.PushUrl, text,
      [&queue = host.PushQueue, count = host.PushQueue.lines().size()](
          const HttpResponse& response) { queue.NoteResult(count, response.ok, response.status); });
  host.PushQueue.Clear();
}

}  // namespace vnq
