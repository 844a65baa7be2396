#include "platform/sql/postgres/postgres_values.h"

#include <libpq-fe.h>

#include <charconv>

#include "support/utf8.h"

namespace vnq {
namespace {

// The server's fixed numbers for its own types.
enum : Oid {
  kBool = 16,
  kInt8 = 20,
  kInt2 = 21,
  kInt4 = 23,
  kOid = 26,
  kBlankPadded = 1042,
  kVarchar = 1043,
};

// A declared length comes with the size of a header that the server once kept in front of texts.
constexpr int kLengthHeader = 4;

bool IsInteger(Oid type) {
  return type == kBool || type == kInt8 || type == kInt2 || type == kInt4 || type == kOid;
}

size_t MaxLength(Oid type, int modifier) {
  bool bounded = (type == kVarchar || type == kBlankPadded) && modifier > kLengthHeader;
  return bounded ? static_cast<size_t>(modifier - kLengthHeader) : 0;
}

bool IsStorable(char32_t character) {
  return character != 0 && !(character >= 0xD800 && character < 0xE000);
}

// A code point that is kept reads back as the bytes it was read from, unless two surrogates were
// joined; so only these and what is replaced make a copy differ.
bool IsStorableText(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return false;
  for (size_t at = AsciiPrefix(text); at < text.size();) {
    char32_t character = NextSequence(text, at);
    if (!IsStorable(character) || character == kReplacementCharacter) return false;
  }
  return true;
}

}  // namespace

void PostgresResultDeleter::operator()(pg_result* result) const {
  PQclear(result);
}

std::string StorableText(std::string_view text) {
  std::string storable;
  storable.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    char32_t character = NextCodePoint(text, at);
    AppendUtf8(storable, IsStorable(character) ? character : kReplacementCharacter);
  }
  return storable;
}

PostgresParameters::PostgresParameters(std::span<const SqlValue> values) {
  texts_.reserve(values.size());
  for (const SqlValue& value : values) texts_.push_back(Text(value));
}

const char* PostgresParameters::Text(const SqlValue& value) {
  switch (value.kind) {
    case SqlValue::Kind::kNull:
      return nullptr;
    case SqlValue::Kind::kInteger:
      return made_.emplace_back(std::to_string(value.integer)).c_str();
    case SqlValue::Kind::kText:
      break;
  }
  if (IsStorableText(value.text)) return value.text.c_str();
  return made_.emplace_back(StorableText(value.text)).c_str();
}

std::vector<SqlColumn> ReadPostgresColumns(const pg_result* result, size_t behind,
                                           std::string_view hidden, std::vector<int>& shown) {
  std::vector<SqlColumn> columns;
  shown.clear();
  const int count = PQnfields(result) - static_cast<int>(behind);
  for (int i = 0; i < count; ++i) {
    const char* name = PQfname(result, i);
    if (!hidden.empty() && name == hidden) continue;
    const Oid type = PQftype(result, i);
    shown.push_back(i);
    columns.push_back({name, IsInteger(type) ? SqlColumnType::kInteger : SqlColumnType::kText,
                       MaxLength(type, PQfmod(result, i))});
  }
  return columns;
}

unsigned CommonPostgresTable(const pg_result* result) {
  if (PQnfields(result) == 0) return 0;
  Oid table = PQftable(result, 0);
  for (int i = 1; i < PQnfields(result); ++i) {
    if (PQftable(result, i) != table) return 0;
  }
  return table;
}

SqlValue ReadPostgresCell(const pg_result* result, size_t row, size_t column, SqlColumnType type) {
  int r = static_cast<int>(row);
  int c = static_cast<int>(column);
  if (PQgetisnull(result, r, c) != 0) return SqlValue::Null();
  std::string_view text(PQgetvalue(result, r, c), static_cast<size_t>(PQgetlength(result, r, c)));
  if (type == SqlColumnType::kText) return SqlValue::Text(std::string(text));
  if (text == "t" || text == "f") return SqlValue::Integer(text == "t" ? 1 : 0);
  int64_t number = 0;
  auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc()) return SqlValue::Text(std::string(text));
  return SqlValue::Integer(number);
}

void ReadPostgresRows(const pg_result* result, std::span<const int> shown, SqlRows& rows) {
  const std::vector<SqlColumn>& columns = *rows.columns;
  const size_t count = columns.empty() ? 0 : static_cast<size_t>(PQntuples(result));
  const size_t identityAt = static_cast<size_t>(PQnfields(result)) - rows.identityWidth;
  rows.cells.reserve(count * columns.size());
  rows.identity.reserve(count * rows.identityWidth);
  for (size_t row = 0; row < count; ++row) {
    for (size_t i = 0; i < columns.size(); ++i) {
      const auto at = static_cast<size_t>(shown[i]);
      rows.cells.push_back(ReadPostgresCell(result, row, at, columns[i].type));
    }
    for (size_t i = 0; i < rows.identityWidth; ++i) {
      rows.identity.push_back(ReadPostgresCell(result, row, identityAt + i, SqlColumnType::kText));
    }
  }
}

}  // namespace vnq
