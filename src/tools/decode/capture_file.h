// What travelled by TCP, from a capture in the classic format of tcpdump.
//
//   file    = header { packet }
//   packet  = seconds fraction, captured bytes, bytes on the wire, bytes of the link layer
//
// Ethernet, Linux "any" devices (both kinds), loopback and raw IP; IPv4 and IPv6. Packets that came
// twice or out of order are put right; one that the capture has not ends that side of the
// connection.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vnq {

/// Bytes of one side of a connection, in order.
struct CapturedBytes {
  std::string source, target;  ///< "127.0.0.1:6004", "[0:0:0:0:0:0:0:1]:6004"
  uint16_t sourcePort = 0, targetPort = 0;
  double seconds = 0;  ///< since 1970
  std::string_view bytes;
};

/// True for a file that begins as a capture does, in a format that is read or in another.
bool IsCapture(std::string_view file);

/// Calls `onBytes` with what each side sent, as it came. False, with why in `error`, for a file in
/// another format or a link layer that is not known; a file that is cut off ends where it is.
bool ReadCapture(std::string_view file, const std::function<void(const CapturedBytes&)>& onBytes,
                 std::string& error);

}  // namespace vnq
