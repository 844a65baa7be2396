// Texts are compared alike on every database: ASCII letters without regard to case, everything else
// exactly.
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class TextComparison : public ServerTest {
 protected:
  // Whether a row that holds the one text is found by the other.
  bool Finds(const std::string& stored, const std::string& sought) {
    Database& database = server.host().database;
    Cursor row(database);
    row.Open(Sql("Select top 1 * from Users_ID"));
    row.AddNew();
    row.Set("UserID", "1");
    row.Set("UserName", stored);
    row.Set("UserPaws", stored);
    EXPECT_TRUE(row.Update());
    Cursor found(database);
    EXPECT_TRUE(found.Open(Sql("Select * from Users_ID where UserName='?'", sought)));
    const bool byName = found.RecordCount() == 1;
    EXPECT_TRUE(found.Open(Sql("Select * from Users_ID where UserName<>'?'", sought)));
    EXPECT_NE(byName, found.RecordCount() == 1) << "<> is the opposite of =";
    EXPECT_TRUE(found.Open(SqlList("Select * from Users_ID where UserName in (?)", {"-", sought})));
    EXPECT_EQ(byName, found.RecordCount() == 1) << "a list compares as = does";
    EXPECT_TRUE(
        found.Open(Sql("Select * from Users_ID where UserID='1' and UserPaws='?'", sought)));
    EXPECT_EQ(found.RecordCount() == 1, stored == sought) << "passwords are compared exactly";
    EXPECT_TRUE(database.Execute(Sql("Delete from Users_ID")));
    return byName;
  }
};

TEST_F(TextComparison, IgnoresTheCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(Finds("aZ", "Az"));
  EXPECT_FALSE(Finds("é", "É"));
  EXPECT_FALSE(Finds("é", "e"));
  EXPECT_FALSE(Finds("ß", "ss"));
  EXPECT_FALSE(Finds("Ａ", "A"));
  EXPECT_FALSE(Finds("あ", "ア"));
  EXPECT_TRUE(Finds("中文", "中文"));
  EXPECT_TRUE(Finds("😀x", "😀X"));
  EXPECT_FALSE(Finds("😀", "😁"));
}

TEST_F(TextComparison, TrailingBlanksCount) {
  EXPECT_FALSE(Finds("a", "a "));
  EXPECT_FALSE(Finds("a ", "a"));
  EXPECT_TRUE(Finds("a ", "A "));
}

TEST_F(TextComparison, EmptyTextAndNullAreTwoThings) {
  server.Run("insert into Users_ID(UserID,UserName) values('1',''),('2',NULL)");
  Cursor found(server.host().database);
  ASSERT_TRUE(found.Open(Sql("Select * from Users_ID where UserName='?'", "")));
  EXPECT_EQ(found.RecordCount(), 1);
  EXPECT_EQ(found["UserID"].text(), "1");
}

}  // namespace
}  // namespace vnq
