#include "host/database/schema.h"

namespace vnq {

namespace {

constexpr ColumnDef Int(std::string_view name) {
  return {name, ColumnKind::kInteger};
}

constexpr ColumnDef Zero(std::string_view name) {
  return {name, ColumnKind::kInteger, ColumnDefault::kZero};
}

constexpr ColumnDef Today(std::string_view name) {
  return {name, ColumnKind::kText, ColumnDefault::kToday};
}

constexpr ColumnDef Now(std::string_view name) {
  return {name, ColumnKind::kText, ColumnDefault::kNow};
}

constexpr ColumnDef Long(std::string_view name) {
  return {name, ColumnKind::kText, ColumnDefault::kNull, TextLength::kUnbounded};
}

std::vector<TableDef> UserTables() {
  return {
      // One row per user. UserID is the text form of a number; UserName is the login name.
      {"Users_ID",
       {{"UserID"},
        {"UserName"},
        {"UserPaws", ColumnKind::kExactText},
        {"FcName"},
        {"UppeId"},
        {"UserIco"},
        {"Jod"},
        {"age"},
        Long("Effigy"),
        {"Tel1"},
        {"Tel2"},
        Long("address"),
        {"School"},
        {"Constellation"},
        Long("say"),
        Long("remark"),
        Int("IsVerify"),
        Int("UserState"),
        Int("IsManager"),
        Zero("UserIcoLine"),
        {"NetworkIP"},
        {"LocalIP"},
        Long("LocalIPList"),
        {"Mac"},
        Long("MacList"),
        {"LoginTime"},
        {"PlatForm"},
        Long("Registration_Id"),
        {"ManuFacturer"},
        Zero("Users_IDVesr"),
        Zero("Fav_FormVesr")},
       {"UserID", "UserName"}},

      // The version of a user's picture.
      {"Users_Pic", {{"UserID"}, Zero("pic")}, {"UserID"}},

      // The department tree; the root row's ParentID is 000000. Clients read the five columns by
      // position.
      {"Users_Ro",
       {{"TypeID"}, {"ParentID"}, {"TypeName"}, {"Sort"}, Long("Remark")},
       {"TypeID", "ParentID"}},

      // Which user has which roles.
      {"Users_Role", {{"UserID"}, Int("RoleID")}, {"UserID"}},

      // Rights and size limits. Permissions is a list of numbers joined by commas.
      {"Role",
       {Int("ID"),
        Zero("DefaultRole"),
        Long("Permissions"),
        Long("Plug"),
        {"PtpSize"},
        Long("PtpType"),
        {"ClotSize"},
        Long("ClotType"),
        {"UsersSize"},
        Long("UsersType"),
        {"PubSize"},
        Long("PubType"),
        Long("DepartmentPermission"),
        Long("Department")},
       {"ID"}},

      // One row per managed computer; WindowsInfo is its name.
      {"Users_WinInfo",
       {{"WindowsInfo"}, {"UserName"}, Long("Upan"), {"LocalIP"}, Zero("UserIcoLine")},
       {"WindowsInfo"}},

      // Friends: one row per direction.
      {"Fav_Form", {{"UserID"}, {"MyID"}}, {"UserID,MyID"}},

      // A user's file folders and favourites.
      {"PtpFolder",
       {{"MyID"}, Long("UsName"), {"ParentID"}, Int("To_Type"), {"CreatorID"}, {"CreatorName"}},
       {"MyID"}},
      {"Col_Ro", {{"TypeName"}, {"MyID"}}, {"MyID"}},
  };
}

std::vector<TableDef> GroupTables() {
  return {
      // Group headers; TypeID is Clot and six digits.
      {"Clot_Ro",
       {{"TypeID"},
        {"TypeName"},
        Long("Remark"),
        {"To_Date"},
        {"Sender"},
        Zero("Users_IDVesr"),
        Zero("Users_FormVesr")},
       {"TypeID", "TypeName"}},

      // Members; remark is the name that the group shows. The marks hold the last TypeID of
      // MessengClot_Text that
      // each kind of client has.
      {"Clot_Form",
       {{"UpperID"},
        {"UserID"},
        Zero("IsAdmin"),
        Long("remark"),
        Zero("last_ack_typeid1"),
        Zero("last_ack_typeid2"),
        Zero("last_ack_typeid3"),
        Zero("last_ack_typeid4")},
       {"UpperID", "UserID,UpperID"}},

      // Group pictures, groups that a user has muted, members of customer groups.
      {"Clot_Pic", {{"ClotID"}, Int("ClotInfo"), {"pic"}}, {"ClotID"}},
      {"Clot_Silence", {{"MyID"}, {"YouID"}}, {"MyID"}},
      {"lv_chater_Clot_Form", {Int("TypeID"), Zero("IsAdmin"), {"UserID"}}, {"TypeID"}},
  };
}

std::vector<TableDef> MessageTables() {
  return {
      // Peer messages. IsAck1 to IsAck4 say which device still wants its copy.
      {"Messeng_Text",
       {{"Msg_ID"},
        {"MyID"},
        {"YouID"},
        {"FcName"},
        {"To_Date"},
        {"To_Time"},
        Long("UserText"),
        {"FontInfo"},
        Int("To_Type"),
        Zero("IsAck1"),
        Zero("IsAck2"),
        Zero("IsAck3"),
        Zero("IsAck4")},
       {"Msg_ID"},
       {"MyID,YouID", "YouID"}},

      // Group messages; TypeID is what orders the messages of a group.
      {"MessengClot_Text",
       {{"TypeID", ColumnKind::kGrowingId},
        {"Msg_ID"},
        {"ClotID"},
        {"MyID"},
        {"FcName"},
        Long("UserText"),
        {"FontInfo"},
        Int("To_Type"),
        Today("To_Date"),
        Now("To_Time")},
       {"Msg_ID", "ClotID"}},

      // One row per group message and recipient.
      {"Msg_Acks",
       {{"Msg_ID"},
        {"ClotID"},
        {"MyID"},
        {"YouID"},
        Zero("IsReceipt1"),
        Zero("IsReceipt2"),
        Today("To_Date")},
       {"Msg_ID,YouID"}},

      // Notices, and one row per notice and receiver.
      {"MessengNotice_Text",
       {{"Msg_ID"},
        {"MyID"},
        Long("Ntitle"),
        Long("Ncontent"),
        Long("Nlink"),
        {"TO_IP"},
        {"To_Date"}},
       {"Msg_ID"}},
      {"Notice_Acks",
       {{"Msg_ID"}, {"MyID"}, {"YouID"}, Zero("IsAck1"), Zero("IsAck2")},
       {"Msg_ID,YouID"}},

      // Verification records that wait for the session named by UserID1, and refusals that block.
      {"MessengVerify_Type",
       {{"UserID1"},
        {"ClotID"},
        {"UserID2"},
        Long("UserText"),
        {"TO_IP"},
        {"To_Date"},
        {"To_Type1"},
        {"To_Type2"},
        {"To_Type3"},
        {"To_Type4"}},
       {"UserID1"}},
      {"MessengVerify_Blacklist",
       {{"MyID"}, {"YouID"}, {"TO_IP"}, {"To_Date"}, Int("To_Type")},
       {"MyID,YouID"}},

      // The older offline stores, of users and of visitors.
      {"Messeng_Type",
       {{"UserID1"}, {"UserID2"}, {"To_Date"}, Int("To_Type"), Long("UserText"), {"FontInfo"}},
       {"UserID1"}},
      {"MessengKefu_Type",
       {{"UserID1"}, {"UserID2"}, {"FcName"}, {"To_Date"}, Int("To_Type"), Long("UserText")},
       {"UserID1"}},

      // Visitor messages and live support: other programs write them, this one sweeps them by age.
      {"MessengKefu_Text", {Today("To_Date")}, {}},
      {"MessengKefuClot_Text", {Today("To_Date")}, {}},
      {"lv_chater_KefuMsg_Acks", {Zero("IsReceipt1"), Zero("IsReceipt2"), Today("To_Date")}, {}},
      {"lv_chat", {{"intime"}}, {}},
      {"lv_user", {{"RegTime"}}, {}},
      {"lv_track", {{"InTime"}}, {}},
      {"lv_source", {{"InTime"}}, {}},

      // Broadcasts; bulletins and with whom a user shares them.
      {"ToInfo", {Long("To_Txt"), {"FontInfo"}, Today("To_Date")}, {}},
      {"News_Form", {{"UserID"}, Long("Motif")}, {"UserID"}},
      {"News_Ro", {{"MyID"}, {"UserID"}}, {"MyID"}},
  };
}

std::vector<TableDef> FileAndSessionTables() {
  return {
      // Files left for a user, shared with a group, and of a user's own. Paths and sizes are the
      // clients' own texts.
      {"LeaveFile",
       {{"Msg_ID"},
        {"UserID1"},
        {"UserID2"},
        Long("TypePath"),
        {"PcSize"},
        {"ToDate"},
        Int("SendTy"),
        Long("FilPath")},
       {"Msg_ID"}},
      {"ClotFile",
       {{"Msg_ID"},
        {"MyID"},
        {"ClotID"},
        Long("TypePath"),
        {"PcSize"},
        Long("UsName"),
        Long("FilPath"),
        Int("FileState")},
       {"Msg_ID", "ClotID"}},
      {"OnlineFile",
       {{"MyID"},
        Long("UsName"),
        Long("TypePath"),
        {"PcSize"},
        Long("FilPath"),
        Int("FileState"),
        {"ToDate"},
        {"ToTime"}},
       {"MyID"}},

      // One row per meeting or call, and per request for remote assistance.
      {"Tab_Chat",
       {Int("ChatId"),
        {"MyID"},
        {"YouID"},
        Int("IsVideo"),
        Int("LoginType1"),
        Int("LoginType2"),
        Zero("Status"),
        Zero("CloseRole"),
        {"InTime"}},
       {"ChatId"}},
      {"remote_chat",
       {Int("ChatId"), {"MyID"}, {"YouID"}, Zero("Status"), Zero("CloseRole"), {"ip"}},
       {"ChatId", "MyID,YouID"}},

      // Visitors that have registered.
      {"Kefu", {{"IP"}, {"City"}}, {}},
  };
}

std::vector<TableDef> ConfigurationTables() {
  return {
      {"Tab_Config", {{"Col_Name"}, {"Col_Genre"}, Zero("Col_Disabled"), Long("Col_Data")}, {}},

      // Words that messages must not hold: col_type 0 are masked, 1 block the message.
      {"vnq_keyword", {Int("col_type"), Long("col_keyword")}, {}},
      {"Plug", {Int("Plug_Site"), Int("Plug_Index"), Long("Plug_Target")}, {}},

      // One row each, with id 1: the logo's version, and the counters that tell clients what has
      // changed.
      {"OtherForm", {Int("ID"), Zero("Logo")}, {}},
      {"UpDateForm",
       {Int("id"), Zero("Users_RoVesr"), Zero("Users_IDVesr"), Zero("Clot_RoVesr"),
        Zero("Clot_FormVesr"), Zero("NewGo_Vesr"), Zero("NewRo_Vesr"), Zero("LeaveFile_Vesr"),
        Zero("ClotFile_Vesr")},
       {}},

      // What users do, and errors. Both are emptied when they grow past their ceiling.
      {"ServerLog", {Long("Txt"), {"UserID"}, {"Ip"}, Int("Ico")}, {}},
      {"ServerErrLog", {{"ToDate"}, Long("Err1"), Long("Err2")}, {}},
  };
}

void Append(std::vector<TableDef>& tables, const std::vector<TableDef>& more) {
  tables.insert(tables.end(), more.begin(), more.end());
}

}  // namespace

const std::vector<TableDef>& SchemaTables() {
  static const std::vector<TableDef> tables = [] {
    std::vector<TableDef> all = UserTables();
    Append(all, GroupTables());
    Append(all, MessageTables());
    Append(all, FileAndSessionTables());
    Append(all, ConfigurationTables());
    return all;
  }();
  return tables;
}

std::vector<std::string> ExactTextColumns() {
  std::vector<std::string> names;
  for (const TableDef& table : SchemaTables()) {
    for (const ColumnDef& column : table.columns) {
      if (column.kind == ColumnKind::kExactText) names.emplace_back(column.name);
    }
  }
  return names;
}

}  // namespace vnq
