#include "tools/moving/archive_format.h"

#include <charconv>
#include <memory>
#include <optional>

#include "support/json/json.h"
#include "support/json/json_writer.h"

namespace vnq {
namespace {

constexpr std::string_view kTextType = "text", kIntegerType = "integer";

JsonValue Number(int64_t value) {
  Decimal number;
  Decimal::Parse(std::to_string(value), number);
  return JsonValue(number);
}

std::string Written(JsonDictionary members) {
  return WriteJson(JsonValue(std::make_unique<JsonDictionary>(std::move(members))));
}

JsonValue ColumnValue(const SourceColumn& column) {
  auto members = std::make_unique<JsonDictionary>();
  members->Add("name", JsonValue(column.name));
  const bool isInteger = column.type == SqlColumnType::kInteger;
  members->Add("type", JsonValue(std::string(isInteger ? kIntegerType : kTextType)));
  return JsonValue(std::move(members));
}

const std::string* TextMember(const JsonDictionary& dictionary, std::string_view key) {
  const JsonValue* value = dictionary.Find(key);
  return value == nullptr ? nullptr : value->AsText();
}

bool ReadCounter(const JsonDictionary& heading, int64_t& counter) {
  const JsonValue* value = heading.Find("counter");
  if (value == nullptr) return true;
  const Decimal* number = value->AsNumber();
  if (number == nullptr) return false;
  const std::string text = number->ToText();
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), counter);
  return code == std::errc() && end == text.data() + text.size();
}

bool ReadColumn(const JsonValue& value, SourceColumn& column) {
  const JsonDictionary* members = value.AsDictionary();
  if (members == nullptr) return false;
  const std::string* name = TextMember(*members, "name");
  const std::string* type = TextMember(*members, "type");
  if (name == nullptr || type == nullptr) return false;
  column.name = *name;
  column.type = *type == kIntegerType ? SqlColumnType::kInteger : SqlColumnType::kText;
  return *type == kIntegerType || *type == kTextType;
}

bool ReadColumns(const JsonDictionary& heading, std::vector<SourceColumn>& columns) {
  const JsonValue* value = heading.Find("columns");
  const JsonCollection* items = value == nullptr ? nullptr : value->AsCollection();
  if (items == nullptr || items->Count() == 0) return false;
  for (const JsonValue& item : items->Items()) {
    columns.emplace_back();
    if (!ReadColumn(item, columns.back())) return false;
  }
  return true;
}

}  // namespace

std::string ArchiveVersionLine() {
  return std::string(kArchiveMark) + "1}";
}

std::string ArchiveHeading(const SourceTable& table) {
  auto columns = std::make_unique<JsonCollection>();
  for (const SourceColumn& column : table.columns) columns->Add(ColumnValue(column));
  JsonDictionary heading;
  heading.Add("table", JsonValue(table.name));
  heading.Add("columns", JsonValue(std::move(columns)));
  if (table.counter != 0) heading.Add("counter", Number(table.counter));
  return Written(std::move(heading));
}

std::string ArchiveEndLine(uint64_t rows, const Crc32& crc) {
  return R"({"rows":)" + std::to_string(rows) + R"(,"crc32":")" + crc.Hex() + "\"}";
}

std::string ArchiveCloseLine(uint64_t tables, uint64_t rows, const Crc32& crc) {
  return R"({"tables":)" + std::to_string(tables) + R"(,"rows":)" + std::to_string(rows) +
         R"(,"crc32":")" + crc.Hex() + "\"}";
}

bool ParseArchiveHeading(std::string_view line, SourceTable& table, std::string& error) {
  error = "neither the heading of a table nor the close of the archive";
  JSON json;
  const std::optional<JsonValue> value = json.parse(line);
  const JsonDictionary* heading = value ? value->AsDictionary() : nullptr;
  if (heading == nullptr || !json.GetParserErrors().empty()) return false;
  const std::string* name = TextMember(*heading, "table");
  if (name == nullptr) return false;
  error = "the heading of table " + *name + " has no proper columns";
  table = SourceTable{*name, {}, 0, 0};
  if (!ReadColumns(*heading, table.columns)) return false;
  error = "the heading of table " + *name + " has no proper counter";
  return ReadCounter(*heading, table.counter);
}

}  // namespace vnq
