// A web visitor's slot: first the upgrade, then frames.
#include "support/base64_text.h"
#include "webgate/visitor_upgrade.h"
#include "webgate/webgate.h"
#include "webgate/websocket_frame.h"

namespace vnq {
namespace {

// The stage between the upgrade and the visitor's registration, told by the slot's tag.
constexpr std::string_view kUpgradedTag = "true";

void TryUpgrade(Host& host, SlotIndex slot, const std::string& bytes) {
  const std::string response =
      UpgradeResponse(host.page, host.WebSocketResponseTemplate, host.page.FromBytes(bytes));
  if (response.empty()) return;
  host.SckServer6001.Send(slot, host.page.ToBytes(response));
  host.SckServer6001.SetTag(slot, kUpgradedTag);
}

}  // namespace

std::optional<std::string> ReadVisitorText(Host& host, SlotIndex slot, const std::string& bytes) {
  if (host.SckServer6001.Tag(slot).empty()) {
    TryUpgrade(host, slot, bytes);
    return std::nullopt;
  }
  if (!IsTextFrame(bytes)) return std::nullopt;
  // The payload is read as text before it is decoded, so bytes that the code page does not know are
  // one '?' each.
  const std::string wire = host.page.ToBytes(host.page.FromBytes(DecodeFrame(bytes)));
  return Base64DecodeText(host.page, wire);
}

}  // namespace vnq
