#include "support/base64_text.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/latin_text.h"

namespace vnq {
namespace {

const LatinText kPage(true);

// The reader step by step: four values that keep what the group before left in them.
std::string DecodeStepByStep(const std::string& wire) {
  static const std::string alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const long size = static_cast<long>(wire.size());
  const long last = static_cast<long>((wire + "=").find('=')) - 1;
  if (last - last / 4 < 0) return "";
  std::string out(static_cast<size_t>(last - last / 4), '\0');
  int values[4] = {};
  for (long i = 0; i <= last; i += 4) {
    for (long j = 0; j < 4; ++j) {
      if (i + j >= size) continue;
      const size_t position = alphabet.find(wire[static_cast<size_t>(i + j)]);
      values[j] = (position == alphabet.npos ? -1 : static_cast<int>(position)) & 63;
    }
    const int group = values[0] << 18 | values[1] << 12 | values[2] << 6 | values[3];
    for (long j = 0; j < 3; ++j) {
      const auto at = static_cast<size_t>(i / 4 * 3 + j);
      if (at < out.size()) out[at] = static_cast<char>(group >> (16 - 8 * j) & 255);
    }
  }
  return out;
}

std::string RandomText(std::mt19937& random, size_t length, std::string_view from) {
  std::string text;
  while (text.size() < length) text.push_back(from[random() % from.size()]);
  return text;
}

TEST(Base64Text, KnownVectorsEncode) {
  EXPECT_EQ(Base64EncodeBytes(""), "");
  EXPECT_EQ(Base64EncodeBytes("f"), "Zg==");
  EXPECT_EQ(Base64EncodeBytes("fo"), "Zm8=");
  EXPECT_EQ(Base64EncodeBytes("foo"), "Zm9v");
  EXPECT_EQ(Base64EncodeBytes("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64EncodeBytes("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64EncodeBytes("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Base64EncodeBytes(std::string_view("\0\xFF\xFE", 3)), "AP/+");
}

TEST(Base64Text, KnownTextsDecode) {
  EXPECT_EQ(Base64DecodeText(kPage, ""), "");
  EXPECT_EQ(Base64DecodeText(kPage, "QUJD"), "ABC");
  EXPECT_EQ(Base64DecodeText(kPage, "QUI="), "AB");
  EXPECT_EQ(Base64DecodeText(kPage, "QQ=="), "A");
}

TEST(Base64Text, PaddingMayBeMissing) {
  EXPECT_EQ(Base64DecodeBytes("QUI"), "AB");
  EXPECT_EQ(Base64DecodeBytes("QQ"), "A");
  EXPECT_EQ(Base64DecodeBytes("QUJDQ"), "ABC");
  EXPECT_EQ(Base64DecodeBytes("Q"), "");
}

TEST(Base64Text, PaddingAtTheStartGivesNothing) {
  EXPECT_EQ(Base64DecodeBytes("="), "");
  EXPECT_EQ(Base64DecodeBytes("=QUJD"), "");
  EXPECT_EQ(Base64DecodeBytes("Q=UJD"), "");
}

TEST(Base64Text, SecondTextBehindPaddingIsLost) {
  EXPECT_EQ(Base64DecodeBytes(Base64EncodeBytes(".+y|#") + Base64EncodeBytes(".+y|#")), ".+y|#");
}

TEST(Base64Text, SecondTextBehindAnUnpaddedOneIsRead) {
  EXPECT_EQ(Base64DecodeBytes(Base64EncodeBytes(".+yy|#") + Base64EncodeBytes(".+y|#")),
            ".+yy|#.+y|#");
}

TEST(Base64Text, ByteOutsideTheAlphabetCountsAsTheLastOfIt) {
  for (const char* foreign : {"\r", "\n", " ", "-", "_", "|", "\x80", "\xFF"}) {
    EXPECT_EQ(Base64DecodeBytes(std::string("QU") + foreign + "D"), Base64DecodeBytes("QU/D"))
        << foreign;
  }
  EXPECT_EQ(Base64DecodeBytes(std::string("QU\0D", 4)), Base64DecodeBytes("QU/D"));
}

TEST(Base64Text, LineBreakShiftsWhatFollows) {
  EXPECT_EQ(Base64DecodeBytes("QUJD\nQUJD"), Base64DecodeBytes("QUJD/QUJD"));
  EXPECT_NE(Base64DecodeBytes("QUJD\nQUJD"), "ABCABC");
}

TEST(Base64Text, TextTravelsInTheCodePage) {
  EXPECT_EQ(Base64EncodeText(kPage, "é€"), Base64EncodeBytes("\xE9\x80"));
  EXPECT_EQ(Base64DecodeText(kPage, Base64EncodeText(kPage, "丁|é")), "丁|é");
  EXPECT_EQ(Base64EncodeText(kPage, "\xED\xA0\xBD"), Base64EncodeBytes("?"));
}

TEST(Base64Text, BytesOfAnyLengthReadBack) {
  std::mt19937 random(1);
  for (size_t length = 0; length < 300; ++length) {
    std::string bytes;
    while (bytes.size() < length) bytes.push_back(static_cast<char>(random()));
    ASSERT_EQ(Base64DecodeBytes(Base64EncodeBytes(bytes)), bytes);
  }
}

TEST(Base64Text, AnyInputDecodesAsTheStepsSay) {
  std::mt19937 random(2);
  for (int i = 0; i < 30000; ++i) {
    const std::string wire = RandomText(random, random() % 24, "ABCDwxyz0189+/=\r\n -\x80");
    ASSERT_EQ(Base64DecodeBytes(wire), DecodeStepByStep(wire)) << wire;
  }
}

}  // namespace
}  // namespace vnq
