// Private to platform: values and names between the driver interface and the PostgreSQL client.
#pragma once

#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_driver.h"

struct pg_result;

namespace vnq {

struct PostgresResultDeleter {
  void operator()(pg_result* result) const;
};
using PostgresResult = std::unique_ptr<pg_result, PostgresResultDeleter>;

/// The text as a server takes it: UTF-8 without NUL. Each character that cannot be kept (a lone
/// surrogate, a broken sequence, NUL) becomes U+FFFD, the rest stays.
std::string StorableText(std::string_view text);

/// Values in the text format. Refers to the texts it was made from, which must outlive it.
class PostgresParameters {
 public:
  explicit PostgresParameters(std::span<const SqlValue> values);

  PostgresParameters(const PostgresParameters&) = delete;
  PostgresParameters& operator=(const PostgresParameters&) = delete;

  const char* const* texts() const { return texts_.data(); }
  int count() const { return static_cast<int>(texts_.size()); }

 private:
  const char* Text(const SqlValue& value);

  std::vector<const char*> texts_;  // null for NULL
  std::deque<std::string> made_;
};

/// The columns of a result but for the last `behind` ones and any of the name `hidden`; `shown`
/// tells where each is.
std::vector<SqlColumn> ReadPostgresColumns(const pg_result* result, size_t behind,
                                           std::string_view hidden, std::vector<int>& shown);

/// The one table that all columns of a result are columns of, by the server's number for it; 0 when
/// there is none.
unsigned CommonPostgresTable(const pg_result* result);

/// Appends the rows of a result: for each of rows.columns the one at its place in `shown`, and the
/// result's last rows.identityWidth ones.
void ReadPostgresRows(const pg_result* result, std::span<const int> shown, SqlRows& rows);

/// A cell as its column's type has it.
SqlValue ReadPostgresCell(const pg_result* result, size_t row, size_t column, SqlColumnType type);

}  // namespace vnq
