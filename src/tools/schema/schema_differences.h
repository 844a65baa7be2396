// Where the tables that a database has differ from the ones that the server expects.
//
// Only what can make a statement fail, lose a character or compare otherwise is a difference;
// further tables, columns and indexes of other programs are none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/database/schema.h"
#include "tools/schema/schema_reader.h"

namespace vnq {

struct SchemaDifference {
  /// False: statements run, but texts are lost, cut or compared otherwise, or looked up slowly.
  bool breaksStatements = false;

  std::string line;       ///< such as "table Users_ID: column UserPaws is missing"
  std::string cure = {};  ///< the statement that makes what is missing; empty where there is none
};

/// The differences of the tables that exist, in the order of the schema.
std::vector<SchemaDifference> SchemaDifferences(const ExistingSchema& schema,
                                                DatabaseEngine engine);

/// The tables that are not there.
std::vector<std::string_view> MissingTables(const ExistingSchema& schema);

/// True when a look-up by these columns has an index, whatever that is called.
bool HasIndex(const ExistingTable& existing, const TableDef& table, std::string_view columns,
              DatabaseEngine engine);

/// Why an index on these columns of an existing table cannot be made; empty when it can.
std::string IndexObstacle(const ExistingTable& existing, std::string_view columns,
                          DatabaseEngine engine);

}  // namespace vnq
