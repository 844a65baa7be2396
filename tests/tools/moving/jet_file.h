// Small Jet 4 files with rows, for what reads them.
//
//   page 0          the header
//   page 2          the definition of the catalogue MSysObjects, a table like the others
//   definition      its columns and their names; points to the row that tells its data pages
//   data page       rows from its end downwards, their places from its begin upwards
//
// A page has 4096 bytes, numbers have their lowest byte first. Definitions of one page, texts that
// are not compressed, memos within their row; no indexes.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "support/utf16.h"

namespace vnq::jet {

enum Type : uint8_t {
  kBoolean = 1,
  kShort = 3,
  kLong = 4,
  kCurrency = 5,
  kDouble = 7,
  kDate = 8,
  kText = 10,
  kOle = 11,
  kMemo = 12,
  kGuid = 15,
};

struct Column {
  std::string name;
  Type type;
};

/// The bytes of a cell as a row has them; of a boolean only whether it is NULL counts, which is
/// false.
struct Cell {
  bool isNull = true;
  std::string bytes;
};

template <typename Number>
std::string Bytes(Number number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

inline std::string Utf16(std::string_view utf8) {
  std::string bytes;
  for (char16_t unit : Utf8ToUtf16(utf8)) bytes += Bytes(static_cast<uint16_t>(unit));
  return bytes;
}

inline Cell Null() {
  return {};
}
inline Cell True() {
  return {false, ""};
}
inline Cell Text(std::string_view utf8) {
  return {false, Utf16(utf8)};
}
inline Cell Short(int16_t value) {
  return {false, Bytes(value)};
}
inline Cell Long(int32_t value) {
  return {false, Bytes(value)};
}
inline Cell Double(double value) {
  return {false, Bytes(value)};
}
/// In ten thousandths.
inline Cell Currency(int64_t value) {
  return {false, Bytes(value)};
}
/// In days since 1899-12-30.
inline Cell Date(double days) {
  return {false, Bytes(days)};
}
inline Cell Guid() {
  return {false, std::string("0123456789abcdef")};
}
/// A memo or an OLE object.
inline Cell Inline(const std::string& bytes) {
  return {false,
          Bytes(static_cast<uint32_t>(bytes.size()) | 0x80000000U) + std::string(8, '\0') + bytes};
}
inline Cell Memo(std::string_view utf8) {
  return Inline(Utf16(utf8));
}

struct Table {
  std::string name;
  std::vector<Column> columns;
  std::vector<std::vector<Cell>> rows;
};

class File {
 public:
  explicit File(const std::vector<Table>& tables) {
    pages_.assign(kFirstTable, std::string(kPageBytes, '\0'));
    MakeHeader();
    Table catalogue{"MSysObjects",
                    {{"Id", kLong},
                     {"ParentId", kLong},
                     {"Name", kText},
                     {"Type", kShort},
                     {"Flags", kLong},
                     {"LvProp", kOle}},
                    {}};
    AddEntry(catalogue, kCatalogue, "MSysObjects", INT32_MIN);
    for (const Table& table : tables) {
      AddEntry(catalogue, static_cast<int32_t>(pages_.size()), table.name, 0);
      AddTable(table);
    }
    pages_[kCatalogue] = Definition(catalogue, kCatalogue + 1, true);
    pages_[kCatalogue + 1] = DataPage(1, {UsageMap({kCatalogue + 2}), UsageMap({})});
    std::vector<std::string> rows;
    for (const auto& row : catalogue.rows) rows.push_back(Row(catalogue.columns, row));
    pages_[kCatalogue + 2] = DataPage(kCatalogue, rows);
  }

  std::string bytes() const {
    std::string all;
    for (const std::string& page : pages_) all += page;
    return all;
  }

 private:
  static constexpr size_t kPageBytes = 4096, kPageHeader = 14, kCatalogue = 2, kFirstTable = 5;

  static bool IsFixed(Type type) { return type < kText || type == kGuid; }

  static size_t FixedBytes(Type type) {
    switch (type) {
      case kShort:
        return 2;
      case kLong:
        return 4;
      case kCurrency:
      case kDouble:
      case kDate:
        return 8;
      case kGuid:
        return 16;
      default:
        return 0;
    }
  }

  template <typename Number>
  static void Put(std::string& page, size_t at, Number number) {
    memcpy(&page[at], &number, sizeof number);
  }

  // The key stream of RC4 for the four bytes that the header is hidden with: a header of zeros.
  static std::string HiddenZeros(size_t count) {
    constexpr uint8_t kKey[] = {0xC7, 0xDA, 0x39, 0x6B};
    uint8_t state[256];
    for (unsigned i = 0; i < 256; ++i) state[i] = static_cast<uint8_t>(i);
    for (unsigned i = 0, j = 0; i < 256; ++i) {
      j = (j + state[i] + kKey[i % 4]) & 255;
      std::swap(state[i], state[j]);
    }
    std::string stream;
    for (unsigned i = 1, j = 0; stream.size() < count; ++i) {
      j = (j + state[i & 255]) & 255;
      std::swap(state[i & 255], state[j]);
      stream += static_cast<char>(state[(state[i & 255] + state[j]) & 255]);
    }
    return stream;
  }

  void MakeHeader() {
    std::string& page = pages_[0];
    page.replace(0, 20, std::string("\0\1\0\0Standard Jet DB\0", 20));
    Put(page, 20, uint32_t{1});
    page.replace(24, 128, HiddenZeros(128));
  }

  static void AddEntry(Table& catalogue, int32_t page, const std::string& name, int32_t flags) {
    catalogue.rows.push_back({Long(page), Long(0), Text(name), Short(1), Long(flags), Null()});
  }

  void AddTable(const Table& table) {
    const size_t definition = pages_.size();
    pages_.push_back(Definition(table, definition + 1, false));
    pages_.emplace_back();  // the usage maps, which come last
    std::vector<size_t> dataPages;
    std::vector<std::string> rows;
    size_t used = kPageHeader;
    const auto flush = [&] {
      if (rows.empty()) return;
      dataPages.push_back(pages_.size());
      pages_.push_back(DataPage(definition, rows));
      rows.clear();
      used = kPageHeader;
    };
    for (const auto& cells : table.rows) {
      const std::string row = Row(table.columns, cells);
      if (used + row.size() + 2 > kPageBytes) flush();
      used += row.size() + 2;
      rows.push_back(row);
    }
    flush();
    pages_[definition + 1] = DataPage(1, {UsageMap(dataPages), UsageMap({})});
  }

  static std::string Definition(const Table& table, size_t usagePage, bool isSystem) {
    std::string page(63, '\0'), names;
    page[0] = 2;
    page[1] = 1;
    page[40] = isSystem ? 'S' : 'N';
    uint16_t number = 0, variable = 0, offset = 0;
    for (const Column& column : table.columns) {
      std::string entry(25, '\0');
      const bool isFixed = IsFixed(column.type);
      entry[0] = static_cast<char>(column.type);
      entry[15] = isFixed ? 1 : 0;
      Put(entry, 5, number);
      Put(entry, 7, isFixed ? uint16_t{0} : variable);
      Put(entry, 9, number);
      Put(entry, 21, isFixed ? offset : uint16_t{0});
      Put(entry, 23, static_cast<uint16_t>(column.type == kText ? 510 : FixedBytes(column.type)));
      page += entry;
      offset = static_cast<uint16_t>(offset + FixedBytes(column.type));
      if (!isFixed) ++variable;
      ++number;
      const std::string name = Utf16(column.name);
      names += Bytes(static_cast<uint16_t>(name.size())) + name;
    }
    page += names;
    Put(page, 8, static_cast<uint32_t>(page.size()));
    Put(page, 16, static_cast<uint32_t>(table.rows.size()));
    Put(page, 41, number);
    Put(page, 43, variable);
    Put(page, 45, number);
    Put(page, 55, static_cast<uint32_t>(usagePage << 8));
    Put(page, 59, static_cast<uint32_t>(usagePage << 8 | 1));
    page.resize(kPageBytes);
    return page;
  }

  static std::string Row(const std::vector<Column>& columns, const std::vector<Cell>& cells) {
    std::string row = Bytes(static_cast<uint16_t>(columns.size()));
    std::string present((columns.size() + 7) / 8, '\0'), ends;
    for (size_t i = 0; i < columns.size(); ++i) {
      if (!cells[i].isNull) present[i / 8] = static_cast<char>(present[i / 8] | 1 << (i % 8));
      if (!IsFixed(columns[i].type)) continue;
      std::string bytes = cells[i].bytes;
      bytes.resize(FixedBytes(columns[i].type));
      row += bytes;
    }
    uint16_t variable = 0;
    for (size_t i = 0; i < columns.size(); ++i) {
      if (IsFixed(columns[i].type)) continue;
      ends.insert(0, Bytes(static_cast<uint16_t>(row.size())));
      row += cells[i].bytes;
      ++variable;
    }
    ends.insert(0, Bytes(static_cast<uint16_t>(row.size())));
    return row + ends + Bytes(variable) + present;
  }

  static std::string DataPage(size_t owner, const std::vector<std::string>& rows) {
    std::string page(kPageBytes, '\0');
    page[0] = 1;
    page[1] = 1;
    Put(page, 4, static_cast<uint32_t>(owner));
    Put(page, 12, static_cast<uint16_t>(rows.size()));
    size_t end = kPageBytes, place = kPageHeader;
    for (const std::string& row : rows) {
      end -= row.size();
      page.replace(end, row.size(), row);
      Put(page, place, static_cast<uint16_t>(end));
      place += 2;
    }
    return page;
  }

  static std::string UsageMap(const std::vector<size_t>& pages) {
    std::string map(5 + 64, '\0');
    for (size_t page : pages) {
      map[5 + page / 8] = static_cast<char>(map[5 + page / 8] | 1 << (page % 8));
    }
    return map;
  }

  std::vector<std::string> pages_;
};

}  // namespace vnq::jet
