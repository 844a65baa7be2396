#include "platform/system/code_page.h"

#include <unicode/ucnv.h>

#include <memory>

#include "support/utf8.h"

namespace vnq {
namespace {

constexpr char16_t kUnassigned = 0xFFFF;
constexpr char16_t kLeadByte = 0xFFFE;

struct ConverterName {
  int number;
  const char* name;
};

constexpr ConverterName kConverters[] = {
    {936, "windows-936-2000"},    {950, "windows-950-2000"},    {932, "ibm-943_P15A-2003"},
    {949, "windows-949-2000"},    {874, "windows-874-2000"},    {1250, "ibm-5346_P100-1998"},
    {1251, "ibm-5347_P100-1998"}, {1252, "ibm-5348_P100-1997"}, {1253, "ibm-5349_P100-1998"},
    {1254, "ibm-5350_P100-1998"}, {1255, "ibm-9447_P100-2002"}, {1256, "ibm-9448_X100-2005"},
    {1257, "ibm-9449_P100-2002"}, {1258, "ibm-5354_P100-1998"}, {437, "ibm-437_P100-1995"},
    {850, "ibm-850_P100-1995"},   {852, "ibm-852_P100-1995"},   {866, "ibm-866_P100-1995"},
};

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter OpenConverter(int number) {
  for (const ConverterName& entry : kConverters) {
    if (entry.number != number) continue;
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(entry.name, &error));
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &error);
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &error);
    if (U_FAILURE(error)) return nullptr;
    ucnv_setFallback(converter.get(), false);
    return converter;
  }
  return nullptr;
}

char16_t ReadBytes(UConverter* converter, const char* bytes, int count) {
  UErrorCode error = U_ZERO_ERROR;
  const char* source = bytes;
  ucnv_resetToUnicode(converter);
  const UChar32 value = ucnv_getNextUChar(converter, &source, bytes + count, &error);
  if (error == U_TRUNCATED_CHAR_FOUND) return kLeadByte;
  if (U_FAILURE(error) || source != bytes + count || value >= 0xFFFD) return kUnassigned;
  return static_cast<char16_t>(value);
}

// The one or two bytes of a code unit as one number, 0 when the page has none.
uint16_t WriteUnit(UConverter* converter, char16_t unit) {
  UErrorCode error = U_ZERO_ERROR;
  char bytes[8] = {};
  char* target = bytes;
  const char16_t* source = &unit;
  ucnv_resetFromUnicode(converter);
  ucnv_fromUnicode(converter, &target, bytes + sizeof bytes, &source, &unit + 1, nullptr, true,
                   &error);
  if (U_FAILURE(error) || target == bytes || target > bytes + 2) return 0;
  unsigned value = 0;
  for (const char* byte = bytes; byte != target; ++byte) {
    value = value << 8 | static_cast<unsigned char>(*byte);
  }
  // Some tables also write characters of the private area that they never read: those are outside
  // the page.
  return ReadBytes(converter, bytes, static_cast<int>(target - bytes)) == unit
             ? static_cast<uint16_t>(value)
             : 0;
}

// By byte, then by 256 * lead + trail: the second half is there only when the page has lead bytes.
std::vector<char16_t> BuildToUnicode(UConverter* converter, bool (&leadBytes)[256]) {
  std::vector<char16_t> table(256, kUnassigned);
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char raw = static_cast<char>(byte);
    table[byte] = byte < 0x80 ? static_cast<char16_t>(byte) : ReadBytes(converter, &raw, 1);
    leadBytes[byte] = table[byte] == kLeadByte;
    if (!leadBytes[byte]) continue;
    table[byte] = kUnassigned;
    table.resize(256 + 65536, kUnassigned);
    for (unsigned trail = 0; trail < 256; ++trail) {
      const char pair[2] = {raw, static_cast<char>(trail)};
      const char16_t unit = ReadBytes(converter, pair, 2);
      if (unit != kLeadByte) table[256 + 256 * byte + trail] = unit;
    }
  }
  return table;
}

std::vector<uint16_t> BuildFromUnicode(UConverter* converter) {
  std::vector<uint16_t> table(65536, 0);
  for (unsigned unit = 0; unit < 65536; ++unit) {
    if (unit < 0x80) {
      table[unit] = static_cast<uint16_t>(unit);
    } else if (unit < 0xD800 || unit > 0xDFFF) {
      table[unit] = WriteUnit(converter, static_cast<char16_t>(unit));
    }
  }
  return table;
}

// Appends the ASCII letters from `at` on, which are the same on every page. False: nothing is left.
bool TakeAscii(std::string_view from, size_t& at, std::string& to) {
  if (at < from.size() && static_cast<unsigned char>(from[at]) < 0x80) {
    const size_t count = AsciiPrefix(from.substr(at));
    to.append(from.substr(at, count));
    at += count;
  }
  return at < from.size();
}

}  // namespace

std::shared_ptr<const CodePage> CodePage::Open(int number) {
  const Converter converter = OpenConverter(number);
  if (!converter) return nullptr;
  std::shared_ptr<CodePage> page(new CodePage);
  page->number_ = number;
  page->toUnicode_ = BuildToUnicode(converter.get(), page->leadBytes_);
  page->fromUnicode_ = BuildFromUnicode(converter.get());
  return page;
}

std::string CodePage::ToBytes(std::string_view utf8) const {
  std::string bytes;
  bytes.reserve(utf8.size());
  size_t at = 0;
  while (TakeAscii(utf8, at, bytes)) {
    const char32_t value = NextCodePoint(utf8, at);
    const unsigned code = value < 0x10000 ? fromUnicode_[value] : 0;
    if (code > 0xFF) bytes.push_back(static_cast<char>(code >> 8));
    bytes.push_back(code == 0 && value != 0 ? '?' : static_cast<char>(code & 0xFF));
  }
  return bytes;
}

std::string CodePage::FromBytes(std::string_view bytes) const {
  const size_t ascii = AsciiPrefix(bytes);
  std::string text;
  text.reserve(ascii + (bytes.size() - ascii) * 2);
  size_t at = 0;
  while (TakeAscii(bytes, at, text)) {
    const auto byte = static_cast<unsigned char>(bytes[at++]);
    char16_t unit = toUnicode_[byte];
    if (leadBytes_[byte] && at < bytes.size()) {
      unit = toUnicode_[256U + 256U * byte + static_cast<unsigned char>(bytes[at++])];
    }
    AppendUtf8(text, unit == kUnassigned ? U'?' : unit);
  }
  return text;
}

std::string CodePage::FromSingleByte(unsigned char byte) const {
  std::string text;
  if (toUnicode_[byte] != kUnassigned) AppendUtf8(text, toUnicode_[byte]);
  return text;
}

bool CodePage::Holds(std::string_view utf8) const {
  for (size_t at = AsciiPrefix(utf8); at < utf8.size();) {
    const char32_t value = NextCodePoint(utf8, at);
    if (value > 0xFFFF || (fromUnicode_[value] == 0 && value != 0)) return false;
  }
  return true;
}

}  // namespace vnq
