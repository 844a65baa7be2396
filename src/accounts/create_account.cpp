#include "accounts/accounts.h"
#include "host/database/version_counters.h"

namespace vnq {
namespace {

constexpr std::string_view kDefaultFolder = "VNQ";
constexpr int kFolderOfFiles = 3;  // To_Type of a user's own file folder

Expr NextUserId(Database& database, bool isAccess) {
  int32_t highest = 0;
  Cursor Adodc1(database);
  Adodc1.Open(isAccess ? Sql("Select max(clng(UserID)) from Users_ID")
                       : Sql("Select max(CONVERT(int,UserID)) from Users_ID"));
  const Expr maximum = Adodc1.Column(0);
  if (!maximum.IsNull()) Assign(highest, ToInt32(maximum));  // NULL: there is no account yet
  return Plus(highest, 1);
}

void AddUser(Database& database, const Expr& newId, const NewAccount& account) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select top 1 * from Users_ID"));
  Adodc1.AddNew();
  Adodc1.Set("UppeId", account.UppeId);
  Adodc1.Set("UserIco", account.UserIco);
  Adodc1.Set("UserID", newId);
  Adodc1.Set("FcName", account.FcName);
  Adodc1.Set("UserPaws", Trim(account.UserPaws));
  Adodc1.Set("UserName", account.UserName);
  Adodc1.Set("age", "");
  Adodc1.Set("Tel1", account.Tel1);
  Adodc1.Set("Tel2", "");
  Adodc1.Set("Constellation", account.Constellation);
  Adodc1.Set("remark", "");
  Adodc1.Set("jod", account.jod);
  Adodc1.Set("UserIcoLine", 0);
  Adodc1.Set("UserState", account.UserState);
  Adodc1.Update();
}

void AddPicture(Database& database, const Expr& newId) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select * from Users_Pic where UserID='?'", newId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("UserID", newId);
  Adodc1.Update();
}

void AddFileFolder(Database& database, const Expr& newId, const Expr& UserName) {
  Cursor Adodc1(database);
  Adodc1.Open(
      Sql("Select * from PtpFolder where MyID='?' and UsName='VNQ' and ParentID='0' "
          "and To_Type=3",
          newId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("MyID", newId);
  Adodc1.Set("UsName", kDefaultFolder);
  Adodc1.Set("ParentID", "0");
  Adodc1.Set("To_Type", kFolderOfFiles);
  Adodc1.Set("CreatorID", newId);
  Adodc1.Set("CreatorName", UserName);
  Adodc1.Update();
}

void AddFavouritesFolder(Database& database, const Expr& newId) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select * from Col_Ro where MyID='?' and TypeName='VNQ'", newId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("TypeName", kDefaultFolder);
  Adodc1.Set("MyID", newId);
  Adodc1.Update();
}

void AddDefaultRole(Database& database, const Expr& newId) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select ID from Role where DefaultRole=1"));
  if (Adodc1.RecordCount() < 1) return;
  int16_t roleId = 0;
  Assign(roleId, ToInt16(Adodc1["ID"]));
  Cursor Adodc2(database);
  Adodc2.Open(Sql("Select * from Users_Role where UserID='?'", newId));
  if (Adodc2.RecordCount() > 0) return;
  Adodc2.AddNew();
  Adodc2.Set("UserID", newId);
  Adodc2.Set("RoleID", roleId);
  Adodc2.Update();
}

}  // namespace

int CountAccountsNamed(Database& database, const Expr& UserName, std::string& FcName) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select FcName,UserID from Users_ID where UserName='?'", UserName));
  const int count = Adodc1.RecordCount();
  if (count == 1) Assign(FcName, Join(Adodc1["FcName"]));
  return count;
}

Expr KnownDepartment(Database& database, const Expr& TypeID) {
  Cursor Adodc1(database);
  Adodc1.Open(Sql("Select * from Users_Ro where TypeID='?'", TypeID));
  if (Adodc1.RecordCount() > 0) return TypeID;
  Cursor Adodc2(database);
  Adodc2.Open(Sql("Select top 1 * from Users_Ro where ParentID='000000'"));
  return Adodc2.RecordCount() > 0 ? Join(Adodc2["TypeID"]) : TypeID;
}

Expr CreateAccount(Database& database, bool isAccess, const NewAccount& account) {
  Expr newId = NextUserId(database, isAccess);
  AddUser(database, newId, account);
  AddPicture(database, newId);
  AddFileFolder(database, newId, account.UserName);
  AddFavouritesFolder(database, newId);
  AddDefaultRole(database, newId);
  BumpGlobalCounter(database, "Users_IDVesr");
  return newId;
}

}  // namespace vnq
