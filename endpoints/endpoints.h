// The endpoints room: the screen relay, the control channel and the managed endpoints.
#pragma once

#include <string>

#include "host/host.h"

namespace vnq {

/// One read of a screen-relay slot: decoded and split like a main-port read, and then nothing. No
/// command has an effect here; the port only stays open. Yields: no.
void OnScreenPortData(Host& host, SlotIndex slot, const std::string& bytes);

}  // namespace vnq
