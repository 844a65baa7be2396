#include "tools/history/name_book.h"

namespace vnq {
namespace {

// The one id that the first statement finds or, when that finds none, the second.
bool FindOne(Database& database, const Statement& byName, const Statement& byId,
             const std::string& what, std::string& id, std::string& error) {
  Cursor rows(database);
  rows.Open(byName);
  if (rows.RecordCount() > 1) {
    error = "several " + what + "s have this name; give the id";
    return false;
  }
  if (rows.RecordCount() == 0) rows.Open(byId);
  if (rows.RecordCount() == 0) {
    error = "there is no such " + what;
    return false;
  }
  id = OrEmpty(rows.Column(0));
  return true;
}

const std::string& Look(Database& database, std::map<std::string, std::string>& names,
                        const std::string& id, std::string_view select) {
  const auto known = names.find(id);
  if (known != names.end()) return known->second;
  Cursor row(database);
  row.Open(Sql(select, id));
  return names[id] = OrEmpty(row.Column(0));
}

}  // namespace

bool NameBook::FindUser(const std::string& nameOrId, std::string& UserID, std::string& error) {
  return FindOne(*database_, Sql("Select UserID from Users_ID where UserName='?'", nameOrId),
                 Sql("Select UserID from Users_ID where UserID='?'", nameOrId), "user", UserID,
                 error);
}

bool NameBook::FindGroup(const std::string& nameOrId, std::string& ClotID, std::string& error) {
  return FindOne(*database_, Sql("Select TypeID from Clot_Ro where TypeName='?'", nameOrId),
                 Sql("Select TypeID from Clot_Ro where TypeID='?'", nameOrId), "group", ClotID,
                 error);
}

bool NameBook::HasUser(const std::string& UserID) {
  Cursor rows(*database_);
  return rows.Open(Sql("Select UserID from Users_ID where UserID='?'", UserID)) &&
         rows.RecordCount() > 0;
}

const std::string& NameBook::UserName(const std::string& UserID) {
  return Look(*database_, users_, UserID, "Select FcName from Users_ID where UserID='?'");
}

const std::string& NameBook::GroupName(const std::string& ClotID) {
  return Look(*database_, groups_, ClotID, "Select TypeName from Clot_Ro where TypeID='?'");
}

}  // namespace vnq
