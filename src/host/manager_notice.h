// The notice that tells the managers of a new application or a new group file.
#pragma once

#include <cstdint>

#include "host/values/expr.h"

namespace vnq {

struct Host;

/// What a manager is told of.
enum ManagerNoticeKind : int16_t { kGroupFileNotice = 1, kApplicationNotice = 2 };

/// How long the server's own client waits to be let in, and then for the greeting.
inline constexpr int64_t kManagerNoticeTimeoutMs = 5000;

/// Posts a notice to every manager who may log in, unless CheckIM0 is 0: a client connection of the
/// server's own to its main port, which waits for the greeting, sends
///
///   .+interface_information|userName|manager,manager,|title|content||3|#
///
/// as one text and closes; a ".+" in a name goes out as ". +". The record is formed before the call
/// returns; everything else runs beside the handlers. A connection that is refused, or a greeting
/// that does not come, loses the notice, and nobody is told. Any other kind has neither title nor
/// content. A failed name: the whole call is skipped. Yields: no. Database: Users_ID.
void PushToManagers(Host& host, const Expr& userName, const Expr& displayName, int16_t kind);

}  // namespace vnq
