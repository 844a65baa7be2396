#include "tools/folder/database_advice.h"

#include <algorithm>

#include "support/ascii_case.h"
#include "support/numbers.h"
#include "support/shell_text.h"

namespace vnq {

namespace {

bool HoldsOneOf(const std::string& text, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [&text](std::string_view word) {
    return text.find(word) != std::string::npos;
  });
}

// Behind a program's name, for somebody who may make databases and users there.
std::string PostgresServer(const Settings& settings) {
  std::string server = " -h " + ShellWord(settings.DB_SERVER);
  if (!settings.DB_PORT.empty()) server += " -p " + ShellWord(settings.DB_PORT);
  return server;
}

std::string CreateDatabase(const Settings& settings, DatabaseEngine engine) {
  if (engine != DatabaseEngine::kPostgres) return "create database [" + settings.DB_NAME + "]";
  return "createdb" + PostgresServer(settings) + " -O " + ShellWord(settings.DB_USER) +
         " -E UTF8 -T template0 " + ShellWord(settings.DB_NAME);
}

std::string CreateUser(const Settings& settings, DatabaseEngine engine) {
  if (engine == DatabaseEngine::kPostgres) {
    return "createuser" + PostgresServer(settings) + " --pwprompt " + ShellWord(settings.DB_USER);
  }
  return "create login [" + settings.DB_USER + "] with password = '...'; use [" + settings.DB_NAME +
         "]; create user [" + settings.DB_USER + "] for login [" + settings.DB_USER + "]";
}

bool IsPort(const std::string& text) {
  const auto port = ParseInt32(text);
  return text.empty() || (port && *port > 0 && *port < 65536);
}

// The settings that name the server, without the password.
std::string ServerAddress(const Settings& settings) {
  return "[server_connection] DB_SERVER=" + settings.DB_SERVER + " DB_PORT=" + settings.DB_PORT +
         " DB_NAME=" + settings.DB_NAME + " DB_USER=" + settings.DB_USER;
}

// The first setting without which no server can be reached.
std::string MissingServerSetting(const Settings& settings) {
  struct Required {
    std::string_view key;
    const std::string& value;
    std::string_view meaning;
  };
  const Required required[] = {
      {"DB_SERVER", settings.DB_SERVER, "the database server's name or address"},
      {"DB_NAME", settings.DB_NAME, "the database's name on the server"},
      {"DB_USER", settings.DB_USER, "the user to log in as"},
  };
  for (const Required& one : required) {
    if (!one.value.empty()) continue;
    return "[server_connection] " + std::string(one.key) + "= is empty; it is " +
           std::string(one.meaning) + " (DB_TYPE=" + settings.DbType +
           " asks for a server; access is the embedded database)";
  }
  return "";
}

// What to do after a failed connect.
std::string ConnectAdvice(const Settings& settings, DatabaseEngine engine,
                          std::string_view driverError) {
  const std::string error = AsciiLower(driverError);
  const bool isMissing =
      HoldsOneOf(error, {"cannot open database"}) ||
      (HoldsOneOf(error, {"database \""}) && HoldsOneOf(error, {"\" does not exist"}) &&
       !HoldsOneOf(error, {"role \""}));
  const bool isRefused = HoldsOneOf(error, {"authentication failed", "login failed", "role \"",
                                            "no password supplied", "pg_hba"});
  if (isMissing) {
    return "the database is missing, or the user may not open it; make it with: " +
           CreateDatabase(settings, engine);
  }
  if (isRefused) {
    return "the login is refused; check DB_USER and DB_PWD, and that the server lets this machine"
           " in; a user is made with: " +
           CreateUser(settings, engine);
  }
  if (HoldsOneOf(error, {"no odbc driver", "can't open lib", "data source name not found"})) {
    return "install the ODBC driver (Debian's package tdsodbc has FreeTDS), or name another in"
           " [database] driver of platform.ini as odbcinst.ini does; postgresql needs none";
  }
  return "check that the server runs and that DB_SERVER and DB_PORT lead to it";
}

}  // namespace

std::string ServerFault(SqlDriver& driver, const Settings& settings, DatabaseEngine engine,
                        const std::string& ini) {
  const std::string missing = MissingServerSetting(settings);
  if (!missing.empty()) return ini + ": " + missing;
  if (!IsPort(settings.DB_PORT)) {
    return ini + ": [server_connection] DB_PORT=" + settings.DB_PORT +
           " is no port; leave it empty for the usual one";
  }
  SqlRows rows;
  if (driver.Query("select 1 as c", {}, rows)) return "";
  const std::string why = OneLine(driver.LastError());
  return ini + ": " + ServerAddress(settings) + ": " + why + "; " +
         ConnectAdvice(settings, engine, why);
}

std::string EncodingFinding(SqlDriver& driver, DatabaseEngine engine) {
  SqlRows rows;
  if (engine != DatabaseEngine::kPostgres ||
      !driver.Query("select getdatabaseencoding() as c", {}, rows) || rows.rowCount() == 0) {
    return "";
  }
  const std::string& encoding = rows.cells[0].text;
  if (encoding == "UTF8" || encoding == "SQL_ASCII") return "";
  return "its encoding is " + encoding +
         ", and texts with other characters are refused; make it"
         " with the encoding UTF8";
}

std::string OneLine(std::string_view text) {
  std::string line;
  for (char c : text) {
    const bool isBlank = c == ' ' || (c >= '\t' && c <= '\r');
    if (isBlank && (line.empty() || line.back() == ' ')) continue;
    line += isBlank ? ' ' : c;
  }
  while (line.ends_with(' ')) line.pop_back();
  return line;
}

}  // namespace vnq
