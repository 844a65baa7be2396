// A database server that goes away and comes back while clients chat.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <csignal>

#include "tests/harness/postgres_server.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"
#include "tests/platform/sql/odbc_fixture.h"

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

constexpr const char* kTdsDatabase = "outage";

TestServerOptions On(const TdsServer& tds) {
  TestServerOptions options;
  options.databaseDriver = "FreeTDS";
  options.durability = SqlDurability::kReceipt;
  options.settings = fmt::format(
      "[server_connection]\nDB_TYPE=mssql\nDB_SERVER={}\nDB_PORT={}\nDB_NAME={}\n"
      "DB_USER=vnq\nDB_PWD=vnq\n",
      tds.address(), TdsServer::kPort, kTdsDatabase);
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

TEST_F(DatabaseOutage, AReceiptStaysBackWhereACrashMayHaveTakenItsRow) {
  TestClient ann = server->Online("1");
  TestClient ben = server->Online("2");
  server->Tick();
  ann.Send(Message("crash"));
  postgres->End(SIGQUIT);
  ASSERT_TRUE(postgres->StartAgain());
  server->Tick();
  EXPECT_EQ(ann.Receive().find(".+reply"), std::string::npos);
  EXPECT_NE(ben.Receive().find("|crash|"), std::string::npos) << "it was delivered before";
  server->AdvanceMs(3000);
  EXPECT_EQ(ann.Receive().find(".+reply"), std::string::npos);
  EXPECT_EQ(Stored("crash"), "(none)") << "nothing was at stake";

  ann.Send(Message("crash"));
  server->Tick();
  EXPECT_NE(ann.Receive().find(".+reply|1|2|crash|#"), std::string::npos);
  postgres->End(SIGQUIT);
  ASSERT_TRUE(postgres->StartAgain());
  server->AdvanceMs(3000);
  EXPECT_EQ(Stored("crash"), "hello") << "what is acknowledged is there";
}

TEST_F(DatabaseOutage, EndedSessionsCostNoMessageThatIsSentAgain) {
  TestClient ann = server->Online("1");
  TestClient ben = server->Online("2");
  auto admin = OpenPostgres(postgres->options());
  for (int i = 0; i < 10; ++i) {
    const std::string id = fmt::format("end{}", i);
    ann.Send(Message(id));
    ASSERT_TRUE(
        admin->Execute("select pg_terminate_backend(pid) from pg_stat_activity where"
                       " backend_type='client backend' and pid<>pg_backend_pid()",
                       {}));
    ann.Send(Message(id + "b"));
    server->Tick();
    EXPECT_EQ(ann.Receive().find(".+reply"), std::string::npos) << id;
    for (const char* tail : {"", "b"}) ann.Send(Message(id + tail));
    server->Tick();
    const std::string receipts = ann.Receive();
    EXPECT_NE(receipts.find("|" + id + "|#"), std::string::npos) << receipts;
    EXPECT_NE(receipts.find("|" + id + "b|#"), std::string::npos) << receipts;
  }
  Cursor rows(server->host().database);
  rows.Open(Sql("Select * from Messeng_Text"));
  EXPECT_EQ(rows.RecordCount(), 20) << "each once";
}

TEST_F(DatabaseOutage, AnAcceptedAccountOutlivesACrashRightBehindTheAnswer) {
  TestClient dialog = server->ConnectTo(6007);
  dialog.Receive();
  dialog.Send(".+account_application|000002|12|zoe|Zoe Long|pw|Pilot|555|Leo|#");
  EXPECT_EQ(dialog.Receive(), ".+application_success|3|#");
  postgres->End(SIGQUIT);
  ASSERT_TRUE(postgres->StartAgain());
  server->AdvanceMs(3000);
  Cursor row(server->host().database);
  row.Open(Sql("Select UserID from Users_ID where UserName='zoe'"));
  ASSERT_EQ(row.RecordCount(), 1);
  EXPECT_EQ(row["UserID"].text(), "3");
}

// --- What takes no writes ---

struct Refusal {
  const char* words;  // of the log
  std::vector<std::string> breaks, heals;
};

// A trigger says what the server itself says of a disk; the others are the thing itself.
std::vector<Refusal> Refusals() {
  const auto raises = [](const std::string& state) -> std::vector<std::string> {
    return {
        "create or replace function refuse() returns trigger language plpgsql as"
        " $$begin raise exception 'refused' using errcode='" +
            state + "'; end$$",
        "create trigger refusal before insert on Messeng_Text execute function refuse()"};
  };
  const std::string drop = "drop trigger refusal on Messeng_Text";
  const std::string endSessions =
      "select pg_terminate_backend(pid) from pg_stat_activity where"
      " backend_type='client backend' and pid<>pg_backend_pid()";
  return {
      {"the disk is full", raises("53100"), {drop}},
      {"the system refuses to write", raises("58030"), {drop}},
      {"it may only be read",
       {"alter database postgres set default_transaction_read_only=on", endSessions},
       {"alter database postgres reset default_transaction_read_only", endSessions}},
      {"a table or a column is missing",
       {"alter table Messeng_Text rename to Elsewhere"},
       {"alter table Elsewhere rename to Messeng_Text"}},
      {"its user has not the right to",
       {"alter role vnq nosuperuser", "revoke insert on Messeng_Text from vnq"},
       {"grant insert on Messeng_Text to vnq"}},
  };
}

TEST_F(DatabaseOutage, WhatIsRefusedIsSaidOnceAndAcknowledgedAndStoringGoesOnBehindIt) {
  TestClient ann = server->Online("1");
  TestClient ben = server->Online("2");
  const auto admin = OpenPostgres(postgres->options());
  SaidLines said;
  const auto lines = [&](const std::string& beginning) {
    const Lines all = said.Take();
    return std::count_if(all.begin(), all.end(),
                         [&](const std::string& line) { return line.starts_with(beginning); });
  };
  int round = 0;
  for (const Refusal& refusal : Refusals()) {
    SCOPED_TRACE(refusal.words + refusal.breaks.back());
    server->Tick();
    for (const std::string& each : refusal.breaks) ASSERT_TRUE(admin->Execute(each, {})) << each;
    for (const char* part : {"a", "b", "c"}) {
      const std::string id = fmt::format("R{}{}", round, part);
      ann.Send(Message(id));
      ben.Send(".+y|#");
      EXPECT_NE(ben.Receive().find(".+y|#"), std::string::npos);
      server->Tick();
      EXPECT_NE(ann.Receive().find("|" + id + "|#"), std::string::npos) << "acknowledged";
    }
    EXPECT_EQ(lines(std::string("warning: database: ") + refusal.words), 1);
    for (const std::string& each : refusal.heals) ASSERT_TRUE(admin->Execute(each, {})) << each;
    const std::string id = fmt::format("A{}", round++);
    ann.Send(Message(id));
    server->Tick();
    ann.Send(Message(id));  // the first one may have met the end of its session
    server->Tick();
    EXPECT_EQ(Stored(id), "hello");
    server->AdvanceMs(65'000);
    EXPECT_EQ(lines("info: database: rows are written again"), 1);
  }
}

TEST_F(DatabaseOutage, ALockedTableHoldsTheOthersUpNowAndThenOnly) {
  TestClient ann = server->Online("1");
  TestClient ben = server->Online("2");
  ann.Send(Message("first"));
  auto other = OpenPostgres(postgres->options());
  ASSERT_TRUE(other->Execute("begin", {}));
  ASSERT_TRUE(other->Execute("lock table Messeng_Text in access exclusive mode", {}));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 10; ++i) {
    ann.Send(Message(fmt::format("locked{}", i)));
    ben.Send(".+y|#");
  }
  const auto spent = std::chrono::steady_clock::now() - start;
  EXPECT_LT(spent, std::chrono::milliseconds(3500)) << "one wait of two seconds for all";
  EXPECT_NE(ben.Receive().find(".+y|#"), std::string::npos);
  ASSERT_TRUE(other->Execute("rollback", {}));
  ann.Send(Message("after"));
  EXPECT_EQ(Stored("after"), "hello");
}

// --- Through FreeTDS ---

// The server that stands for SQL Server, and fails on demand; see tests/tds.
class TdsOutage : public ::testing::Test {
 protected:
  TdsOutage() {
    for (const char* user : {"'1','ann','Ann',1", "'2','ben','Ben',1"}) {
      const std::string columns = "insert into Users_ID(UserID,UserName,FcName,UserState) values(";
      EXPECT_TRUE(server.host().database.Execute(Sql(columns + user + ")")));
    }
  }

  void Fault(const std::string& words) {
    ServerDatabaseOptions options;
    options.odbcDriver = "FreeTDS";
    options.host = tds.address();
    options.database = kTdsDatabase;
    options.user = options.password = "vnq";
    EXPECT_TRUE(OpenOdbc(options)->Execute("exec vnq_fault " + words, {})) << words;
  }

  // How often the message is stored, as another program sees it.
  std::string Stored(const std::string& id) {
    return file.Read("select count(*) from Messeng_Text where Msg_ID='" + id + "'");
  }

  // Sends a message and lets the second pass in which its receipt leaves. True with a receipt.
  bool Acknowledged(const std::string& id) {
    ann.Send(Message(id));
    server.Tick();
    return ann.Receive().find("|" + id + "|#") != std::string::npos;
  }

  bool Answers() {
    ben.Send(".+y|#");
    return ben.Receive().find(".+y|#") != std::string::npos;
  }

  TdsServer tds;
  TestServer server{On(tds)};
  OtherProgram file{tds.File(kTdsDatabase)};
  TestClient ann = server.Online("1"), ben = server.Online("2");
};

TEST_F(TdsOutage, ClientsStayConnectedWhileTheServerIsAwayAndStoringGoesOnBehindIt) {
  EXPECT_TRUE(Acknowledged("before"));
  tds.Stop();
  for (const char* id : {"gap1", "gap2", "gap3"}) {
    Acknowledged(id);
    EXPECT_TRUE(Answers()) << id;
  }
  tds.Start();
  server.AdvanceMs(12'000);
  EXPECT_TRUE(Acknowledged("after"));
  EXPECT_EQ(Stored("before"), "1");
  EXPECT_EQ(Stored("gap3"), "0");
  EXPECT_EQ(Stored("after"), "1");
  EXPECT_FALSE(ann.IsClosed());
}

// Wherever in a message's statements its session ends, before or behind the work.
TEST_F(TdsOutage, AReceiptMeansARowWhereverASessionEnds) {
  for (const char* kind : {"drop", "answer_lost"}) {
    int withheld = 0;
    for (int statement = 1; statement <= 8; ++statement) {
      const std::string id = fmt::format("{}{}", kind, statement);
      Fault(fmt::format("'{}', {}", kind, statement));
      const bool first = Acknowledged(id);
      EXPECT_TRUE(!first || Stored(id) == "1") << id;
      withheld += first ? 0 : 1;
      Fault("'none'");
      EXPECT_TRUE(Acknowledged(id)) << id << " is sent again";
      EXPECT_EQ(Stored(id), "1") << id;
    }
    EXPECT_GT(withheld, 0) << kind << ": one of them has met the row itself";
  }
}

TEST_F(TdsOutage, EndedSessionsCostNoMessageThatIsSentAgain) {
  for (int i = 0; i < 10; ++i) {
    const std::string id = fmt::format("end{}", i);
    ann.Send(Message(id));
    Fault("'hang_up'");
    EXPECT_TRUE(Acknowledged(id + "b") || Acknowledged(id + "b")) << id;
    EXPECT_EQ(Stored(id) + Stored(id + "b"), "11") << id;
  }
}

TEST_F(TdsOutage, WhatIsRefusedIsSaidOnceAndAcknowledgedAndStoringGoesOnBehindIt) {
  struct Refused {
    const char* words;  // of the log
    int number;         // of SQL Server's error; 0: the table is away
  };
  SaidLines said;
  const auto lines = [&](const std::string& beginning) {
    const Lines all = said.Take();
    return std::count_if(all.begin(), all.end(),
                         [&](const std::string& line) { return line.starts_with(beginning); });
  };
  for (const Refused& refused : {Refused{"the disk is full", 1105},
                                 {"the disk is full", 9002},
                                 {"the system refuses to write", 823},
                                 {"it may only be read", 3906},
                                 {"its user has not the right to", 229},
                                 {"a table or a column is missing", 0}}) {
    SCOPED_TRACE(fmt::format("{} {}", refused.words, refused.number));
    if (refused.number == 0) {
      file.Run("alter table Messeng_Text rename to Elsewhere");
    } else {
      Fault(fmt::format("'refuse_changes', 1, {}", refused.number));
    }
    for (const char* part : {"a", "b", "c"}) {
      EXPECT_TRUE(Acknowledged(fmt::format("R{}{}", refused.number, part)));
      EXPECT_TRUE(Answers());
    }
    EXPECT_EQ(lines(std::string("warning: database: ") + refused.words), 1);
    Fault("'none'");
    if (refused.number == 0) file.Run("alter table Elsewhere rename to Messeng_Text");
    const std::string id = fmt::format("A{}", refused.number);
    EXPECT_TRUE(Acknowledged(id));
    EXPECT_EQ(Stored(id), "1");
    server.AdvanceMs(65'000);
    EXPECT_EQ(lines("info: database: rows are written again"), 1);
  }
}

TEST_F(TdsOutage, AForeignLockHoldsTheOthersUpNowAndThenOnly) {
  file.Run("begin immediate");
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 10; ++i) {
    ann.Send(Message(fmt::format("locked{}", i)));
    EXPECT_TRUE(Answers());
  }
  const auto spent = std::chrono::steady_clock::now() - start;
  EXPECT_LT(spent, std::chrono::milliseconds(3500)) << "one wait of two seconds for all";
  file.Run("rollback");
  EXPECT_TRUE(Acknowledged("after"));
  EXPECT_EQ(Stored("after"), "1");
}

}  // namespace
}  // namespace vnq
