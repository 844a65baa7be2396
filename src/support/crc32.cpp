#include "support/crc32.h"

#include <array>

namespace vnq {
namespace {

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0);
    table[byte] = value;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

void Crc32::Add(std::string_view bytes) {
  for (char c : bytes) {
    state_ = (state_ >> 8) ^ kTable[(state_ ^ static_cast<unsigned char>(c)) & 0xFF];
  }
}

std::string Crc32::Hex() const {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex;
  for (int shift = 28; shift >= 0; shift -= 4) hex += kDigits[(Value() >> shift) & 0xF];
  return hex;
}

}  // namespace vnq
