#include "platform/sql/odbc/odbc_statement.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/utf16.h"

namespace vnq {
namespace {

constexpr char kNullKind = 'n';
constexpr char kIntegerKind = 'i';
constexpr char kBigIntegerKind = 'I';
constexpr char kTextKind = 't';
constexpr char kLongTextKind = 'T';

constexpr size_t kPieceUnits = 4096;  // of a text that is read

char KindOf(const SqlValue& value) {
  switch (value.kind) {
    case SqlValue::Kind::kNull:
      return kNullKind;
    case SqlValue::Kind::kInteger:
      return value.integer == static_cast<int32_t>(value.integer) ? kIntegerKind : kBigIntegerKind;
    case SqlValue::Kind::kText:
      break;
  }
  // No text has more 16-bit units than bytes.
  bool isShort = value.text.size() <= OdbcParameters::kLongestBounded ||
                 Utf16Length(value.text) <= OdbcParameters::kLongestBounded;
  return isShort ? kTextKind : kLongTextKind;
}

OdbcColumn::Kind KindOfType(SQLSMALLINT type) {
  switch (type) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
      return OdbcColumn::Kind::kInteger;
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_LONGVARCHAR:
    case SQL_WCHAR:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR:
      return OdbcColumn::Kind::kText;
    default:
      return OdbcColumn::Kind::kOther;
  }
}

// Types without bound tell 0, or a length in the thousands of millions.
size_t MaxLength(SQLSMALLINT type, SQLULEN size) {
  bool bounded =
      type == SQL_CHAR || type == SQL_VARCHAR || type == SQL_WCHAR || type == SQL_WVARCHAR;
  constexpr SQLULEN kLongestBound = 8000;
  return bounded && size <= kLongestBound ? static_cast<size_t>(size) : 0;
}

std::string FromUnits(const SQLWCHAR* units, SQLSMALLINT count, size_t capacity) {
  size_t length = std::min(count < 0 ? 0 : static_cast<size_t>(count), capacity - 1);
  return Utf16ToUtf8({reinterpret_cast<const char16_t*>(units), length});
}

}  // namespace

// --- OdbcHandle ---

OdbcHandle::OdbcHandle(OdbcHandle&& other) noexcept
    : type_(other.type_), handle_(std::exchange(other.handle_, nullptr)) {}

OdbcHandle& OdbcHandle::operator=(OdbcHandle&& other) noexcept {
  if (this == &other) return *this;
  Free();
  type_ = other.type_;
  handle_ = std::exchange(other.handle_, nullptr);
  return *this;
}

OdbcHandle OdbcHandle::Make(SQLSMALLINT type, SQLHANDLE parent) {
  OdbcHandle made;
  made.type_ = type;
  if (!OdbcSucceeded(SQLAllocHandle(type, parent, &made.handle_))) made.handle_ = nullptr;
  return made;
}

void OdbcHandle::Free() {
  if (ok()) SQLFreeHandle(type_, handle_);
  handle_ = nullptr;
}

// --- OdbcError ---

std::string OdbcError::Describe() const {
  return state.empty() ? text : state + " " + text;
}

// By SQL Server's number of the error.
SqlTrouble TroubleOf(SQLINTEGER number) {
  switch (number) {
    case 1101:  // a filegroup has no room
    case 1105:
    case 9002:  // the transaction log has none
      return SqlTrouble::kFull;
    case 1222:  // a lock was waited for in vain
      return SqlTrouble::kLocked;
    case 3906:
      return SqlTrouble::kReadOnly;
    case 823:
    case 824:
      return SqlTrouble::kWriteFailed;
    default:
      return SqlTrouble::kNone;
  }
}

OdbcError ReadOdbcError(const OdbcHandle& handle) {
  OdbcError error;
  SQLWCHAR state[6] = {};
  SQLWCHAR text[1024] = {};
  for (SQLSMALLINT record = 1; record <= 4; ++record) {
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    SQLRETURN code = SQLGetDiagRecW(handle.type(), handle.get(), record, state, &native, text,
                                    static_cast<SQLSMALLINT>(std::size(text)), &length);
    if (!OdbcSucceeded(code)) break;
    OdbcError found{FromUnits(state, 5, std::size(state)), FromUnits(text, length, std::size(text)),
                    TroubleOf(native)};
    // The gravest reason is the one that counts.
    if (error.state.empty() || (found.IsLost() && !error.IsLost())) error.state = found.state;
    if (error.trouble == SqlTrouble::kNone) error.trouble = found.trouble;
    if (!error.text.empty()) error.text += "; ";
    error.text += found.text + " (" + std::to_string(native) + ")";
  }
  if (error.text.empty()) error.text = "the ODBC driver gives no reason";
  return error;
}

// --- OdbcParameters ---

std::string OdbcParameters::Kinds(std::span<const SqlValue> values) {
  std::string kinds;
  for (const SqlValue& value : values) kinds += KindOf(value);
  return kinds;
}

OdbcParameters::Place& OdbcParameters::PlaceOf(size_t index) {
  while (places_.size() <= index) places_.emplace_back();
  return places_[index];
}

bool OdbcParameters::Bind(SQLHSTMT statement, size_t number, size_t index, char kind) {
  Place& place = PlaceOf(index);
  auto bind = [&](SQLSMALLINT valueType, SQLSMALLINT type, SQLULEN size, void* at, SQLLEN bytes) {
    return OdbcSucceeded(SQLBindParameter(statement, static_cast<SQLUSMALLINT>(number),
                                          SQL_PARAM_INPUT, valueType, type, size, 0, at, bytes,
                                          &place.length));
  };
  switch (kind) {
    case kIntegerKind:
      return bind(SQL_C_SBIGINT, SQL_INTEGER, 0, &place.integer, 0);
    case kBigIntegerKind:
      return bind(SQL_C_SBIGINT, SQL_BIGINT, 0, &place.integer, 0);
    case kLongTextKind: {
      auto bytes = static_cast<SQLLEN>(place.longText.size() * sizeof(char16_t));
      return bind(SQL_C_WCHAR, SQL_WLONGVARCHAR, place.longText.size(), place.longText.data(),
                  bytes);
    }
    default:
      return bind(SQL_C_WCHAR, SQL_WVARCHAR, kLongestBounded, place.text.data(), sizeof place.text);
  }
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

// --- OdbcStatement ---

std::unique_ptr<OdbcStatement> OdbcStatement::Prepare(SQLHDBC connection,
                                                      OdbcParameters& parameters,
                                                      std::string_view text, std::string kinds,
                                                      std::vector<size_t> order, int timeoutS,
                                                      OdbcError& error) {
  OdbcHandle handle = OdbcHandle::Make(SQL_HANDLE_STMT, connection);
  if (!handle.ok()) {
    error = {"", "no further statement can be made"};
    return nullptr;
  }
  std::unique_ptr<OdbcStatement> made(new OdbcStatement(std::move(handle), parameters));
  SQLSetStmtAttrW(made->handle(), SQL_ATTR_QUERY_TIMEOUT, OdbcNumber(timeoutS), SQL_IS_UINTEGER);
  made->kinds_ = std::move(kinds);
  made->order_ = std::move(order);
  std::u16string units = Utf8ToUtf16(text);
  if (made->order_.empty()) {
    made->direct_ = std::move(units);
    return made;
  }
  SQLRETURN code =
      SQLPrepareW(made->handle(), OdbcText(units), static_cast<SQLINTEGER>(units.size()));
  if (OdbcSucceeded(code) && made->BindAll(false)) return made;
  made->Fail(error);
  return nullptr;
}

bool OdbcStatement::BindAll(bool longTextsOnly) {
  for (size_t i = 0; i < order_.size(); ++i) {
    char kind = kinds_[order_[i]];
    if ((kind == kLongTextKind) != longTextsOnly) continue;
    if (!parameters_.Bind(handle(), i + 1, order_[i], kind)) return false;
  }
  return true;
}

bool OdbcStatement::Fail(OdbcError& error) {
  error = ReadOdbcError(handle_);
  Close();
  return false;
}

bool OdbcStatement::Run(std::span<const SqlValue> values, OdbcError& error) {
  for (size_t i = 0; i < values.size(); ++i) parameters_.Put(i, values[i]);
  if (!BindAll(true)) return Fail(error);
  auto length = static_cast<SQLINTEGER>(direct_.size());
  return Began(
      order_.empty() ? SQLExecDirectW(handle(), OdbcText(direct_), length) : SQLExecute(handle()),
      error);
}

bool OdbcStatement::RunPrimaryKeys(std::string_view table, OdbcError& error) {
  std::u16string name = Utf8ToUtf16(table);
  return Began(SQLPrimaryKeysW(handle(), nullptr, 0, nullptr, 0, OdbcText(name),
                               static_cast<SQLSMALLINT>(name.size())),
               error);
}

bool OdbcStatement::RunBestRowId(std::string_view table, OdbcError& error) {
  std::u16string name = Utf8ToUtf16(table);
  return Began(
      SQLSpecialColumnsW(handle(), SQL_BEST_ROWID, nullptr, 0, nullptr, 0, OdbcText(name),
                         static_cast<SQLSMALLINT>(name.size()), SQL_SCOPE_CURROW, SQL_NO_NULLS),
      error);
}

bool OdbcStatement::Began(SQLRETURN code, OdbcError& error) {
  // No data: an update that met no row.
  return OdbcSucceeded(code) || code == SQL_NO_DATA || Fail(error);
}

std::vector<OdbcColumn> OdbcStatement::Columns() {
  SQLSMALLINT count = 0;
  SQLNumResultCols(handle(), &count);
  std::vector<OdbcColumn> columns;
  for (SQLSMALLINT i = 1; i <= count; ++i) {
    columns.push_back(ColumnAt(static_cast<SQLUSMALLINT>(i)));
  }
  return columns;
}

OdbcColumn OdbcStatement::ColumnAt(SQLUSMALLINT number) {
  SQLWCHAR name[256] = {};
  SQLSMALLINT length = 0;
  SQLSMALLINT type = 0;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  SQLSMALLINT nullable = 0;
  SQLDescribeColW(handle(), number, name, static_cast<SQLSMALLINT>(std::size(name)), &length, &type,
                  &size, &digits, &nullable);
  OdbcColumn column;
  column.kind = KindOfType(type);
  column.column.name = FromUnits(name, length, std::size(name));
  column.column.type =
      column.kind == OdbcColumn::Kind::kInteger ? SqlColumnType::kInteger : SqlColumnType::kText;
  column.column.maxLength = MaxLength(type, size);
  return column;
}

OdbcStatement::Step OdbcStatement::Fetch(OdbcError& error) {
  SQLRETURN code = SQLFetch(handle());
  if (code == SQL_NO_DATA) return Step::kEnd;
  if (OdbcSucceeded(code)) return Step::kRow;
  Fail(error);
  return Step::kFailed;
}

bool OdbcStatement::Read(size_t column, OdbcColumn::Kind kind, SqlValue& value, OdbcError& error) {
  auto number = static_cast<SQLUSMALLINT>(column + 1);
  if (kind != OdbcColumn::Kind::kInteger) return ReadText(number, value, error);
  SQLBIGINT integer = 0;
  SQLLEN length = 0;
  SQLRETURN code = SQLGetData(handle(), number, SQL_C_SBIGINT, &integer, sizeof integer, &length);
  if (!OdbcSucceeded(code)) return Fail(error);
  value = length == SQL_NULL_DATA ? SqlValue::Null() : SqlValue::Integer(integer);
  return true;
}

// A long text comes in pieces, each but the last full.
bool OdbcStatement::ReadText(SQLUSMALLINT number, SqlValue& value, OdbcError& error) {
  char16_t piece[kPieceUnits];
  std::u16string text;
  for (;;) {
    SQLLEN length = 0;
    SQLRETURN code = SQLGetData(handle(), number, SQL_C_WCHAR, piece, sizeof piece, &length);
    if (code == SQL_NO_DATA) break;
    if (!OdbcSucceeded(code)) return Fail(error);
    if (length == SQL_NULL_DATA) {
      value = SqlValue::Null();
      return true;
    }
    size_t units = static_cast<size_t>(length) / sizeof(char16_t);
    bool more = length == SQL_NO_TOTAL || units >= kPieceUnits;
    text.append(piece, more ? kPieceUnits - 1 : units);
    if (!more) break;
  }
  value = SqlValue::Text(Utf16ToUtf8(text));
  return true;
}

SQLLEN OdbcStatement::RowCount() const {
  SQLLEN count = 0;
  SQLRowCount(handle(), &count);
  return count;
}

bool OdbcStatement::Finish(OdbcError& error) {
  for (;;) {
    SQLRETURN code = SQLMoreResults(handle());
    if (code == SQL_NO_DATA) break;
    if (!OdbcSucceeded(code)) return Fail(error);
  }
  Close();
  return true;
}

}  // namespace vnq
