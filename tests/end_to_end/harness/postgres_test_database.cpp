#include "tests/end_to_end/harness/postgres_test_database.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/replace_all.h"
#include "tools/init_command.h"

namespace vnq {
namespace {

constexpr const char* kTemplate = "vnq_template";

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
  static int count = 0;
  name_ = fmt::format("test_{}_{}", getpid(), ++count);
  const char* server = getenv("VNQ_TEST_POSTGRES");
  std::istringstream words(server != nullptr ? server : "");
  std::getline(words, address_, ':');
  std::getline(words, port_);
  EXPECT_FALSE(port_.empty()) << "VNQ_TEST_POSTGRES is not set; see scripts/with_postgres.sh";

  PGconn* connection = Connect("postgres");
  if (!CopyTemplate(connection, name_)) {
    Do(connection, "select pg_advisory_lock(6004)");
    if (!CopyTemplate(connection, name_)) {
      MakeTemplate(connection, address_, port_);
      EXPECT_TRUE(CopyTemplate(connection, name_)) << PQerrorMessage(connection);
    }
  }
  PQfinish(connection);
}

PostgresTestDatabase::~PostgresTestDatabase() {
  PQfinish(connection_);
  PGconn* connection = Connect("postgres");
  Do(connection, fmt::format("drop database {} with (force)", name_));
  PQfinish(connection);
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
}

}  // namespace vnq
