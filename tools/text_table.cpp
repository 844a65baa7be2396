#include "tools/text_table.h"

#include <algorithm>
#include <cstdint>

namespace vnq {

namespace {

struct Range {
  uint32_t first, last;
};

// Blocks of wide and full-width characters (Unicode Standard Annex #11, without the rare ones).
constexpr Range kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},  {0x4E00, 0x9FFF},
    {0xA000, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},  {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

bool IsWide(uint32_t codePoint) {
  return std::any_of(std::begin(kWide), std::end(kWide), [codePoint](Range range) {
    return codePoint >= range.first && codePoint <= range.last;
  });
}

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

uint32_t LeadBits(char byte) {
  const uint32_t lead = static_cast<unsigned char>(byte);
  if (lead < 0x80) return lead;
  if (lead < 0xE0) return lead & 0x1F;
  return lead < 0xF0 ? lead & 0x0F : lead & 0x07;
}

}  // namespace

size_t DisplayWidth(std::string_view utf8) {
  size_t width = 0;
  for (size_t i = 0; i < utf8.size();) {
    uint32_t codePoint = LeadBits(utf8[i]);
    for (++i; i < utf8.size() && IsContinuation(utf8[i]); ++i) {
      codePoint = (codePoint << 6) | (static_cast<unsigned char>(utf8[i]) & 0x3Fu);
    }
    width += IsWide(codePoint) ? 2 : 1;
  }
  return width;
}

void PrintTable(const std::vector<std::vector<std::string>>& rows, std::ostream& out) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      out << row[i];
      if (i + 1 < row.size()) out << std::string(widths[i] - DisplayWidth(row[i]) + 2, ' ');
    }
    out << '\n';
  }
}

}  // namespace vnq
