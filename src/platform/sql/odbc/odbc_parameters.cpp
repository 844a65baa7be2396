#include "platform/sql/odbc/odbc_parameters.h"

#include <algorithm>
#include <utility>

#include "platform/sql/odbc/odbc_handle.h"
#include "support/utf16.h"

namespace vnq {
namespace {

OdbcValueKind KindOf(const SqlValue& value) {
  switch (value.kind) {
    case SqlValue::Kind::kNull:
      return OdbcValueKind::kNull;
    case SqlValue::Kind::kInteger:
      return value.integer == static_cast<int32_t>(value.integer) ? OdbcValueKind::kInteger
                                                                  : OdbcValueKind::kBigInteger;
    case SqlValue::Kind::kText:
      break;
  }
  // No text has more 16-bit units than bytes.
  const bool isShort = value.text.size() <= OdbcParameters::kLongestBounded ||
                       Utf16Length(value.text) <= OdbcParameters::kLongestBounded;
  return isShort ? OdbcValueKind::kText : OdbcValueKind::kLongText;
}

}  // namespace

OdbcValueKinds KindsOf(std::span<const SqlValue> values) {
  OdbcValueKinds kinds;
  for (const SqlValue& value : values) kinds.push_back(KindOf(value));
  return kinds;
}

OdbcParameters::Place& OdbcParameters::PlaceOf(size_t index) {
  while (places_.size() <= index) places_.emplace_back();
  return places_[index];
}

bool OdbcParameters::Bind(SQLHSTMT statement, size_t number, size_t index, OdbcValueKind kind) {
  Place& place = PlaceOf(index);
  auto bind = [&](SQLSMALLINT valueType, SQLSMALLINT type, SQLULEN size, void* at, SQLLEN bytes) {
    return OdbcSucceeded(SQLBindParameter(statement, static_cast<SQLUSMALLINT>(number),
                                          SQL_PARAM_INPUT, valueType, type, size, 0, at, bytes,
                                          &place.length));
  };
  switch (kind) {
    case OdbcValueKind::kInteger:
      return bind(SQL_C_SBIGINT, SQL_INTEGER, 0, &place.integer, 0);
    case OdbcValueKind::kBigInteger:
      return bind(SQL_C_SBIGINT, SQL_BIGINT, 0, &place.integer, 0);
    case OdbcValueKind::kLongText: {
      auto bytes = static_cast<SQLLEN>(place.longText.size() * sizeof(char16_t));
      return bind(SQL_C_WCHAR, SQL_WLONGVARCHAR, place.longText.size(), place.longText.data(),
                  bytes);
    }
    case OdbcValueKind::kNull:
    case OdbcValueKind::kText:
      break;
  }
  return bind(SQL_C_WCHAR, SQL_WVARCHAR, kLongestBounded, place.text.data(), sizeof place.text);
}

void OdbcParameters::Put(size_t index, const SqlValue& value) {
  Place& place = PlaceOf(index);
  if (value.kind == SqlValue::Kind::kNull) {
    place.length = SQL_NULL_DATA;
  } else if (value.kind == SqlValue::Kind::kInteger) {
    place.integer = value.integer;
    place.length = sizeof place.integer;
  } else {
    std::u16string units = Utf8ToUtf16(value.text);
    place.length = static_cast<SQLLEN>(units.size() * sizeof(char16_t));
    if (units.size() > kLongestBounded) {
      place.longText = std::move(units);
    } else {
      std::copy(units.begin(), units.end(), place.text.begin());
    }
  }
}

}  // namespace vnq
