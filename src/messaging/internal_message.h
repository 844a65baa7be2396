// Messages that the server makes for somebody else: a mass message, a line of an outside
// application.
#pragma once

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// Fills what a message has and its command does not bring: the font, a Msg_ID of its own and the
/// type of a chat text, in fields 4 to 7. The array has eight elements afterwards.
///
/// Kept: fields 4 and 5 are set before the array grows, so in a shorter record they are skipped the
/// first time.
void CompleteMessage(Host& host, Fields& fields);

}  // namespace vnq
