// Any bytes as a visitor's frame: nothing outside the frame is read, and what comes out has the
// size that the frame's head promises.
#include "webgate/websocket_frame.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

// The size of what is taken out of a frame of these bytes; the bytes' own size when nothing is.
size_t PromisedSize(std::string_view bytes) {
  if (bytes.size() < 2) return bytes.size();
  const size_t length = static_cast<uint8_t>(bytes[1]) ^ 0x80u;
  if (length >= 128) return length;
  if (length < 126) return length > 0 && bytes.size() == length + 6 ? length : bytes.size();
  if (length == 127 || bytes.size() < 4) return bytes.size();
  const size_t longLength =
      size_t{static_cast<uint8_t>(bytes[2])} << 8 | static_cast<uint8_t>(bytes[3]);
  return longLength > 0 && bytes.size() == longLength + 8 ? longLength : bytes.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A copy that ends where the frame ends, so that a read behind it is seen.
  const std::unique_ptr<char[]> copy(new char[size]);
  for (size_t i = 0; i < size; ++i) copy[i] = static_cast<char>(data[i]);
  const std::string_view bytes(copy.get(), size);

  const std::string payload = vnq::DecodeFrame(bytes);
  Require(payload.size() == PromisedSize(bytes));
  Require(vnq::IsTextFrame(bytes) == (size > 0 && data[0] == 0x81));

  // Cut anywhere, it is still some frame or none.
  for (size_t cut = 0; cut < size && cut < 16; ++cut) {
    Require(vnq::DecodeFrame(bytes.substr(0, cut)).size() == PromisedSize(bytes.substr(0, cut)));
  }
  return 0;
}
