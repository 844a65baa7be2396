// What happens to statements when the server goes away, keeps silent or comes back.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>
#include <sys/socket.h>

#include <cerrno>
#include <optional>
#include <sstream>

#include "platform/net/clock.h"
#include "tests/harness/postgres_server.h"
#include "tests/harness/stepped_clock.h"
#include "tests/platform/sql/postgres_fixture.h"

namespace vnq {
namespace {

// Lines that the process's log gets while this stands.
class CapturedLog {
 public:
  CapturedLog() {
    auto logger = std::make_shared<spdlog::logger>(
        "captured", std::make_shared<spdlog::sinks::ostream_sink_mt>(lines_));
    logger->set_pattern("%l %v");
    spdlog::set_default_logger(logger);
  }
  ~CapturedLog() { spdlog::set_default_logger(before_); }

  size_t Count(const std::string& text) const {
    size_t count = 0;
    const std::string lines = lines_.str();
    for (size_t at = 0; (at = lines.find(text, at)) != std::string::npos; ++at) ++count;
    return count;
  }
  std::string text() const { return lines_.str(); }

 private:
  std::shared_ptr<spdlog::logger> before_ = spdlog::default_logger();
  std::ostringstream lines_;
};

// A port of the loopback address that takes connections and says nothing.
class SilentPort {
 public:
  explicit SilentPort(int backlog) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(socket_, generic, size), 0);
    EXPECT_EQ(listen(socket_, backlog), 0);
    EXPECT_EQ(getsockname(socket_, generic, &size), 0);
    address_ = address;
  }
  ~SilentPort() {
    for (int each : callers_) close(each);
    close(socket_);
  }
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;

  // Fills the queue of those who wait to be taken, so that further ones get no answer at all.
  void Fill() {
    for (int i = 0; i < 4; ++i) {
      callers_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
      int done = connect(callers_.back(), reinterpret_cast<sockaddr*>(&address_), sizeof address_);
      EXPECT_TRUE(done == 0 || errno == EINPROGRESS);
    }
  }

  void Close() {
    close(socket_);
    socket_ = -1;
  }

  ServerDatabaseOptions Options() const {
    ServerDatabaseOptions options;
    options.host = "127.0.0.1";
    options.port = std::to_string(ntohs(address_.sin_port));
    options.user = "nobody";
    options.password = "hidden-word";
    options.database = "none";
    options.connectTimeoutS = 1;
    return options;
  }

 private:
  int socket_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address_{};
  std::vector<int> callers_;
};

TEST(PostgresOutageTest, AClosedPortFailsAtOnceAndIsSaidOnce) {
  CapturedLog log;
  SilentPort port(1);
  ServerDatabaseOptions options = port.Options();
  port.Close();
  auto driver = OpenPostgres(options);
  EXPECT_EQ(log.text(), "") << "opening does not connect";
  EXPECT_LT(MsOf([&] { EXPECT_FALSE(driver->Execute("select 1", {})); }), 500);
  EXPECT_NE(driver->LastError().find("select 1: "), std::string::npos);
  EXPECT_NE(driver->LastError().find("refused"), std::string::npos) << driver->LastError();
  EXPECT_FALSE(driver->Execute("select 1", {}));
  EXPECT_EQ(log.Count("error "), 1U) << log.text();
  EXPECT_EQ(log.text().find("hidden-word"), std::string::npos);
  EXPECT_EQ(driver->LastError().find("hidden-word"), std::string::npos);
}

TEST(PostgresOutageTest, ASilentPortHoldsUpOneStatementOnly) {
  CapturedLog log;
  SilentPort port(16);
  auto driver = OpenPostgres(port.Options());
  int64_t first = MsOf([&] { EXPECT_FALSE(driver->Execute("select 1", {})); });
  EXPECT_GE(first, 900);
  EXPECT_LT(first, 2000);
  EXPECT_LT(MsOf([&] { EXPECT_FALSE(driver->Execute("select 1", {})); }), 200);
  EXPECT_EQ(log.Count("error "), 1U) << log.text();
}

TEST(PostgresOutageTest, AnUnreachableServerHoldsUpOneStatementOnly) {
  SilentPort port(0);
  port.Fill();
  auto driver = OpenPostgres(port.Options());
  int64_t first = MsOf([&] { EXPECT_FALSE(driver->Execute("select 1", {})); });
  EXPECT_GE(first, 900);
  EXPECT_LT(first, 2000);
  EXPECT_LT(MsOf([&] { EXPECT_FALSE(driver->Execute("select 1", {})); }), 200);
}

TEST(PostgresServerOfATestTest, StartsWhereItsProgramsAreNotInThePath) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << "no PostgreSQL server is installed";
  const std::string path = getenv("PATH");
  setenv("PATH", "/nowhere", 1);
  PostgresServer server({"fsync=off"});
  setenv("PATH", path.c_str(), 1);
  EXPECT_TRUE(server.ready());
}

class PostgresRestart : public testing::TestWithParam<int> {};

TEST_P(PostgresRestart, StatementsFailInTheGapAndRunAgainAfterIt) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << "no PostgreSQL server is installed";
  CapturedLog log;
  PostgresServer server({"fsync=off"});
  ASSERT_TRUE(server.ready());
  SteppedClock clock(LocalTime{});
  ServerDatabaseOptions options = server.options();
  options.clock = &clock;
  auto driver = OpenPostgres(options);
  ASSERT_TRUE(driver->Execute("create table T(A integer)", {})) << driver->LastError();
  SqlRows rows;
  ASSERT_TRUE(driver->Query("select * from T", {}, rows));
  ASSERT_TRUE(driver->SyncCommitted()) << "or a crash takes the table back";

  server.End(GetParam());
  EXPECT_FALSE(driver->Execute("insert into T values(1)", {}));
  EXPECT_FALSE(driver->Insert(rows, {}));
  EXPECT_EQ(log.Count("error "), 1U) << log.text();
  clock.AdvanceMs(1000);
  EXPECT_FALSE(driver->Execute("insert into T values(2)", {}));

  ASSERT_TRUE(server.StartAgain());
  EXPECT_FALSE(driver->Execute("insert into T values(3)", {})) << "the back-off has not passed";
  clock.AdvanceMs(1000);
  EXPECT_TRUE(driver->Insert(rows, {})) << driver->LastError();
  EXPECT_TRUE(driver->Execute("insert into T values(4)", {})) << driver->LastError();
  EXPECT_TRUE(driver->Query("select count(*) from T", {}, rows));
  EXPECT_EQ(Cells(rows), std::vector<std::string>{"2"});
  EXPECT_EQ(log.Count("error "), 1U) << log.text();
  EXPECT_EQ(log.Count("info "), 1U) << log.text();
}

INSTANTIATE_TEST_SUITE_P(Ways, PostgresRestart, testing::Values(SIGINT, SIGQUIT),
                         [](const auto& way) { return way.param == SIGINT ? "InOrder" : "Crash"; });

class PostgresSessionTest : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Other("create table T(A integer)");
    options_.statementTimeoutS = 1;
    options_.clock = &clock_;
    driver_ = OpenPostgres(options_);
  }

  std::string Session() { return Cells(Rows("select pg_backend_pid()")).front(); }
  void EndSession() { OtherReads("select pg_terminate_backend(" + Session() + ",5000)"); }

  CapturedLog log_;
  SteppedClock clock_{LocalTime{}};
};

TEST_F(PostgresSessionTest, AnEndedSessionIsReplacedAtOnce) {
  EndSession();
  EXPECT_TRUE(Run("insert into T values(1)")) << driver_->LastError();
  EXPECT_EQ(OtherReads("select count(*) from T"), "1");
  EXPECT_EQ(log_.Count("warning "), 1U) << log_.text();
  EXPECT_EQ(log_.Count("the server has ended the session; connecting again"), 1U) << log_.text();
}

TEST_F(PostgresSessionTest, ASelectThatItsSessionTookWithItIsRunAgain) {
  // Ends the session that it is made in, and no other.
  Other(
      "create function ends_once() returns integer language plpgsql as $$ begin"
      " if pg_backend_pid()=" +
      Session() +
      " then perform"
      " pg_terminate_backend(pg_backend_pid()); perform pg_sleep(1); end if; return 7; end $$");
  EXPECT_EQ(Text("select ends_once()"), "7");
  EXPECT_EQ(log_.Count("warning "), 1U) << log_.text();
}

TEST_F(PostgresSessionTest, AStatementThatMayHaveRunIsNotRunAgain) {
  EXPECT_FALSE(Run("insert into T select 1 from pg_terminate_backend(pg_backend_pid())"));
  EXPECT_NE(driver_->LastError().find("57P01"), std::string::npos) << driver_->LastError();
  EXPECT_EQ(log_.Count("warning "), 1U) << log_.text();
  MustRun("insert into T values(2)");
  EXPECT_EQ(OtherReads("select count(*) from T"), "1") << "and the next is not held up";
  EXPECT_FALSE(driver_->SyncCommitted()) << "nobody knows whether the first was done";
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_F(PostgresSessionTest, ASyncFailsForWhatAnEndedSessionHadWritten) {
  MustRun("insert into T values(1)");
  EndSession();
  MustRun("insert into T values(2)");
  EXPECT_FALSE(driver_->SyncCommitted());
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kUnavailable);
  ExpectError("the session that wrote ended before its sync");
  MustRun("insert into T values(3)");
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
}

TEST_F(PostgresSessionTest, ASessionThatHadWrittenNothingIsNoLoss) {
  MustRun("insert into T values(1)");
  ASSERT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_EQ(Text("select * from T"), "1");
  EndSession();
  EXPECT_EQ(Text("select * from T"), "1");
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
}

TEST_F(PostgresSessionTest, TheRestOfABrokenTransactionDoesNotRunByItself) {
  ASSERT_TRUE(Run("begin immediate"));
  ASSERT_TRUE(Run("insert into T values(1)"));
  EndSession();
  EXPECT_FALSE(Run("insert into T values(2)"));
  clock_.AdvanceMs(1000);
  EXPECT_TRUE(Run("rollback"));
  EXPECT_EQ(OtherReads("select count(*) from T"), "0");
}

TEST_F(PostgresSessionTest, ASlowStatementIsGivenUpByTheServerAndTheSessionStays) {
  std::string session = Session();
  int64_t ms = MsOf([&] { EXPECT_FALSE(Run("select pg_sleep(20)")); });
  EXPECT_GE(ms, 800);
  EXPECT_LT(ms, 1900);
  EXPECT_NE(driver_->LastError().find("57014"), std::string::npos) << driver_->LastError();
  EXPECT_EQ(log_.Count("error "), 1U) << log_.text();
  EXPECT_FALSE(Run("select 1")) << "a pause as long as the wait";
  clock_.AdvanceMs(1000);
  EXPECT_EQ(Session(), session);
  EXPECT_EQ(log_.Count("error "), 1U) << log_.text();
  EXPECT_EQ(log_.Count("info "), 1U) << log_.text();
}

TEST_F(PostgresSessionTest, AStatementGivenUpAtSomebodysRequestIsFollowedByNoPause) {
  Other(
      "create function cancelled() returns integer language plpgsql as $$ begin perform"
      " pg_cancel_backend(pg_backend_pid()); perform pg_sleep(5); return 1; end $$");
  EXPECT_TRUE(Fails("select cancelled()"));
  ExpectError("57014");
  EXPECT_EQ(Text("select 1"), "1");
}

TEST_F(PostgresSessionTest, AnAttemptThatGetsNoAnswerHoldsUpNoFurtherStatement) {
  MustRun("insert into T values(1)");
  SilentPort port(16);
  options_.host = port.Options().host;
  options_.port = port.Options().port;
  options_.connectTimeoutS = 5;
  driver_ = OpenPostgres(options_);
  EXPECT_GE(MsOf([&] { EXPECT_FALSE(Run("select 1")); }), 4900) << "the first of the process";
  for (int i = 0; i < 3; ++i) {
    clock_.AdvanceMs(10'000);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(Run("select 1")); }), 1000);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(Run("select 1")); }), 200);
  }
  EXPECT_EQ(log_.Count("error "), 1U) << log_.text();
}

TEST_F(PostgresSessionTest, AServerThatStopsAnsweringHoldsUpOneStatementOnly) {
  {
    HeldProcess held(std::stoi(Session()));
    int64_t ms = MsOf([&] { EXPECT_FALSE(Run("insert into T values(1)")); });
    EXPECT_GE(ms, 900);
    EXPECT_LT(ms, 2000);
    EXPECT_NE(driver_->LastError().find("no answer in time"), std::string::npos);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(Run("select 1")); }), 200);
  }
  EXPECT_EQ(log_.Count("error "), 1U) << log_.text();
  clock_.AdvanceMs(10'000);
  EXPECT_TRUE(Run("select 1"));
  EXPECT_EQ(log_.Count("info "), 1U) << log_.text();
}

TEST_F(PostgresSessionTest, AServerThatTakesNoLongStatementIsGivenUp) {
  HeldProcess held(std::stoi(Session()));
  Values large = {SqlValue::Text(std::string(32 << 20, 'x'))};
  int64_t ms = MsOf([&] { EXPECT_FALSE(Run("select length(?)", large)); });
  EXPECT_GE(ms, 900);
  EXPECT_LT(ms, 3000);
}

// Shows what was flushed by stopping the process that would flush it sooner or later anyway.
TEST(PostgresSyncTest, WhatWasCommittedBeforeIsFlushed) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << "no PostgreSQL server is installed";
  PostgresServer server({"fsync=on", "autovacuum=off"});
  ASSERT_TRUE(server.ready());
  auto admin = OpenPostgres(server.options());
  ASSERT_TRUE(admin->Execute("create role plain login", {})) << admin->LastError();
  ASSERT_TRUE(admin->Execute("create table T(A integer)", {}));
  ASSERT_TRUE(admin->Execute("grant all on T to plain", {}));
  auto read = [&](const std::string& select) {
    SqlRows rows;
    EXPECT_TRUE(admin->Query(select, {}, rows)) << admin->LastError();
    return rows.cells.empty() ? std::string() : Cells(rows).front();
  };
  const std::string ofWriter = " from pg_stat_activity where backend_type='walwriter'";
  // Held in the middle of its work it would keep everybody's next flush waiting.
  std::optional<HeldProcess> writer;
  std::string does;
  for (int tries = 0; tries < 1000 && does.find("WalWriterMain") == does.npos; ++tries) {
    writer.reset();
    writer.emplace(std::stoi(read("select pid" + ofWriter)));
    does = read("select wait_event" + ofWriter);
  }
  ASSERT_NE(does.find("WalWriterMain"), does.npos) << does;

  ServerDatabaseOptions options = server.options();
  options.user = "plain";  // nothing of it takes a superuser
  auto driver = OpenPostgres(options);
  ASSERT_TRUE(driver->Execute("insert into T values(1)", {})) << driver->LastError();
  std::string written = read("select pg_current_wal_insert_lsn()");
  std::string flushed = "select cast(pg_current_wal_flush_lsn()>=" + written + " as integer)";
  EXPECT_EQ(read(flushed), "0");
  EXPECT_TRUE(driver->SyncCommitted()) << driver->LastError();
  EXPECT_EQ(read(flushed), "1");

  std::string end = read("select pg_current_wal_insert_lsn()");
  EXPECT_TRUE(driver->SyncCommitted());
  EXPECT_TRUE(driver->Execute("update T set A=2 where A=5", {}));
  SqlRows rows;
  EXPECT_TRUE(driver->Query("select * from T", {}, rows));
  EXPECT_TRUE(driver->SyncCommitted());
  EXPECT_EQ(read("select pg_current_wal_insert_lsn()"), end) << "nothing was written";
}

}  // namespace
}  // namespace vnq
