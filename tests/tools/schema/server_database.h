// A database server for tests, and program folders whose settings name a database on it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/own_address.h"

namespace vnq {

/// The server of an engine that the run of the tests brings along:
/// VNQ_TEST_POSTGRES=ADDRESS:PORT, VNQ_TEST_TDS=ADDRESS:PORT:FOLDER.
class ServerDatabase {
 public:
  explicit ServerDatabase(DatabaseEngine engine) : engine_(engine) {
    const char* named =
        getenv(engine == DatabaseEngine::kPostgres ? "VNQ_TEST_POSTGRES" : "VNQ_TEST_TDS");
    const std::string server = named == nullptr ? "" : named;
    address_ = server.substr(0, server.find(':'));
    if (address_.empty()) return;
    port_ = server.substr(address_.size() + 1);
    port_.resize(std::min(port_.find(':'), port_.size()));
    static int number = 0;
    name_ = "vnq_tools_" + std::to_string(getpid()) + "_" + std::to_string(++number);
  }
  ~ServerDatabase() {
    if (made_) Admin("drop database if exists " + name_ + " with (force)");
  }
  ServerDatabase(const ServerDatabase&) = delete;
  ServerDatabase& operator=(const ServerDatabase&) = delete;

  bool isThere() const { return !address_.empty(); }
  DatabaseEngine engine() const { return engine_; }
  const std::string& address() const { return address_; }
  const std::string& port() const { return port_; }
  const std::string& name() const { return name_; }

  /// Makes the database; the test server for SQL Server does so by itself.
  void Make(const std::string& properties = "") {
    if (engine_ != DatabaseEngine::kPostgres) return;
    Admin("create database " + name_ + " " + properties);
    made_ = true;
  }

  std::unique_ptr<SqlDriver> Open() const { return OpenAs(name_); }

  /// Writes settings that name the database.
  void NameIn(const AppFolder& folder, const std::string& user = "vnq",
              const std::string& password = "") const {
    NameIn(folder, name_, user, password);
  }
  void NameIn(const AppFolder& folder, const std::string& database, const std::string& user,
              const std::string& password) const {
    const bool isPostgres = engine_ == DatabaseEngine::kPostgres;
    folder.Write("platform.ini",
                 std::string("[locale]\nlanguage_id=1033\ncode_page=936\n[network]\n"
                             "bind_address=") +
                     AddressOfThisProcess(214) +
                     "\n[database]\ndriver=" + (isPostgres ? "postgresql\n" : "FreeTDS\n"));
    folder.Write("Web/Data/DataBase.ini",
                 "[server_connection]\nDB_TYPE=server\nDataBaseIp=127.0.0.1\nDB_SERVER=" +
                     address_ + "\nDB_PORT=" + port_ + "\nDB_NAME=" + database +
                     "\nDB_USER=" + user + "\nDB_PWD=" + password + "\n");
  }

 private:
  std::unique_ptr<SqlDriver> OpenAs(const std::string& database) const {
    ServerDatabaseOptions options;
    options.odbcDriver = "FreeTDS";
    options.host = address_;
    options.port = port_;
    options.user = "vnq";
    options.database = database;
    return engine_ == DatabaseEngine::kPostgres ? OpenPostgres(options) : OpenOdbc(options);
  }

  void Admin(const std::string& statement) {
    const auto driver = OpenAs("postgres");
    EXPECT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }

  DatabaseEngine engine_;
  std::string address_, port_, name_;
  bool made_ = false;
};

}  // namespace vnq
