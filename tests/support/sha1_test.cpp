#include "support/sha1.h"

#include <gtest/gtest.h>

#include "support/base64_text.h"
#include "support/hex_digits.h"

namespace vnq {
namespace {

std::string Digits(std::string_view message) {
  std::string digits;
  for (const char byte : Sha1Bytes(message)) AppendHex(digits, static_cast<unsigned char>(byte), 2);
  return digits;
}

TEST(Sha1, WebSocketSampleGivesItsAcceptValue) {
  EXPECT_EQ(
      Base64EncodeBytes(Sha1Bytes("dGhlIHNhbXBsZSBub25jZQ==258EAFA5-E914-47DA-95CA-C5AB0DC85B11")),
      "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
}

TEST(Sha1, KnownVectorsOfTheStandard) {
  EXPECT_EQ(Digits("abc"), "A9993E364706816ABA3E25717850C26C9CD0D89D");
  EXPECT_EQ(Digits("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983E441C3BD26EBAAE4AA1F95129E5E54670F1");
  EXPECT_EQ(Digits(std::string(1000000, 'a')), "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F");
  EXPECT_EQ(Digits(""), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
}

TEST(Sha1, LengthsAroundABlockPadProperly) {
  EXPECT_EQ(Digits(std::string(55, 'a')), "C1C8BBDC22796E28C0E15163D20899B65621D65A");
  EXPECT_EQ(Digits(std::string(56, 'a')), "C2DB330F6083854C99D4B5BFB6E8F29F201BE699");
  EXPECT_EQ(Digits(std::string(64, 'a')), "0098BA824B5C16427BD7A1122A5A442A25EC644D");
}

TEST(Word32, BitsAndSumsGoByThirtyTwoBits) {
  const Word32 a = WordFromHex("F0F0F0F0"), b = WordFromHex("FF00FF00");
  EXPECT_EQ(WordAnd(a, b), WordFromHex("F000F000"));
  EXPECT_EQ(WordOr(a, b), WordFromHex("FFF0FFF0"));
  EXPECT_EQ(WordXor(a, b), WordFromHex("0FF00FF0"));
  EXPECT_EQ(WordNot(a), WordFromHex("0F0F0F0F"));
  EXPECT_EQ(WordAdd(WordFromHex("FFFFFFFF"), WordFromHex("00000002")), WordFromHex("00000001"));
}

TEST(Word32, RotationBringsTheUpperBitsRound) {
  const Word32 word = WordFromHex("80000001");
  EXPECT_EQ(WordRotateLeft(word, 1), WordFromHex("00000003"));
  EXPECT_EQ(WordRotateLeft(word, 31), WordFromHex("C0000000"));
  EXPECT_EQ(WordRotateLeft(word, 0), word);
  EXPECT_EQ(WordRotateLeft(word, 32), word);
}

TEST(Word32, NumbersConvertModuloItsRange) {
  EXPECT_EQ(WordFromNumber(4294967296.0 + 5), WordFromHex("00000005"));
  EXPECT_EQ(WordFromNumber(-1), WordFromHex("FFFFFFFF"));
  EXPECT_EQ(WordToNumber(WordFromHex("FFFFFFFF")), 4294967295.0);
}

TEST(Word32, RemainderIsNeverNegative) {
  EXPECT_EQ(ModNumber(7, 3), 1);
  EXPECT_EQ(ModNumber(-7, 3), 2);
  EXPECT_EQ(ModNumber(-6, 3), 0);
  EXPECT_EQ(ModNumber(-1e-300, 3), 0);
}

}  // namespace
}  // namespace vnq
