// The tables that a database has, read in the same form from every engine.
//
// What is read is what the connection sees: the schema that unqualified names lead to. Names keep
// the engine's spelling and are looked up without regard to ASCII case.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

struct ExistingColumn {
  std::string name;
  std::string type;       ///< as the engine calls it, in lower case and without a length
  int64_t length = 0;     ///< the bound in characters; 0: none
  std::string collation;  ///< in lower case; empty where the engine tells none
  bool isNotNull = false;
  bool hasDefault = false;
  bool isAssigned = false;  ///< the database makes its values up
};

struct ExistingIndex {
  std::string name;

  /// One entry a column, in lower case: its name, or the expression that PostgreSQL keeps of it.
  std::vector<std::string> keys;
};

struct ExistingTable {
  std::string name;
  std::vector<ExistingColumn> columns;  ///< in their order
  std::vector<ExistingIndex> indexes;

  /// Null when there is none.
  const ExistingColumn* Find(std::string_view column) const;
};

class ExistingSchema {
 public:
  /// False, with the reason in `error`, when the database refuses.
  bool Read(SqlDriver& driver, DatabaseEngine engine, std::string& error);

  /// Null when there is none.
  const ExistingTable* Find(std::string_view table) const;

 private:
  std::map<std::string, ExistingTable> tables_;  // by name in lower case
};

/// True when `name` stands in a text by itself, not as a part of a longer name.
bool HoldsName(std::string_view text, std::string_view name);

}  // namespace vnq
