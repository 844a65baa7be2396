#include "tools/history/directory.h"

#include <fmt/format.h>

#include <functional>
#include <map>
#include <set>
#include <string_view>

#include "support/ascii_case.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

std::string Text(const Cursor& row, std::string_view column) {
  return JsonString(OrEmpty(row[column]));
}

int32_t Number(const Cursor& row, std::string_view column) {
  return ToInt32(row[column]).value_or(0);
}

// Each row of a select as a part of a JSON array; an empty part is left out. False when the select
// fails.
bool EachRow(Database& database, const Statement& select, std::string& array,
             const std::function<std::string(const Cursor&)>& part) {
  Cursor rows(database);
  if (!rows.Open(select)) return false;
  array = "[";
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string text = part(rows);
    if (!text.empty()) array += (array.size() > 1 ? "," : "") + text;
  }
  array += "]";
  return true;
}

// Values of a column by the key in another, letters in lower case.
bool ReadPairs(Database& database, const Statement& select, std::map<std::string, int32_t>& pairs) {
  Cursor rows(database);
  if (!rows.Open(select)) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    pairs[AsciiLower(OrEmpty(rows.Column(0)))] = ToInt32(rows.Column(1)).value_or(0);
  }
  return true;
}

int32_t Looked(const std::map<std::string, int32_t>& pairs, const Expr& key) {
  const auto found = pairs.find(AsciiLower(OrEmpty(key)));
  return found == pairs.end() ? 0 : found->second;
}

RequestAnswer DatabaseFailure(Database& database) {
  return RequestAnswer::Failure("database", database.driver().LastError());
}

bool ReadDepartments(Database& database, std::string& departments) {
  return EachRow(database, Sql("Select * from Users_Ro"), departments, [](const Cursor& row) {
    return fmt::format(R"({{"id":{},"parent":{},"name":{}}})", Text(row, "TypeID"),
                       Text(row, "ParentID"), Text(row, "TypeName"));
  });
}

bool ReadPeople(Database& database, std::string& people) {
  std::map<std::string, int32_t> pictures;
  if (!ReadPairs(database, Sql("Select UserID,pic from Users_Pic"), pictures)) return false;
  return EachRow(database, Sql("Select * from Users_ID"), people, [&](const Cursor& row) {
    if (ToInt32(row["UserState"]) == 0) return std::string();
    return fmt::format(
        R"({{"id":{},"login":{},"name":{},"department":{},"job":{},"picture":{},"state":{}}})",
        Text(row, "UserID"), Text(row, "UserName"), Text(row, "FcName"), Text(row, "UppeId"),
        Text(row, "Jod"), Looked(pictures, row["UserID"]), Number(row, "UserIcoLine"));
  });
}

bool ReadGroups(Database& database, const std::string& UserID, std::string& groups) {
  std::map<std::string, int32_t> muted, admin;
  if (!ReadPairs(database, Sql("Select YouID,MyID from Clot_Silence where MyID='?'", UserID),
                 muted) ||
      !ReadPairs(database, Sql("Select UpperID,IsAdmin from Clot_Form where UserID='?'", UserID),
                 admin)) {
    return false;
  }
  std::set<std::string> done;
  return EachRow(
      database,
      Sql("Select aa.TypeID,aa.TypeName,aa.Remark from Clot_Ro as aa,Clot_Form as bb where "
          "bb.UserID='?' and aa.TypeID=bb.UpperID",
          UserID),
      groups, [&](const Cursor& row) {
        const std::string key = AsciiLower(OrEmpty(row["TypeID"]));
        if (!done.insert(key).second) return std::string();
        return fmt::format(R"({{"id":{},"name":{},"remark":{},"admin":{},"muted":{}}})",
                           Text(row, "TypeID"), Text(row, "TypeName"), Text(row, "Remark"),
                           Looked(admin, row["TypeID"]) != 0, muted.contains(key));
      });
}

std::string ProfileText(const Cursor& row, bool isOwn) {
  std::string text = fmt::format(R"({{"id":{},"login":{},"name":{},"department":{},"job":{})",
                                 Text(row, "UserID"), Text(row, "UserName"), Text(row, "FcName"),
                                 Text(row, "UppeId"), Text(row, "Jod"));
  for (const char* column :
       {"age", "Tel1", "Tel2", "address", "School", "say", "remark", "Constellation"}) {
    text += fmt::format(R"(,"{}":{})", AsciiLower(column), Text(row, column));
  }
  if (isOwn) text += fmt::format(R"(,"verify":{})", Number(row, "IsVerify"));
  return text + "}";
}

}  // namespace

RequestAnswer ReadDirectory(Database& database, const std::string& UserID) {
  std::string departments, people, groups, friends;
  const bool done = ReadDepartments(database, departments) && ReadPeople(database, people) &&
                    ReadGroups(database, UserID, groups) &&
                    EachRow(database, Sql("Select UserID from Fav_Form where MyID='?'", UserID),
                            friends, [](const Cursor& row) { return Text(row, "UserID"); });
  if (!done) return DatabaseFailure(database);
  return RequestAnswer::Of(
      fmt::format(R"({{"departments":{},"people":{},"groups":{},"friends":{}}})", departments,
                  people, groups, friends));
}

RequestAnswer ReadMembers(Database& database, const std::string& UserID,
                          const std::string& ClotID) {
  bool isMember = false;
  std::map<std::string, std::string> names;
  std::string members;
  const bool done =
      EachRow(database,
              Sql("Select bb.UserID,bb.FcName from Clot_Form as aa,Users_ID as bb where "
                  "aa.UpperID='?' and bb.UserID=aa.UserID",
                  ClotID),
              members,
              [&](const Cursor& row) {
                names[AsciiLower(OrEmpty(row["UserID"]))] = Text(row, "FcName");
                return std::string();
              }) &&
      EachRow(database, Sql("Select * from Clot_Form where UpperID='?'", ClotID), members,
              [&](const Cursor& row) {
                const std::string id = OrEmpty(row["UserID"]);
                isMember = isMember || SameButForCase(id, UserID);
                const auto name = names.find(AsciiLower(id));
                return fmt::format(R"({{"id":{},"name":{},"admin":{},"remark":{}}})",
                                   JsonString(id), name == names.end() ? "\"\"" : name->second,
                                   Number(row, "IsAdmin") != 0, Text(row, "remark"));
              });
  if (!done) return DatabaseFailure(database);
  if (!isMember) return RequestAnswer::Failure("not_allowed", "not a member of this group");
  return RequestAnswer::Of("{\"members\":" + members + "}");
}

RequestAnswer ReadProfile(Database& database, const std::string& UserID, const std::string& of) {
  Cursor row(database);
  if (!row.Open(Sql("Select * from Users_ID where UserID='?'", of))) {
    return DatabaseFailure(database);
  }
  if (row.RecordCount() == 0) return RequestAnswer::Failure("not_found", "there is no such user");
  return RequestAnswer::Of(ProfileText(row, SameButForCase(of, UserID)));
}

RequestAnswer ReadStates(Database& database, const std::vector<std::string>& of) {
  std::string states = "[]";
  if (!of.empty() &&
      !EachRow(database,
               SqlList("Select UserID,FcName,UserIcoLine from Users_ID where UserID in (?)", of),
               states, [](const Cursor& row) {
                 return fmt::format(R"({{"id":{},"name":{},"state":{}}})", Text(row, "UserID"),
                                    Text(row, "FcName"), Number(row, "UserIcoLine"));
               })) {
    return DatabaseFailure(database);
  }
  return RequestAnswer::Of("{\"states\":" + states + "}");
}

}  // namespace vnq
