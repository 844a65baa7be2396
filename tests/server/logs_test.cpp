// The activity log and the error log.
#include "host/server_log.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class Logs : public ServerTest {};

constexpr const char* kFill =
    "with recursive n(i) as (select 1 union all select i+1 from n where i<{}) ";

std::string Fill(const char* table, const char* column, int rows) {
  std::string words = kFill;
  words.replace(words.find("{}"), 2, std::to_string(rows));
  return words + "insert into " + table + "(" + column + ") select 'old' from n";
}

TEST_F(Logs, ARowHoldsTheTextAsItIsAndNoTime) {
  server.InHandler(
      [](Host& host) { WriteServerLog(host, "it's", "u", "1.2.3.4", LogIcon::kAway); });
  EXPECT_EQ(server.Rows("select * from ServerLog"), Lines{"it's|u|1.2.3.4|2"});
}

TEST_F(Logs, TwoThousandAndOneRowsAreTheMost) {
  server.Run(Fill("ServerLog", "Txt", 2000));
  server.InHandler([](Host& host) { WriteServerLog(host, "new", "u", "ip", LogIcon::kAway); });
  EXPECT_EQ(server.Value("select count(*) from ServerLog"), "2001");
}

TEST_F(Logs, TheNextRowEmptiesTheTableFirst) {
  server.Run(Fill("ServerLog", "Txt", 2001));
  server.InHandler([](Host& host) { WriteServerLog(host, "new", "u", "ip", LogIcon::kAway); });
  EXPECT_EQ(server.Rows("select Txt from ServerLog"), Lines{"new"});
}

TEST_F(Logs, AFailedArgumentSkipsTheWholeRow) {
  server.InHandler([](Host& host) {
    WriteServerLog(host, Expr::Failed(), "u", "ip", LogIcon::kAway);
    WriteServerLog(host, "t", Expr::Failed(), "ip", LogIcon::kAway);
  });
  EXPECT_EQ(server.Rows("select * from ServerLog"), Lines{});
}

TEST_F(Logs, ErrorsCarryTheTimeWithoutAYear) {
  server.InHandler([this](Host&) { server.form().ErrLog("5 bad", "/SckServer_DataArrival()"); });
  EXPECT_EQ(server.Rows("select * from ServerErrLog"),
            Lines{"03-04 5:06:07|5 bad|/SckServer_DataArrival()"});
}

TEST_F(Logs, TheErrorLogIsEmptiedTheSameWay) {
  server.Run(Fill("ServerErrLog", "Err1", 2001));
  server.InHandler([this](Host&) { server.form().ErrLog("a", "b"); });
  EXPECT_EQ(server.Value("select count(*) from ServerErrLog"), "1");
}

TEST_F(Logs, FailingStatementsOfACommandWriteNoErrorRow) {
  TestClient client = server.Connect();
  client.Send(".+landing|'|'|#.+message|#.+successful_online|#");
  EXPECT_EQ(server.Value("select count(*) from ServerErrLog"), "0");
}

}  // namespace
}  // namespace vnq
