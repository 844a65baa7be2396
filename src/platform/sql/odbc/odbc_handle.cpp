#include "platform/sql/odbc/odbc_handle.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "support/utf16.h"

namespace vnq {
namespace {

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
    case 229:  // on an object
    case 230:  // on a column
    case 262:  // in the database
      return SqlTrouble::kForbidden;
    case 207:  // a column
    case 208:  // a table
      return SqlTrouble::kMissing;
    case 823:
    case 824:
      return SqlTrouble::kWriteFailed;
    default:
      return SqlTrouble::kNone;
  }
}

}  // namespace

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

std::string OdbcError::Describe() const {
  return state.empty() ? text : state + " " + text;
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
    OdbcError found{OdbcUtf8(state, 5, std::size(state)), OdbcUtf8(text, length, std::size(text)),
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

std::string OdbcUtf8(const SQLWCHAR* units, SQLSMALLINT count, size_t capacity) {
  size_t length = std::min(count < 0 ? 0 : static_cast<size_t>(count), capacity - 1);
  return Utf16ToUtf8({reinterpret_cast<const char16_t*>(units), length});
}

}  // namespace vnq
