// The mobile push: who gets one, and what it says.
#pragma once

#include <string>

#include "host/values/expr.h"

namespace vnq {

struct Host;

/// What a push is about, by the numbers that the push server knows.
enum class PushKind : int {
  kPerson = 1,       ///< something from one person: a message, a call, a nudge
  kGroup = 2,        ///< a message in a group
  kVisitorLine = 3,  ///< a web visitor's line for one agent
  kNotice = 4,
  kVisitorGroupLine = 6,  ///< a web visitor's line for a group of agents
};

/// Queues a mobile notification in PushQueue, as target|extra|source|kind|label; where the timer
/// that sends them is off, nothing is queued.
///
/// target      one person for kPerson and kVisitorLine: queued only where that user's row and
///             CheckIM1 want it, or for a note to oneself from a desktop. The other kinds are
///             queued without a test.
/// text        what the notification shows, cut to 40 16-bit characters; a control token shows as
///             its label.
/// senderTag   tag of the slot whose record caused it.
/// Yields: no. Database: Users_ID.
void QueueMobilePush(Host& host, const Expr& target, const Expr& extra, const Expr& source,
                     PushKind kind, const Expr& text, const std::string& senderTag);

/// Sends the queued notifications in one HTTP GET, and empties the queue. Yields: no.
void SendQueuedPush(Host& host);

}  // namespace vnq
