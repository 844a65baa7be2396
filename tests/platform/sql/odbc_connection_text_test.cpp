#include "platform/sql/odbc/odbc_connection_text.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vnq {
namespace {

ServerDatabaseOptions Options() {
  ServerDatabaseOptions options;
  options.host = "db.example";
  options.database = "company";
  options.user = "vnq";
  options.password = "secret";
  return options;
}

// Empty when there is none.
std::string ConnectionText(const ServerDatabaseOptions& options, const OdbcDriverInfo& driver) {
  std::string text, error;
  const bool made = OdbcConnectionText(options, driver, text, error);
  EXPECT_EQ(made, error.empty()) << error;
  return made ? text : "";
}

TEST(OdbcConnectionText, FreeTdsGetsPortVersionAndCharacterSet) {
  EXPECT_EQ(ConnectionText(Options(), {"FreeTDS", true}),
            "DRIVER={FreeTDS};SERVER=db.example;PORT=1433;DATABASE=company;UID=vnq;PWD=secret;"
            "TDS_Version=7.4;ClientCharset=UTF-8");
}

TEST(OdbcConnectionText, TheMakersOwnDriverGetsThePortBehindTheServer) {
  ServerDatabaseOptions options = Options();
  options.port = "1500";
  EXPECT_EQ(ConnectionText(options, {"ODBC Driver 18 for SQL Server", false}),
            "DRIVER={ODBC Driver 18 for SQL Server};SERVER=tcp:db.example,1500;DATABASE=company;"
            "UID=vnq;PWD=secret;TrustServerCertificate=yes");
}

TEST(OdbcConnectionText, ValuesWithSignsOfTheTextItselfAreBraced) {
  auto password = [](const std::string& value, bool freeTds) {
    ServerDatabaseOptions options = Options();
    options.password = value;
    std::string text = ConnectionText(options, {"x", freeTds});
    text.erase(0, std::min(text.find("PWD="), text.size()));
    return text.substr(0, text.find(";TDS_Version"));
  };
  EXPECT_EQ(password("中文", true), "PWD=中文");
  EXPECT_EQ(password("", true), "PWD={}");
  EXPECT_EQ(password("a;b", true), "PWD={a;b}");
  EXPECT_EQ(password(" a", true), "PWD={ a}");
  EXPECT_EQ(password("a{b}c", true), "PWD={a{b}c}");
  EXPECT_EQ(password("a{b}c", false), "PWD={a{b}}c}");
  EXPECT_EQ(password("a};b", false), "PWD={a}};b}");
  EXPECT_EQ(password("a};b", true), "") << "it would end the value";
}

TEST(OdbcConnectionText, AValueThatFreeTdsCannotBeToldIsAnError) {
  ServerDatabaseOptions options = Options();
  options.user = "a};b";
  std::string text, error;
  EXPECT_FALSE(OdbcConnectionText(options, {"x", true}, text, error));
  EXPECT_EQ(error, "DataBase.ini: FreeTDS cannot be told a value that holds \"};\"");
  EXPECT_EQ(text, "");
}

TEST(OdbcConnectionText, AValueCannotAddAKeyOfItsOwn) {
  ServerDatabaseOptions options = Options();
  options.host = "a;UID=sa";
  options.port = "1;UID=sb";
  EXPECT_EQ(ConnectionText(options, {"x", true})
                .rfind("DRIVER={x};SERVER={a;UID=sa};PORT={1;UID=sb};DATABASE=", 0),
            0U);
  EXPECT_EQ(ConnectionText(options, {"x", false})
                .rfind("DRIVER={x};SERVER={tcp:a;UID=sa,1;UID=sb};DATABASE=", 0),
            0U);
}

TEST(FindOdbcDriver, AnAbsolutePathIsTheDriversLibrary) {
  auto driver = FindOdbcDriver(nullptr, "/opt/lib/libtdsodbc.so");
  ASSERT_TRUE(driver);
  EXPECT_EQ(driver->name, "/opt/lib/libtdsodbc.so");
  EXPECT_TRUE(driver->isFreeTds);
  EXPECT_FALSE(FindOdbcDriver(nullptr, "/opt/lib/libmsodbcsql-18.so")->isFreeTds);
}

}  // namespace
}  // namespace vnq
