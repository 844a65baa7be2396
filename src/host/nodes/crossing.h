// What crosses from one node to another: orders, which a node carries out over its own slots.
//
//   order          words behind it              what the node does
//   tell           tag|text                     TellTag
//   everybody      text                         TellEverybody
//   others         text|1 unless crowded        tells of a presence, as to all others
//   nonmembers     text|UserID...               tells of a new group those who are not in it
//   leave          tag|kind|id                  LeaveMesseng, which reads the row
//   verifications  tag                          hands over the parked rows of MessengVerify_Type
//   greet          to|from                      greets a new friend from the user's desktop
//   plain          array|tag|text               sends plain text to an endpoint, or the console
//   end            array|tag|text|node...       ends what is under the tag for a log-in elsewhere,
//                                               of which text tells; * for a node: whoever has it
//   goodbye        UserID|text                  EndSession of both devices
//
// An order is never handed on. One that finds nobody does nothing, as if nobody had been connected:
// what is stored stays. Where this server is alone no function here does anything.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "host/nodes/directory.h"
#include "host/values/expr.h"

namespace vnq {

struct Host;

namespace order {
inline constexpr std::string_view kTell = "tell";
inline constexpr std::string_view kEverybody = "everybody";
inline constexpr std::string_view kOthers = "others";
inline constexpr std::string_view kNonMembers = "nonmembers";
inline constexpr std::string_view kLeave = "leave";
inline constexpr std::string_view kVerifications = "verifications";
inline constexpr std::string_view kGreet = "greet";
inline constexpr std::string_view kPlain = "plain";
inline constexpr std::string_view kEnd = "end";
inline constexpr std::string_view kGoodbye = "goodbye";
}  // namespace order

/// For a node that is meant to have a tag, whoever told it so.
inline constexpr std::string_view kWhoeverHasIt = "*";

/// Whether another node has a connected slot with the tag; a failed tag is nobody's.
bool HoldsElsewhere(const Host& host, NodeArray array, const Expr& tag);

/// Sends an order to the first node that has a connected slot with the tag. False, with nothing
/// done, when there is none. A failed word: skipped, and true. Yields: no.
bool AskElsewhere(Host& host, NodeArray array, const Expr& tag, std::string_view order,
                  std::initializer_list<Expr> words);

/// Sends an order to all other nodes. A failed word: skipped. Yields: no.
void AskEverywhere(Host& host, std::string_view order, std::initializer_list<Expr> words);
void AskEverywhere(Host& host, std::string_view order, const Expr& text,
                   std::span<const std::string> words);

/// Has the other nodes end what they have under a tag, since its owner has logged in here. text:
/// what is told before, empty for nothing. Yields: no.
void DisplaceElsewhere(Host& host, NodeArray array, const Expr& tag, const Expr& text);

/// Ends what the node that holds the tag has under it. False when there is none. Yields: no.
bool EndElsewhere(Host& host, NodeArray array, const Expr& tag, const Expr& text);

/// The array as a word of an order.
std::string ArrayWord(NodeArray array);

/// TellTag of another node. False when there is none. Yields: no.
bool TellElsewhere(Host& host, const Expr& tag, const Expr& text);

/// LeaveMesseng of another node. Does nothing when there is none. Yields: no.
void LeaveElsewhere(Host& host, const Expr& tag, int16_t kind, const Expr& id);

}  // namespace vnq
