// A database server that goes away and comes back while clients chat.
#include <fmt/format.h>

#include <csignal>

#include "tests/harness/postgres_server.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

TestServerOptions On(const PostgresServer& postgres) {
  TestServerOptions options;
  options.databaseDriver = "postgresql";
  options.durability = SqlDurability::kReceipt;
  options.settings = fmt::format(
      "[server_connection]\nDB_TYPE=postgresql\nDB_SERVER={}\nDB_PORT={}\nDB_NAME={}\nDB_USER={}\n",
      postgres.options().host, postgres.options().port, postgres.options().database,
      postgres.options().user);
  return options;
}

std::string Message(const std::string& id) {
  return ".+message|2|1|hello|font|" + id + "|1|#";
}

class DatabaseOutage : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PostgresServer::IsInstalled()) GTEST_SKIP() << "no PostgreSQL is installed";
    // Synced as in a deployment, so that a crash of the server shows what was promised.
    postgres = std::make_unique<PostgresServer>(std::vector<std::string>{"wal_writer_delay=10000"});
    ASSERT_TRUE(postgres->ready());
    server = std::make_unique<TestServer>(On(*postgres));
    Execute("insert into Users_ID(UserID,UserName,FcName,UserState) values('1','ann','Ann',1)");
    Execute("insert into Users_ID(UserID,UserName,FcName,UserState) values('2','ben','Ben',1)");
  }

  void Execute(const std::string& statement) {
    EXPECT_TRUE(server->host().database.Execute(Sql(statement))) << statement;
  }

  std::string Stored(const std::string& id) {
    Cursor row(server->host().database);
    row.Open(Sql("Select * from Messeng_Text where Msg_ID='?'", id));
    return row.RecordCount() == 0 ? "(none)" : row["UserText"].text();
  }

  std::unique_ptr<PostgresServer> postgres;
  std::unique_ptr<TestServer> server;
};

TEST_F(DatabaseOutage, ClientsStayConnectedAndAcknowledgedMessagesAreAllThere) {
  TestClient ann = server->Online("1");
  TestClient ben = server->Online("2");
  std::vector<std::string> acknowledged;
  for (int i = 1; i <= 20; ++i) {
    ann.Send(Message(fmt::format("before{}", i)));
  }
  server->Tick();
  const std::string receipts = ann.Receive();
  for (int i = 1; i <= 20; ++i) {
    const std::string id = fmt::format("before{}", i);
    if (receipts.find("|" + id + "|") != std::string::npos) acknowledged.push_back(id);
  }
  ASSERT_EQ(acknowledged.size(), 20U) << receipts;
  ben.Receive();

  postgres->End(SIGQUIT);
  ann.Send(Message("gap"));
  ann.Send(".+y|#");
  EXPECT_NE(ann.Receive().find(".+y|#"), std::string::npos) << "the server answers in the gap";
  server->AdvanceMs(3000);
  EXPECT_FALSE(ann.IsClosed());
  EXPECT_FALSE(ben.IsClosed());

  ASSERT_TRUE(postgres->StartAgain());
  server->AdvanceMs(12000);
  ann.Receive();
  ben.Receive();
  ann.Send(Message("after"));
  server->Tick();
  EXPECT_NE(ben.Receive().find("|after|"), std::string::npos) << "all works without a restart";
  EXPECT_EQ(Stored("after"), "hello");
  EXPECT_EQ(Stored("gap"), "(none)") << "statements in the gap are skipped";
  for (const std::string& id : acknowledged) EXPECT_EQ(Stored(id), "hello") << id;
  EXPECT_FALSE(ann.IsClosed());
}

}  // namespace
}  // namespace vnq
