// A program folder with people, a group and what they have said, on any engine.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/database/schema.h"
#include "tests/tools/schema/server_database.h"
#include "tools/folder/init_command.h"
#include "tools/history/history_command.h"
#include "tools/schema/growing_id.h"

namespace vnq {

/// Ann (1), Ben (2) and Cai (3, 蔡); the group Team (Clot000001) with all three.
class HistoryFolder : public ::testing::TestWithParam<DatabaseEngine> {
 protected:
  void SetUp() override {
    if (GetParam() != DatabaseEngine::kSqlite) {
      if (!server_.isThere()) GTEST_SKIP() << "no " << EngineName(GetParam()) << " to test with";
      server_.Make();
      server_.NameIn(folder_);
    }
    std::ostringstream said;
    ASSERT_EQ(RunInit({folder_.path(), false, "en_US"}, said, said), 0) << said.str();
    driver_ = OpenDriver();
    for (const char* user : {"'1','ann','Ann Lee'", "'2','ben','Ben'", "'3','cai','蔡'"}) {
      Do("insert into Users_ID(UserID,UserName,FcName) values(" + std::string(user) + ")");
    }
    Do("insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Team')");
    for (const char* user : {"1", "2", "3"}) Join("Clot000001", user);
    options_.appPath = folder_.path();
    options_.user = "ben";
  }

  std::unique_ptr<SqlDriver> OpenDriver() const {
    if (GetParam() != DatabaseEngine::kSqlite) return server_.Open();
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    return OpenSqlite(options);
  }

  void Do(const std::string& statement) {
    ASSERT_TRUE(driver_->Execute(statement, {})) << driver_->LastError();
  }

  /// The rows of a select, cells joined by '|', rows by blanks.
  std::string Rows(const std::string& select) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(select, {}, rows)) << driver_->LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? " " : "|";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  /// The next group message gets the TypeID behind this one.
  void BeginTypeIdsBehind(int64_t last) {
    for (const TableDef& table : SchemaTables()) {
      if (table.name != "MessengClot_Text") continue;
      ASSERT_TRUE(RaiseGrowingId(*driver_, GetParam(), table, last)) << driver_->LastError();
    }
  }

  void Join(const std::string& group, const std::string& user) {
    Do("insert into Clot_Form(UpperID,UserID) values('" + group + "','" + user + "')");
  }

  /// A message as the server stores it, at a time of 2026-03-04. flags: IsAck1 to IsAck4, "0111".
  void Peer(const std::string& id, const std::string& from, const std::string& to,
            const std::string& text, const std::string& flags, const std::string& time = "05:06:07",
            int type = 10) {
    std::string values;
    for (char flag : flags) values += std::string(",") + flag;
    Do("insert into Messeng_Text(Msg_ID,MyID,YouID,FcName,To_Date,To_Time,UserText,FontInfo,"
       "To_Type,IsAck1,IsAck2,IsAck3,IsAck4) values('" +
       id + "','" + from + "','" + to + "','then','2026-03-04','" + time + "','" + text +
       "','font'," + std::to_string(type) + values + ")");
  }

  /// A group message, with a row of Msg_Acks for each of the other two. Its TypeID is the next one.
  void Group(const std::string& id, const std::string& from, const std::string& text = "t",
             const std::string& group = "Clot000001") {
    Do("insert into MessengClot_Text(Msg_ID,ClotID,MyID,FcName,UserText,FontInfo,To_Type,To_Date,"
       "To_Time) values('" +
       id + "','" + group + "','" + from + "','then','" + text +
       "','font',1,'2026-03-04','06:00:00')");
    for (const char* user : {"1", "2", "3"}) {
      if (user == from) continue;
      Do("insert into Msg_Acks(Msg_ID,ClotID,MyID,YouID) values('" + id + "','" + group + "','" +
         from + "','" + user + "')");
    }
  }

  void Notice(const std::string& id, const std::string& from, const std::string& to,
              const std::string& title) {
    Do("insert into MessengNotice_Text(Msg_ID,MyID,Ntitle,Ncontent,Nlink,To_Date) values('" + id +
       "','" + from + "','" + title + "','the%20content','','2026-03-04 07:00:00')");
    Do("insert into Notice_Acks(Msg_ID,MyID,YouID,IsAck1,IsAck2) values('" + id + "','" + from +
       "','" + to + "',1,1)");
  }

  /// A record that found nobody, as the server parks it for a session: "ClotID","UserID2", types.
  void Park(const std::string& tag, const std::string& clotId, const std::string& userId2,
            const std::string& types, const std::string& time = "08:00:00") {
    Do("insert into MessengVerify_Type(UserID1,ClotID,UserID2,UserText,TO_IP,To_Date,To_Type1,"
       "To_Type2,To_Type3,To_Type4) values('" +
       tag + "','" + clotId + "','" + userId2 + "','let%20me','127.0.0.1','2026-03-04 " + time +
       "','" + types[0] + "','" + types[1] + "','" + types[2] + "','" + types[3] + "')");
  }

  /// Runs the command; what it prints.
  std::string History() {
    std::ostringstream out, err;
    exitCode_ = RunHistory(options_, out, err);
    error_ = err.str();
    EXPECT_EQ(error_.empty(), exitCode_ == 0) << error_;
    return out.str();
  }

  std::string Unread(Device device = Device::kDesktop) {
    options_.onlyUnread = true;
    options_.device = device;
    return History();
  }

  /// Shows what a device has not had, and marks it.
  std::string Take(Device device = Device::kDesktop) {
    options_.markRead = true;
    return Unread(device);
  }

  ServerDatabase server_{GetParam()};
  AppFolder folder_;
  std::unique_ptr<SqlDriver> driver_;
  HistoryOptions options_;
  std::string error_;
  int exitCode_ = 0;
};

}  // namespace vnq
