// Private to platform: ODBC's handles, what a call on one gives, and its errors.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <string>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// An ODBC handle and the duty to free it.
class OdbcHandle {
 public:
  OdbcHandle() = default;
  OdbcHandle(OdbcHandle&& other) noexcept;
  OdbcHandle& operator=(OdbcHandle&& other) noexcept;
  ~OdbcHandle() { Free(); }

  /// A handle that is not ok() when the driver manager gives none.
  static OdbcHandle Make(SQLSMALLINT type, SQLHANDLE parent);

  SQLHANDLE get() const { return handle_; }
  SQLSMALLINT type() const { return type_; }
  bool ok() const { return handle_ != nullptr; }

 private:
  void Free();

  SQLSMALLINT type_ = 0;
  SQLHANDLE handle_ = nullptr;
};

/// Why a call failed: more than a text, for its state decides whether the connection lives on.
struct OdbcError {
  std::string state;  ///< SQLSTATE; empty for what the driver manager was not asked
  std::string text;   ///< the driver's own words, all records of them
  SqlTrouble trouble = SqlTrouble::kNone;

  /// True when an answer was waited for in vain; not for a lock, of which the server tells.
  bool IsTimeOut() const { return state.starts_with("HYT") && trouble != SqlTrouble::kLocked; }
  /// True when the connection cannot be trusted any more.
  bool IsLost() const { return IsTimeOut() || state.starts_with("08"); }

  bool IsUnknownTable() const { return state == "42S02"; }

  /// SQLSTATE and text, for the log.
  std::string Describe() const;
};

/// What the driver says of the last call on the handle.
OdbcError ReadOdbcError(const OdbcHandle& handle);

/// True for a call that did what it was to do.
inline bool OdbcSucceeded(SQLRETURN code) {
  return code == SQL_SUCCESS || code == SQL_SUCCESS_WITH_INFO;
}

/// A number as the driver manager's functions for attributes take it.
inline SQLPOINTER OdbcNumber(intptr_t value) {
  return reinterpret_cast<SQLPOINTER>(value);  // NOLINT(performance-no-int-to-ptr): no other way
}

/// For the driver manager's functions that take 16-bit text.
inline SQLWCHAR* OdbcText(const std::u16string& text) {
  return reinterpret_cast<SQLWCHAR*>(const_cast<char16_t*>(text.data()));
}

/// What the driver manager has written to a place of `capacity` units; `count` may tell of more.
std::string OdbcUtf8(const SQLWCHAR* units, SQLSMALLINT count, size_t capacity);

}  // namespace vnq
