// SHA-1 as FIPS 180-4 gives it, on words of four bytes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace vnq {

/// A 32-bit word as its four bytes, most significant first.
using Word32 = std::array<uint8_t, 4>;

Word32 WordAnd(const Word32& a, const Word32& b);
Word32 WordOr(const Word32& a, const Word32& b);
Word32 WordXor(const Word32& a, const Word32& b);
Word32 WordNot(const Word32& word);

/// The sum modulo 2^32: the last carry is dropped.
Word32 WordAdd(const Word32& a, const Word32& b);

/// Rotation by 0 to 31 bits; other counts are taken modulo 32.
Word32 WordRotateLeft(const Word32& word, unsigned count);

/// The word of up to eight hexadecimal digits; a character that is no digit counts as 0.
Word32 WordFromHex(std::string_view text);

/// The word of a whole number, taken modulo 2^32.
Word32 WordFromNumber(double value);

double WordToNumber(const Word32& word);

/// The remainder of a / b that is never negative, for b above 0.
double ModNumber(double a, double b);

/// The digest of some bytes: 20 bytes, each word most significant byte first. Of the length in bits
/// only the low 32 bits are kept, so messages of 512 MiB and more have no proper digest.
std::string Sha1Bytes(std::string_view message);

}  // namespace vnq
