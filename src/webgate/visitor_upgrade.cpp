#include "webgate/visitor_upgrade.h"

#include "support/base64_text.h"
#include "support/replace_all.h"
#include "support/sha1.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr std::string_view kAcceptGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
constexpr std::string_view kLineEnd = "\r\n";

// Kept: found wherever it stands first, inside the name of another header too, and only in this
// letter case.
std::string HeaderValue(std::string_view request, std::string_view nameAndColon) {
  size_t fromTheHead = 0;
  return std::string(TrimBlanks(FindBetween(request, nameAndColon, kLineEnd, fromTheHead), " "));
}

}  // namespace

std::string FindBetween(std::string_view text, std::string_view startMarker,
                        std::string_view endMarker, size_t& position) {
  const size_t start = text.find(startMarker, position);
  if (start == std::string_view::npos) return "";
  const size_t end = text.find(endMarker, start + 1);
  if (end == std::string_view::npos) return "";
  position = end + endMarker.size();
  const size_t valueStart = start + startMarker.size();
  return end < valueStart ? "" : std::string(text.substr(valueStart, end - valueStart));
}

std::string WebSocketAccept(const AnsiText& page, std::string_view key) {
  return Base64EncodeBytes(Sha1Bytes(page.ToBytes(std::string(key).append(kAcceptGuid))));
}

std::string UpgradeResponse(const AnsiText& page, std::string_view responseTemplate,
                            std::string_view request) {
  const std::string key = HeaderValue(request, "Sec-WebSocket-Key:");
  if (key.empty()) return "";
  std::string response(responseTemplate);
  ReplaceAll(response, "[KEY]", WebSocketAccept(page, key));
  ReplaceAll(response, "[ORGN]", HeaderValue(request, "Origin:"));
  ReplaceAll(response, "[HOST]", HeaderValue(request, "Host:"));
  return response;
}

}  // namespace vnq
