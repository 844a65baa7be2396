// UnescapeText with the code pages that deployments have.
#include <gtest/gtest.h>

#include "host/settings/ansi_code_page.h"
#include "support/hex_digits.h"
#include "support/text_codecs.h"
#include "tests/support/json/literal_unescape.h"

namespace vnq {
namespace {

TEST(UnescapeTextByPage, EachByteDecodesAsTheLiteralWalkDoes) {
  for (const int number : {874, 932, 936, 949, 950, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257,
                           1258, 437, 850, 852, 866}) {
    const AnsiCodePage page(CodePage::Open(number));
    for (unsigned byte = 0; byte < 256; ++byte) {
      std::string text = "a%";
      AppendHex(text, byte, 2);
      text += "-%20%u4E2D%";
      AppendHex(text, byte, 2);
      ASSERT_EQ(UnescapeText(page, text), LiteralUnescape(page, text)) << number << ": " << text;
    }
  }
}

}  // namespace
}  // namespace vnq
