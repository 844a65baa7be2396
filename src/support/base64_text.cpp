#include "support/base64_text.h"

#include <array>
#include <cstdint>

namespace vnq {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// "Not found" is position -1, of which six bits are 63: such a byte reads like the alphabet's last
// character.
constexpr std::array<uint8_t, 256> MakeValues() {
  std::array<uint8_t, 256> values{};
  values.fill(63);
  for (size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<uint8_t>(i);
  }
  return values;
}

constexpr std::array<uint8_t, 256> kValues = MakeValues();

uint32_t Byte(std::string_view bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

uint32_t Value(std::string_view wire, size_t at) {
  return kValues[Byte(wire, at)];
}

void PutGroup(char* out, uint32_t group) {
  out[0] = kAlphabet[group >> 18];
  out[1] = kAlphabet[group >> 12 & 63];
  out[2] = kAlphabet[group >> 6 & 63];
  out[3] = kAlphabet[group & 63];
}

}  // namespace

std::string Base64EncodeBytes(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  char* out = text.data();
  size_t at = 0;
  for (; at + 3 <= bytes.size(); at += 3, out += 4) {
    PutGroup(out, Byte(bytes, at) << 16 | Byte(bytes, at + 1) << 8 | Byte(bytes, at + 2));
  }

  const size_t rest = bytes.size() - at;
  if (rest == 0) return text;
  PutGroup(out, Byte(bytes, at) << 16 | (rest == 2 ? Byte(bytes, at + 1) << 8 : 0));
  for (size_t i = rest + 1; i < 4; ++i) out[i] = '=';
  return text;
}

std::string Base64DecodeBytes(std::string_view wire) {
  wire = wire.substr(0, wire.find('='));
  const size_t rest = wire.size() % 4;
  std::string bytes(wire.size() / 4 * 3 + (rest > 1 ? rest - 1 : 0), '\0');
  char* out = bytes.data();
  size_t at = 0;
  for (; at + 4 <= wire.size(); at += 4) {
    const uint32_t group = Value(wire, at) << 18 | Value(wire, at + 1) << 12 |
                           Value(wire, at + 2) << 6 | Value(wire, at + 3);
    *out++ = static_cast<char>(group >> 16);
    *out++ = static_cast<char>(group >> 8);
    *out++ = static_cast<char>(group);
  }

  if (rest < 2) return bytes;
  *out++ = static_cast<char>(Value(wire, at) << 2 | Value(wire, at + 1) >> 4);
  if (rest == 3) *out = static_cast<char>(Value(wire, at + 1) << 4 | Value(wire, at + 2) >> 2);
  return bytes;
}

std::string Base64EncodeText(const AnsiText& page, std::string_view text) {
  return Base64EncodeBytes(page.ToBytes(text));
}

std::string Base64DecodeText(const AnsiText& page, std::string_view wire) {
  return page.FromBytes(Base64DecodeBytes(wire));
}

}  // namespace vnq
