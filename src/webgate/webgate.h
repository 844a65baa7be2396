// The web visitor room: the one-way road of visitor text to agents.
//
//   browser ── upgrade, then WebSocket frames ──> visitor port ── records ──> agents, main port
//
// Nothing but the answer to the upgrade ever goes to a visitor. The same two records also come on
// the main port. A frame's text is Base64 like a main-port read; the closing '#' ends a line of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// Whom a visitor's line is for.
enum class VisitorLineKind : int16_t { kToAgent = 3, kToGroup = 6 };

/// The text of one arrival on a visitor's slot, which is exactly one frame. Nothing while the slot
/// has no tag, where the arrival is taken for the upgrade request and answered, and for what is
/// neither. Yields: no.
std::optional<std::string> ReadVisitorText(Host& host, SlotIndex slot, const std::string& bytes);

/// .+customer|agents, comma-separated|visitor|city|passed on|passed on   on the visitor port:
/// writes the visitor down, drops the visitor's earlier connection, names the slot after
/// the visitor and tells the agents. Yields: yes. Database: Kefu, ServerLog.
void HandleVisitorCustomer(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// Carries a visitor's line to one agent, or to the agents of a customer group.
///
/// fields    .+customer_information|target|visitor|city|text|closing
/// slot      number of the slot that the record came on, on whichever port; the main-port slot of
///           that number gives the tag for the push.
/// kind      of another number: only the log line is written.
/// Yields: yes, at each slot of a walk. Database: lv_chater_Clot_Form, Users_ID, ServerLog.
void CustomerMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp,
                     VisitorLineKind kind);

/// What an agent sees of a visitor:
/// .+customer_information|visitor|city|date|time|text|closing
/// closing  as the visitor's own record or the stored row ends it.
Expr VisitorLineRecord(const Expr& visitor, const Expr& city, const Expr& date, const Expr& time,
                       const Expr& text, const Expr& closing);

/// .+customer on the main port: what it is on the visitor port, but for the slot that takes the
/// visitor's name, which is the main port's. Yields: yes. Database: Kefu, ServerLog.
void HandleCustomer(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+customer_information|agent|visitor|city|text|passed on   on both ports.
void HandleCustomerInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp);

}  // namespace vnq
