// A handler that waits for a time while everything else goes on.
#pragma once

#include <cstdint>

#include "platform/net/event_loop.h"

namespace vnq {

/// Parks the running handler for so long. Only in a handler. Yields: yes.
void WaitInHandler(EventLoop& loop, int64_t ms);

}  // namespace vnq
