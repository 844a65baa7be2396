#include "tools/folder/demo_data.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/clock.h"
#include "tools/folder/in_transaction.h"
#include "tools/terminal/command_line.h"
#include "tools/terminal/text_table.h"

namespace vnq {

namespace {

struct Department {
  std::string_view typeId, parentId, name;
};

constexpr Department kDepartments[] = {
    {"000001", "000000", "演示公司 Demo Company"},
    {"000002", "000001", "研发部 Engineering"},
    {"000003", "000001", "客服部 Support"},
};

struct DemoRole {
  int64_t id, defaultRole;
  std::string_view permissions;
};

// Permission 3 is the right to put files into a group; neither role restricts the login.
constexpr DemoRole kRoles[] = {{1, 1, ""}, {2, 0, "3"}};

struct Person {
  std::string_view userId, userName, password, fcName, department, jod;
  int64_t isVerify, isManager, role;
};

constexpr Person kPersons[] = {
    {"1", "alice", "alice-pw-1", "Alice Martin", "000002", "Engineer", 0, 0, 1},
    {"2", "ben", "ben-pw-2", "Ben Carter", "000003", "Support agent", 1, 0, 1},
    {"3", "carol", "carol-pw-3", "Carol Jones", "000001", "Office manager", 0, 1, 2},
    {"4", "wangfang", "wangfang-pw-4", "王芳", "000002", "工程师", 0, 0, 1},
    {"5", "liwei", "liwei-pw-5", "李伟", "000003", "客服", 1, 0, 1},
    {"6", "张敏", "zhangmin-pw-6", "张敏", "000001", "行政", 0, 0, 1},
};

constexpr std::string_view kGroup = "Clot000001";
constexpr std::string_view kGroupName = "项目组 Project team";
constexpr std::string_view kGroupMembers[] = {"1", "2", "4", "5"};  // the creator first

SqlValue Text(std::string_view text) {
  return SqlValue::Text(std::string(text));
}
SqlValue Number(int64_t number) {
  return SqlValue::Integer(number);
}

/// Runs statements until one fails.
class Inserts {
 public:
  explicit Inserts(SqlDriver& driver) : driver_(driver) {}

  void Run(std::string_view statement, const std::vector<SqlValue>& values = {}) {
    ok_ = ok_ && driver_.Execute(statement, values);
  }
  bool ok() const { return ok_; }

 private:
  SqlDriver& driver_;
  bool ok_ = true;
};

void AddDepartments(Inserts& inserts) {
  for (const Department& department : kDepartments) {
    inserts.Run("insert into Users_Ro(TypeID,ParentID,TypeName) values(?,?,?)",
                {Text(department.typeId), Text(department.parentId), Text(department.name)});
  }
}

void AddRoles(Inserts& inserts) {
  for (const DemoRole& role : kRoles) {
    inserts.Run("insert into Role(ID,DefaultRole,Permissions) values(?,?,?)",
                {Number(role.id), Number(role.defaultRole), Text(role.permissions)});
  }
}

// The rows that an accepted application for an account leaves behind.
void AddPerson(Inserts& inserts, const Person& person) {
  const SqlValue id = Text(person.userId);
  inserts.Run(
      "insert into Users_ID(UppeId,UserIco,UserID,FcName,UserPaws,UserName,age,Tel1,Tel2,"
      "Constellation,remark,Jod,UserIcoLine,UserState,IsVerify,IsManager)"
      " values(?,'0',?,?,?,?,'','','','','',?,0,1,?,?)",
      {Text(person.department), id, Text(person.fcName), Text(person.password),
       Text(person.userName), Text(person.jod), Number(person.isVerify), Number(person.isManager)});
  inserts.Run("insert into Users_Pic(UserID) values(?)", {id});
  inserts.Run(
      "insert into PtpFolder(MyID,UsName,ParentID,To_Type,CreatorID,CreatorName)"
      " values(?,'VNQ','0',3,?,?)",
      {id, id, Text(person.userName)});
  inserts.Run("insert into Col_Ro(TypeName,MyID) values('VNQ',?)", {id});
  inserts.Run("insert into Users_Role(UserID,RoleID) values(?,?)", {id, Number(person.role)});
}

std::string_view NameOf(std::string_view userId) {
  for (const Person& person : kPersons) {
    if (person.userId == userId) return person.fcName;
  }
  return "";
}

void AddGroup(Inserts& inserts) {
  inserts.Run(
      "insert into Clot_Ro(TypeID,TypeName,Remark,To_Date,Sender)"
      " values(?,?,'',?,?)",
      {Text(kGroup), Text(kGroupName), Text(SystemClock().Now().Date()),
       Text(NameOf(kGroupMembers[0]))});
  inserts.Run("insert into Clot_Pic(ClotID,ClotInfo) values(?,0)", {Text(kGroup)});
  for (std::string_view member : kGroupMembers) {
    inserts.Run(
        "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values(?,?,?,?)",
        {Text(kGroup), Text(member), Number(member == kGroupMembers[0]), Text(NameOf(member))});
  }
}

bool AddAll(SqlDriver& driver) {
  Inserts inserts(driver);
  AddDepartments(inserts);
  AddRoles(inserts);
  for (const Person& person : kPersons) AddPerson(inserts, person);
  AddGroup(inserts);
  // A client begins with counters of 0; it fetches a list only when the counter here differs.
  inserts.Run(
      "update UpDateForm set Users_RoVesr=Users_RoVesr+1,Users_IDVesr=Users_IDVesr+1,"
      "Clot_RoVesr=Clot_RoVesr+1,Clot_FormVesr=Clot_FormVesr+1 where id=1");
  return inserts.ok();
}

bool IsEmpty(SqlDriver& driver) {
  for (const char* table : {"Users_ID", "Users_Ro", "Role", "Clot_Ro"}) {
    SqlRows rows;
    const std::string statement = "Select top 1 * from " + std::string(table);
    if (!driver.Query(statement, {}, rows) || rows.rowCount() > 0) return false;
  }
  return true;
}

/// The password of a sample account as the database has it, or what to say instead.
std::string PasswordOf(SqlDriver& driver, const Person& person, bool& found) {
  SqlRows rows;
  const std::vector<SqlValue> key = {Text(person.userId), Text(person.userName)};
  found = driver.Query("Select UserPaws from Users_ID where UserID=? and UserName=?", key, rows) &&
          rows.rowCount() > 0;
  if (!found) return "";
  // A password that somebody has chosen is not for this table.
  return rows.cells[0].text == person.password ? rows.cells[0].text : "(changed)";
}

bool PrintAccounts(SqlDriver& driver, std::ostream& out) {
  std::vector<std::vector<std::string>> table = {{"UserID", "login name", "password", "name"}};
  for (const Person& person : kPersons) {
    bool found = false;
    std::string password = PasswordOf(driver, person, found);
    if (!found) continue;
    table.push_back({std::string(person.userId), std::string(person.userName), std::move(password),
                     std::string(person.fcName)});
  }
  if (table.size() == 1) return false;
  out << "\nSample accounts:\n";
  PrintTable(table, out);
  const std::vector<SqlValue> key = {Text(kGroup), Text(kGroupName)};
  SqlRows rows;
  if (driver.Query("Select * from Clot_Ro where TypeID=? and TypeName=?", key, rows) &&
      rows.rowCount() > 0) {
    out << "Sample group: " << kGroup << ", " << kGroupName << " (1, 2, 4, 5)\n";
  }
  return true;
}

}  // namespace

bool AddDemoData(SqlDriver& driver, DatabaseEngine engine, std::ostream& out, std::ostream& err) {
  if (IsEmpty(driver)) {
    if (!InTransaction(driver, engine, [&] { return AddAll(driver); })) {
      Fail(err, "init", "cannot add the sample data: " + driver.LastError());
      return false;
    }
    out << "added the sample data\n";
  }
  if (PrintAccounts(driver, out)) return true;
  Fail(err, "init",
       "no sample data added: the database holds users, departments, roles or groups already");
  return false;
}

}  // namespace vnq
