#include "platform/net/http_address.h"

#include <algorithm>

#include "support/ascii_case.h"

namespace vnq {
namespace {

constexpr std::string_view kScheme = "http://";

// Where path and query begin: behind the host, or at once when there is none.
size_t TargetStart(std::string_view url) {
  const size_t colon = url.find("://");
  if (colon == std::string_view::npos || url.find_first_of("/?#") < colon) return 0;
  return std::min(url.find_first_of("/?#", colon + 3), url.size());
}

// RFC 3986: unreserved, sub-delims, ":" and "@" (pchar), "/" and "?", and the "%" of an escape.
bool BelongsInTarget(char character) {
  constexpr std::string_view kMarks = "-._~!$&'()*+,;=:@/?%";
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || kMarks.find(character) != kMarks.npos;
}

}  // namespace

std::optional<HttpAddress> ParseHttpAddress(std::string_view url) {
  if (!SameButForCase(url.substr(0, kScheme.size()), kScheme)) return std::nullopt;
  const size_t start = TargetStart(url);
  HttpAddress address{std::string(url.substr(0, start)) + "/",
                      EncodeRequestTarget(url).substr(start)};
  if (!address.target.starts_with('/')) address.target = "/" + address.target;
  return address;
}

std::string EncodeRequestTarget(std::string_view url) {
  constexpr char kHex[] = "0123456789ABCDEF";
  const size_t start = TargetStart(url);
  std::string encoded(url.substr(0, start));
  for (const char character : url.substr(start)) {
    if (BelongsInTarget(character)) {
      encoded += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      encoded += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return encoded;
}

}  // namespace vnq
