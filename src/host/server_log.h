// The activity log and the error log: two tables with a ceiling, emptied whole when they pass 2,000
// rows.
#pragma once

#include "host/values/expr.h"

namespace vnq {

struct Host;

/// What a row of ServerLog is about, by the icon number that the console shows.
enum class LogIcon : int {
  kCommand = 1,
  kAway = 2,
  kInvisible = 3,
  kBackOnline = 4,
  kWebVisitor = 5,
  kGroupMessage = 6,
  kOfflineRequest = 7,
  kOffline = 10,
  kVerification = 12,
  kDiskRemoved = 13,
  kDiskInserted = 14,
  kConnectionLost = 16,
  kDelivery = 20,
  kApplication = 24,
  kFiles = 27,
};

/// Adds a row to ServerLog. The text stands as it is given; no time goes into the row. A failed
/// argument: the whole call is skipped. Yields: no. Database: ServerLog, on Adodc1.
void WriteServerLog(Host& host, const Expr& text, const Expr& userId, const Expr& ip, LogIcon icon);

/// Adds a row to ServerErrLog, stamped with the present time. Yields: no.
void ErrLog(Host& host, const Expr& err1, const Expr& err2);

}  // namespace vnq
