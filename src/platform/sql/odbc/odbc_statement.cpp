#include "platform/sql/odbc/odbc_statement.h"

#include <iterator>
#include <utility>

#include "support/utf16.h"

namespace vnq {
namespace {

constexpr size_t kPieceUnits = 4096;  // of a text that is read

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

}  // namespace

std::unique_ptr<OdbcStatement> OdbcStatement::Prepare(SQLHDBC connection,
                                                      OdbcParameters& parameters,
                                                      std::string_view text, OdbcValueKinds kinds,
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
    const OdbcValueKind kind = kinds_[order_[i]];
    if ((kind == OdbcValueKind::kLongText) != longTextsOnly) continue;
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
  column.column.name = OdbcUtf8(name, length, std::size(name));
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
