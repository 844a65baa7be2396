// The web visitor room: the one-way road of visitor text to agents.
#pragma once

#include <cstdint>
#include <string>

#include "host/fields.h"
#include "host/host.h"

namespace vnq {

/// Whom a visitor's line is for, by the numbers that pushes carry.
enum VisitorLineKind : int16_t { kLineToAgent = 3, kLineToGroup = 6 };

/// Carries a visitor's line to one agent, or to the agents of a customer group.
///
/// fields    .+customer_information|target|visitor|city|text|closing
/// slot      number of the slot that the record came on, on whichever port; the main-port slot of
/// that number gives
///           the tag for the push.
/// kind      a VisitorLineKind; any other writes the log line only.
/// Yields: yes, at each slot of a walk. Database: lv_chater_Clot_Form, Users_ID, ServerLog.
void CustomerMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp,
                     int16_t kind);

/// .+customer_information on the main port.
void HandleCustomerInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp);

}  // namespace vnq
