#include "host/outgoing/response_text.h"

#include <algorithm>
#include <optional>

#include "platform/system/code_page.h"
#include "support/ascii_case.h"
#include "support/utf8.h"

namespace vnq {
namespace {

struct CharsetPage {
  std::string_view charset;  // lower case
  int page;
};
constexpr CharsetPage kCharsetPages[] = {
    {"gb2312", 936},        {"gbk", 936},           {"gb18030", 936},       {"big5", 950},
    {"shift_jis", 932},     {"euc-kr", 949},        {"iso-8859-1", 1252},   {"windows-874", 874},
    {"windows-1250", 1250}, {"windows-1251", 1251}, {"windows-1252", 1252}, {"windows-1253", 1253},
    {"windows-1254", 1254}, {"windows-1255", 1255}, {"windows-1256", 1256}, {"windows-1257", 1257},
    {"windows-1258", 1258},
};

// The value of "charset=" in a content type, in lower case, without quotes; empty without one.
std::string CharsetOf(std::string_view contentType) {
  constexpr std::string_view kName = "charset=";
  const std::string lower = AsciiLower(contentType);
  const size_t name = lower.find(kName);
  if (name == std::string::npos) return "";
  std::string value = lower.substr(name + kName.size());
  value.resize(std::min(value.find(';'), value.size()));
  std::erase_if(value, [](char character) { return character == '"' || character == ' '; });
  return value;
}

std::string FromUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (size_t at = 0; at < bytes.size();) AppendUtf8(text, NextCodePoint(bytes, at));
  return text;
}

std::string FromUtf16(std::string_view bytes, bool bigEndian) {
  std::string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    const int unit = bigEndian ? first * 256 + second : second * 256 + first;
    AppendUtf8(text, static_cast<char32_t>(unit));
  }
  return FromUtf8(text);  // joins the halves of surrogate pairs
}

std::optional<std::string> ByByteOrderMark(std::string_view body) {
  if (body.starts_with("\xEF\xBB\xBF")) return FromUtf8(body.substr(3));
  if (body.starts_with("\xFF\xFE")) return FromUtf16(body.substr(2), false);
  if (body.starts_with("\xFE\xFF")) return FromUtf16(body.substr(2), true);
  return std::nullopt;
}

}  // namespace

std::string ResponseText(std::string_view body, std::string_view contentType) {
  if (auto text = ByByteOrderMark(body)) return *text;
  const std::string charset = CharsetOf(contentType);
  for (const CharsetPage& known : kCharsetPages) {
    if (known.charset != charset) continue;
    if (const auto page = CodePage::Open(known.page)) return page->FromBytes(body);
  }
  return FromUtf8(body);
}

}  // namespace vnq
