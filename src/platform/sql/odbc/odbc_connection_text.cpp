#include "platform/sql/odbc/odbc_connection_text.h"

#include <sql.h>
#include <sqlext.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <utility>

#include "support/ascii_case.h"
#include "support/replace_all.h"

namespace vnq {
namespace {

constexpr std::string_view kUsualPort = "1433";

bool NamesFreeTds(std::string_view text) {
  const std::string lower = AsciiLower(text);
  return lower.find("tdsodbc") != lower.npos || lower.find("freetds") != lower.npos;
}

// The attributes are texts with a NUL behind each and one more at the end.
std::string_view AllAttributes(const SQLCHAR* attributes, size_t capacity) {
  auto text = reinterpret_cast<const char*>(attributes);
  size_t end = 0;
  while (end + 1 < capacity && (text[end] != '\0' || text[end + 1] != '\0')) ++end;
  return {text, end};
}

// A value in braces when it has characters of the text's own. ODBC doubles a closing brace inside;
// FreeTDS does not know that, and ends a value at the first closing brace with a semicolon behind.
std::string Value(std::string_view value, bool isFreeTds) {
  bool plain = !value.empty() && value.find_first_of(";{}=\t ") == std::string_view::npos;
  std::string text(value);
  if (plain) return text;
  if (!isFreeTds) ReplaceAll(text, "}", "}}");
  return "{" + text + "}";
}

}  // namespace

bool OdbcConnectionText(const ServerDatabaseOptions& options, const OdbcDriverInfo& driver,
                        std::string& text, std::string& error) {
  std::string port = options.port.empty() ? std::string(kUsualPort) : options.port;
  const std::array values = {&options.host, &std::as_const(port), &options.database, &options.user,
                             &options.password};
  for (const std::string* each : values) {
    if (!driver.isFreeTds || each->find("};") == std::string::npos) continue;
    error = "DataBase.ini: FreeTDS cannot be told a value that holds \"};\"";
    return false;
  }
  auto value = [&](const std::string& each) { return Value(each, driver.isFreeTds); };
  text = "DRIVER={" + driver.name + "};SERVER=";
  text += driver.isFreeTds ? value(options.host) + ";PORT=" + value(port)
                           : value("tcp:" + options.host + "," + port);
  text += ";DATABASE=" + value(options.database);
  text += ";UID=" + value(options.user) + ";PWD=" + value(options.password);
  if (driver.isFreeTds) {
    text += ";TDS_Version=7.4;ClientCharset=UTF-8";
  } else if (AsciiLower(driver.name).find("sql server") != std::string::npos) {
    // Servers in a company's own network have certificates that they signed themselves.
    text += ";TrustServerCertificate=yes";
  }
  return true;
}

std::optional<OdbcDriverInfo> FindOdbcDriver(void* environment, std::string_view name) {
  if (name.starts_with("/")) return OdbcDriverInfo{std::string(name), NamesFreeTds(name)};
  SQLCHAR found[256];
  SQLCHAR attributes[4096];
  for (SQLUSMALLINT direction = SQL_FETCH_FIRST;; direction = SQL_FETCH_NEXT) {
    SQLSMALLINT length = 0;
    SQLSMALLINT attributesLength = 0;
    std::fill(std::begin(attributes), std::end(attributes), SQLCHAR{0});
    SQLRETURN code = SQLDrivers(environment, direction, found, sizeof found, &length, attributes,
                                sizeof attributes, &attributesLength);
    if (code != SQL_SUCCESS && code != SQL_SUCCESS_WITH_INFO) return std::nullopt;
    std::string text(reinterpret_cast<const char*>(found));
    if (!SameButForCase(text, name)) continue;
    bool freeTds = NamesFreeTds(text) || NamesFreeTds(AllAttributes(attributes, sizeof attributes));
    return OdbcDriverInfo{std::move(text), freeTds};
  }
}

}  // namespace vnq
