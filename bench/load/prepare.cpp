#include "bench/load/prepare.h"

#include <algorithm>

#include "bench/load/accounts.h"
#include "host/database/open_database.h"
#include "host/settings/program_folder.h"
#include "platform/net/clock.h"
#include "tools/folder/in_transaction.h"
#include "tools/folder/init_command.h"

namespace vnq::bench {
namespace {

constexpr int kBusyTimeoutMs = 2000;

SqlValue Text(std::string text) {
  return SqlValue::Text(std::move(text));
}
SqlValue Number(int64_t number) {
  return SqlValue::Integer(number);
}

}  // namespace

std::unique_ptr<SqlDriver> OpenDatabase(const std::string& appPath, int busyTimeoutMs,
                                        std::string& error) {
  const auto folder = OpenProgramFolder(appPath, {}, SystemLocaleName(), error);
  if (!folder) return nullptr;
  if (folder->engine != DatabaseEngine::kSqlite) {
    PlatformSettings platform = folder->platform;
    platform.busyTimeoutMs = busyTimeoutMs;
    return OpenConfiguredDatabase(folder->settings, platform, PathMapper(), folder->appPath);
  }
  SqliteOptions options;
  options.path = folder->Map(folder->appPath + folder->settings.DataBaseName);
  options.busyTimeoutMs = busyTimeoutMs;
  return OpenSqlite(options);
}

namespace {

// What gives the numbers from one to another as column i of n.
std::string_view NumbersOf(DatabaseEngine engine) {
  return engine == DatabaseEngine::kPostgres
             ? "generate_series(cast(? as integer),cast(? as integer)) as n(i)"
             : "(with recursive m(i) as (select ? union all select i+1 from m where i<?)"
               " select i from m) as n";
}

class Preparation {
 public:
  Preparation(SqlDriver& driver, DatabaseEngine engine, const PrepareOptions& options)
      : driver_(driver), engine_(engine), options_(options) {}

  bool Run() { return AddUsers() && AddGroups() && AddMessageRows(); }

  int64_t usersAdded = 0, membersAdded = 0, rowsAdded = 0;

 private:
  int64_t Count(std::string_view statement, const std::vector<SqlValue>& values = {}) {
    SqlRows rows;
    const bool ok = driver_.Query(statement, values, rows) && rows.rowCount() > 0;
    return ok ? rows.cells[0].integer : -1;
  }

  bool AddUsers() {
    const int64_t have = Count("select count(*) from Users_ID where UserName like 'bench%'");
    for (int64_t i = std::max<int64_t>(have, 0); i < options_.users; ++i) {
      const auto account = static_cast<size_t>(i);
      const std::vector<SqlValue> values = {Text(UserId(account)), Text(UserName(account)),
                                            Text(kPassword), Text("Bench " + UserId(account))};
      if (!driver_.Execute("insert into Users_ID(UserID,UserName,UserPaws,FcName,UppeId,UserIco,"
                           "UserState,IsVerify,IsManager) values(?,?,?,?,'000000','0',1,0,0)",
                           values) ||
          !driver_.Execute("insert into Users_Pic(UserID) values(?)", {&values[0], 1})) {
        return false;
      }
      ++usersAdded;
    }
    return true;
  }

  bool AddGroups() {
    return std::all_of(options_.groups.begin(), options_.groups.end(),
                       [this](int64_t members) { return AddGroup(members); });
  }

  bool AddGroup(int64_t members) {
    const SqlValue id = Text(GroupId(static_cast<size_t>(members)));
    if (Count("select count(*) from Clot_Ro where TypeID=?", {id}) == 0 &&
        !driver_.Execute("insert into Clot_Ro(TypeID,TypeName,Remark,Sender) values(?,?,'','')",
                         std::vector<SqlValue>{id, id})) {
      return false;
    }
    const int64_t have = Count("select count(*) from Clot_Form where UpperID=?", {id});
    for (int64_t i = std::max<int64_t>(have, 0); i < members; ++i) {
      const std::string user = UserId(static_cast<size_t>(i));
      const std::vector<SqlValue> values = {id, Text(user), Number(i == 0), Text(user)};
      if (!driver_.Execute("insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values(?,?,?,?)",
                           values)) {
        return false;
      }
      ++membersAdded;
    }
    return true;
  }

  bool AddMessageRows() {
    const int64_t have = Count("select count(*) from Messeng_Text where Msg_ID like 'old-%'");
    if (have >= options_.messageRows) return true;
    rowsAdded = options_.messageRows - have;
    const std::string words =
        "insert into Messeng_Text(Msg_ID,MyID,YouID,FcName,To_Date,To_Time,UserText,FontInfo,"
        "To_Type,IsAck2,IsAck3,IsAck4)"
        " select 'old-'||i,'9000001','9000002','Bench','" +
        SystemClock().Now().Date() + "','12:00:00','An%20old%20message','',10,1,1,1 from " +
        std::string(NumbersOf(engine_));
    return driver_.Execute(words,
                           std::vector<SqlValue>{Number(have + 1), Number(options_.messageRows)});
  }

  SqlDriver& driver_;
  DatabaseEngine engine_;
  const PrepareOptions& options_;
};

}  // namespace

int Prepare(const PrepareOptions& options, std::ostream& out, std::ostream& err) {
  InitOptions init;
  init.appPath = options.appPath;
  init.localeName = options.locale;
  if (RunInit(init, out, err) != 0) return 1;
  std::string error;
  const auto folder = OpenProgramFolder(options.appPath, {}, SystemLocaleName(), error);
  const auto driver = OpenDatabase(options.appPath, kBusyTimeoutMs, error);
  if (driver == nullptr) {
    err << "vnq_bench: " << error << "\n";
    return 1;
  }
  Preparation preparation(*driver, folder->engine, options);
  if (!InTransaction(*driver, folder->engine, [&] { return preparation.Run(); })) {
    err << "vnq_bench: " << driver->LastError() << "\n";
    return 1;
  }
  out << "added: accounts " << preparation.usersAdded << ", group members "
      << preparation.membersAdded << ", old messages " << preparation.rowsAdded << "\n";
  return 0;
}

}  // namespace vnq::bench
