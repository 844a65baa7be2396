#include "tests/harness/postgres_test_database.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/sql/sql_driver.h"
#include "support/replace_all.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

constexpr const char* kTemplate = "vnq_template";
constexpr int kMostDatabases = 200;

// Leaves the tables as new: no rows, places and numbers that begin anew.
constexpr const char* kEmpty =
    "do $$ declare name text; begin"
    " for name in select oid::regclass from pg_class where relkind='r'"
    " and relnamespace=current_schema()::regnamespace and pg_relation_size(oid)>0 loop"
    " execute 'truncate '||name||' restart identity'; end loop; end $$";

// The commands that came before are not of interest, only whether this one did what it should.
bool Do(PGconn* connection, const std::string& statement) {
  PGresult* result = PQexec(connection, statement.c_str());
  const bool done =
      PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
  PQclear(result);
  return done;
}

std::string SettingsOf(const std::string& address, const std::string& port,
                       const std::string& database) {
  return fmt::format(
      "DB_TYPE=postgresql\nDB_SERVER={}\nDB_PORT={}\nDB_NAME={}\nDB_USER=vnq\nDB_PWD=", address,
      port, database);
}

// A database with the schema in it, which the tests' own are copies of: made by the first that
// asks.
void MakeTemplate(PGconn* connection, const std::string& address, const std::string& port) {
  const std::string raw = fmt::format("{}_{}", kTemplate, getpid());
  EXPECT_TRUE(Do(connection, "create database " + raw)) << PQerrorMessage(connection);
  std::string folder = (std::filesystem::temp_directory_path() / "vnq_template_XXXXXX").string();
  EXPECT_NE(mkdtemp(folder.data()), nullptr);
  std::filesystem::create_directories(folder + "/Web/Data");
  std::ofstream(folder + "/platform.ini") << "[database]\ndriver=postgresql\n";
  std::ofstream(folder + "/Web/Data/DataBase.ini") << "[server_connection]\n"
                                                   << SettingsOf(address, port, raw);
  std::ostringstream said;
  EXPECT_EQ(RunInit({folder, false, "C"}, said, said), 0) << said.str();
  std::filesystem::remove_all(folder);
  EXPECT_TRUE(Do(connection, fmt::format("alter database {} rename to {}", raw, kTemplate)))
      << PQerrorMessage(connection);
}

// The first value; the empty text without one.
std::string Answer(PGconn* connection, const std::string& select) {
  PGresult* result = PQexec(connection, select.c_str());
  std::string answer = PQntuples(result) > 0 ? PQgetvalue(result, 0, 0) : "";
  PQclear(result);
  return answer;
}

bool CopyTemplate(PGconn* connection, const std::string& name) {
  return Do(connection, fmt::format("create database {} template {}", name, kTemplate));
}

// SQLite's name for the place of a row, in its order.
std::string WithRowId(std::string statement) {
  ReplaceAll(statement, "rowid", "((ctid::text::point)[0]*10000+(ctid::text::point)[1])::int");
  return statement;
}

}  // namespace

PostgresTestDatabase::PostgresTestDatabase() {
  const char* server = getenv("VNQ_TEST_POSTGRES");
  std::istringstream words(server != nullptr ? server : "");
  std::getline(words, address_, ':');
  std::getline(words, port_);
  EXPECT_FALSE(port_.empty()) << "VNQ_TEST_POSTGRES is not set; see scripts/with_postgres.sh";
  owner_ = Connect("postgres");
  for (int number = 1; number < kMostDatabases && !Take(number);) ++number;
  EXPECT_FALSE(name_.empty()) << "all databases are taken";
}

// The database of a number, when no other test has it.
bool PostgresTestDatabase::Take(int number) {
  if (Answer(owner_, fmt::format("select pg_try_advisory_lock({})", number)) != "t") return false;
  name_ = fmt::format("test_{}", number);
  if (Answer(owner_, fmt::format("select datname from pg_database where datname='{}'", name_)) ==
      name_) {
    PGconn* inside = Connect(name_);
    EXPECT_TRUE(Do(inside, kEmpty)) << PQerrorMessage(inside);
    PQfinish(inside);
  } else if (!CopyTemplate(owner_, name_)) {
    Do(owner_, "select pg_advisory_lock(6004)");
    if (!CopyTemplate(owner_, name_)) {
      MakeTemplate(owner_, address_, port_);
      EXPECT_TRUE(CopyTemplate(owner_, name_)) << PQerrorMessage(owner_);
    }
    Do(owner_, "select pg_advisory_unlock(6004)");
  }
  return true;
}

PostgresTestDatabase::~PostgresTestDatabase() {
  PQfinish(connection_);
  if (changed_) Do(owner_, fmt::format("drop database {} with (force)", name_));
  PQfinish(owner_);
}

pg_conn* PostgresTestDatabase::Connect(const std::string& database) const {
  PGconn* connection = PQsetdbLogin(address_.c_str(), port_.c_str(), "-c client_min_messages=error",
                                    nullptr, database.c_str(), "vnq", nullptr);
  EXPECT_EQ(PQstatus(connection), CONNECTION_OK) << PQerrorMessage(connection);
  PQsetClientEncoding(connection, "UTF8");
  return connection;
}

std::string PostgresTestDatabase::Settings() const {
  return SettingsOf(address_, port_, name_);
}

void PostgresTestDatabase::Open(const std::string&) {
  connection_ = Connect(name_);
}

std::vector<std::string> PostgresTestDatabase::Rows(const std::string& select) {
  std::vector<std::string> rows;
  PGresult* result = PQexec(connection_, WithRowId(select).c_str());
  EXPECT_EQ(PQresultStatus(result), PGRES_TUPLES_OK) << PQerrorMessage(connection_) << select;
  for (int i = 0; i < PQntuples(result); ++i) {
    std::string row;
    for (int k = 0; k < PQnfields(result); ++k) {
      if (PQfname(result, k) == kSqlRowColumn) continue;
      row += k > 0 ? "|" : "";
      row += PQgetisnull(result, i, k) ? "NULL" : PQgetvalue(result, i, k);
    }
    rows.push_back(std::move(row));
  }
  PQclear(result);
  return rows;
}

void PostgresTestDatabase::Run(const std::string& statements) {
  EXPECT_TRUE(Do(connection_, WithRowId(statements))) << PQerrorMessage(connection_) << statements;
  for (const char* word : {"create ", "drop ", "alter "}) {
    changed_ = changed_ || statements.find(word) != std::string::npos;
  }
  // The embedded engine counts on behind a number that was given.
  if (statements.find("into MessengClot_Text") != std::string::npos) {
    Do(connection_,
       "select setval(pg_get_serial_sequence('messengclot_text','typeid'),"
       "(select max(TypeID) from MessengClot_Text)) where exists(select 1 from MessengClot_Text)");
  }
}

}  // namespace vnq
