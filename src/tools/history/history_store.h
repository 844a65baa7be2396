// A program folder opened for reading what its users have said.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/database/database.h"
#include "host/settings/texts.h"
#include "tools/folder/program_database.h"
#include "tools/history/history_text.h"
#include "tools/history/name_book.h"

namespace vnq {

class HistoryStore {
 public:
  /// Null, with the reason in `error`, when the folder or its database cannot be read.
  static std::unique_ptr<HistoryStore> Open(const std::string& appPath, std::string& error);

  Database& database() { return database_; }
  const ProgramFolder& folder() const { return folder_; }
  DatabaseEngine engine() const { return folder_.engine; }
  NameBook& names() { return names_; }

  /// Of HistoryQuery.
  const std::string& rowColumn() const { return rowColumn_; }

  /// What inline tokens are called in the folder's language; "[...]" where it has no text for one.
  LabelOf labels();

 private:
  explicit HistoryStore(ProgramDatabase opened);

  ProgramFolder folder_;
  Database database_;
  NameBook names_{database_};
  std::string rowColumn_;
  Texts texts_;
};

}  // namespace vnq
