// The records of web visitors. Private to the room.
#pragma once

#include <string>

#include "host/host.h"

namespace vnq {

/// Runs the records of one decoded frame: `.+customer` and `.+customer_information`; of the latter
/// one without its '#' waits for the frames that bring the rest. Anything else is dropped. Yields:
/// yes.
void OnVisitorText(Host& host, SlotIndex slot, const std::string& text,
                   const std::string& remoteIp);

}  // namespace vnq
