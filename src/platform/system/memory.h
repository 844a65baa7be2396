// The memory of this process as the system sees it.
#pragma once

namespace vnq {

/// Holds a few megabytes back for when memory cannot be had: then they are given up,
/// so that what must go on has its few bytes, and what asks for much fails. They are taken again as
/// soon as they can be had, when this is called again.
void HoldMemoryInReserve();

/// Hands memory back to the system that was used for a while and is free within the process, where
/// it is much. To be called from time to time.
void GiveBackFreeMemory();

}  // namespace vnq
