// The commands of this room, as the command table calls them.
#pragma once

#include <string>

#include "host/fields.h"
#include "host/host.h"

namespace vnq {

/// .+landing|UserName|password|NetworkIP or platform|Mac or push identifier|manufacturer|version|#
/// Yields: yes. Database: Users_ID, Clot_Silence, Users_Role, Role, ServerLog.
void HandleLanding(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+phone_log|UserID|#   Yields: yes. Database: Users_ID.
void HandlePhoneLog(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+successful_online|UserID|state|#   Yields: yes. Database: Users_ID, ServerLog.
void HandleSuccessfulOnline(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp);

/// .+on_line|UserID|#, .+go_away|UserID|#, .+stealth|UserID|#   Yields: yes. Database: Users_ID,
/// ServerLog.
void HandleOnLine(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void HandleGoAway(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void HandleStealth(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+offline|UserID|#   Ends with the connection closed. Yields: yes. Database: Users_ID,
/// ServerLog.
void HandleOffline(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+y|#   Answered by the same record. Yields: yes.
void HandleKeepAlive(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

}  // namespace vnq
