#include "relations/telling.h"

#include "host/slots/wire_codec.h"
#include "host/values/skipped.h"

namespace vnq {

void TellTag(Host& host, const Expr& tag, const Expr& record) {
  if (!tag.ok()) {
    NoteSkipped("send to a tag", "failed value");
    return;
  }
  YieldAndSend(host, host.SckServer.FirstConnected(tag.text()), record);
}

void TellUser(Host& host, const Expr& userId, const Expr& record) {
  TellTag(host, userId, record);
  TellTag(host, Join(userId, "m"), record);
}

Expr NewGroupMembershipsRecord(const Expr& actor, const Expr& group, const Expr& list) {
  return Join(".+new_group_memberships|", actor, "|", group, "|", list, "|#");
}

}  // namespace vnq
