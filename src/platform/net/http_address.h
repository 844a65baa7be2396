// The address of an HTTP request, as it goes out.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vnq {

/// An address taken apart.
struct HttpAddress {
  std::string server;  ///< "http://host[:port]/"
  std::string target;  ///< path and query, as they stand in the request line; begins with '/'
};

/// Takes an address apart and encodes what stands behind its host. Nothing for one that does not
/// begin with "http://", in any case.
std::optional<HttpAddress> ParseHttpAddress(std::string_view url);

/// An address as it goes out. Behind the host, every byte that the path and the query of RFC 3986
/// have no place for (blank, '"', '<', '>', '|', '#', brackets, control characters, bytes above 127
/// ...) becomes '%' and two upper-case hexadecimal digits; everything else stays, '%' and dot
/// segments included. An address without "http://" in front is taken as if the host had ended
/// already.
std::string EncodeRequestTarget(std::string_view url);

}  // namespace vnq
