// The frames of web visitors, read by a parser that owns no socket.
//
//   frame = first byte { 0x81: a whole text frame }
//           length byte { its upper bit: masked; 126 and 127: a longer length follows }
//           [ 2 bytes, length ] [ 4 bytes, mask ] payload          (RFC 6455, section 5.2)
//
// One arrival is one frame or none: a frame that was cut and two frames that met in one arrival are
// not put right. It is a reader of short masked text frames first of all; what it makes of others
// is written down at DecodeFrame.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// True for a whole text frame. Closing, ping, pong, binary and unfinished frames are not for the
/// visitor gateway.
bool IsTextFrame(std::string_view bytes);

/// The payload of a frame, as far as it can be taken out; else the bytes as they came.
///
///   length byte   what comes back
///   up to 125     the unmasked payload, where the bytes are exactly one frame with 1 byte of
///                 payload or more
///   126           the payload with its mask still on, where the bytes are exactly one frame with 1
///                 byte or more
///   127           the bytes as they came
///   not masked    the whole bytes, filled up with zero bytes or cut to (length byte + 128) bytes
///
/// Any number of any bytes may be given.
std::string DecodeFrame(std::string_view bytes);

}  // namespace vnq
