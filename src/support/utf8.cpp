#include "support/utf8.h"

#include <cstdint>
#include <cstring>

namespace vnq {

size_t AsciiPrefix(std::string_view bytes) {
  size_t at = 0;
  for (; at + 32 <= bytes.size(); at += 32) {
    uint64_t words[4];
    std::memcpy(words, bytes.data() + at, sizeof words);
    if (((words[0] | words[1] | words[2] | words[3]) & 0x8080808080808080U) != 0) break;
  }
  while (at < bytes.size() && static_cast<unsigned char>(bytes[at]) < 0x80) ++at;
  return at;
}

}  // namespace vnq
