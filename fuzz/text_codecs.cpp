// Feeds any bytes to every codec and checks what must hold between them.
//
//   input = code page selector byte, text bytes
#include "support/text_codecs.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/settings/ansi_code_page.h"
#include "support/base64_text.h"
#include "support/utf16.h"
#include "tests/support/json/literal_unescape.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

const vnq::AnsiCodePage& PageFor(uint8_t selector) {
  static const vnq::AnsiCodePage pages[] = {
      vnq::AnsiCodePage(vnq::CodePage::Open(936)), vnq::AnsiCodePage(vnq::CodePage::Open(950)),
      vnq::AnsiCodePage(vnq::CodePage::Open(932)), vnq::AnsiCodePage(vnq::CodePage::Open(1252))};
  return pages[selector % 4];
}

// True for a text that comes back from its escaped form: no "%" in it, and no character of the
// short form that the page gives to its byte in place of the character of that value.
bool ReadsBack(const vnq::AnsiText& page, std::u16string_view units) {
  for (const char16_t unit : units) {
    if (unit == u'%') return false;
    if (unit < 0x80 || unit > 0xFE) continue;
    const std::u16string single = vnq::Utf8ToUtf16(page.FromSingleByte(static_cast<uint8_t>(unit)));
    if (!single.empty() && single[0] != unit) return false;
  }
  return true;
}

void CheckEscapes(const vnq::AnsiText& page, std::string_view text) {
  const std::u16string units = vnq::Utf8ToUtf16(text);
  const std::string normal = vnq::Utf16ToUtf8(units);
  const std::string escaped = vnq::EscapeText(text);
  Require(escaped == vnq::EscapeText(normal));
  Require(escaped.find('|') == escaped.npos);
  if (ReadsBack(page, units)) Require(vnq::UnescapeText(page, escaped) == normal);
  Require(vnq::UnescapeText(page, normal) == vnq::LiteralUnescape(page, normal));
  Require(vnq::UnescapeText(page, escaped) == vnq::LiteralUnescape(page, escaped));

  Require(vnq::UrlDecodeUtf8(text).size() <= normal.size());
  for (const char c : vnq::UrlEncodeUtf8(text)) Require(static_cast<unsigned char>(c) < 0x80);
}

void CheckWire(const vnq::AnsiText& page, std::string_view bytes) {
  Require(vnq::Base64DecodeBytes(vnq::Base64EncodeBytes(bytes)) == bytes);
  const std::string decoded = vnq::Base64DecodeText(page, bytes);
  Require(vnq::Base64DecodeText(page, vnq::Base64EncodeText(page, decoded)) == decoded);
}

void CheckUtf16(std::string_view text) {
  const std::u16string units = vnq::Utf8ToUtf16(text);
  Require(vnq::Utf8ToUtf16(vnq::Utf16ToUtf8(units)) == units);
  Require(vnq::Utf16Length(text) == units.size());
  const size_t half = units.size() / 2;
  Require(vnq::Utf8ToUtf16(vnq::FirstCharacters(text, half)) == units.substr(0, half));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const vnq::AnsiCodePage& page = PageFor(data[0]);
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  CheckEscapes(page, text);
  CheckWire(page, text);
  CheckUtf16(text);
  return 0;
}
