#include <arpa/inet.h>
#include <netinet/in.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>
#include <sys/socket.h>

#include <algorithm>
#include <sstream>

#include "tests/platform/sql/odbc_fixture.h"

namespace vnq {
namespace {

constexpr int64_t kBackOffMs = 5000;  // longer than any attempt of a test takes

// Takes what the default logger says for as long as it lives.
class SaidLines {
 public:
  SaidLines() : before_(spdlog::default_logger()) {
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(said_);
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("test", sink));
  }
  ~SaidLines() { spdlog::set_default_logger(before_); }

  std::string Text() const { return said_.str(); }
  std::ptrdiff_t Count() const {
    std::string text = said_.str();
    return std::count(text.begin(), text.end(), '\n');
  }

 private:
  std::ostringstream said_;
  std::shared_ptr<spdlog::logger> before_;
};

class OdbcOutageTest : public OdbcTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Run("create table People (Name nvarchar(255) null)")) << driver_->LastError();
  }

  bool Add(const std::string& name) {
    return Run("insert into People(Name) values(?)", {SqlValue::Text(name)});
  }
  std::string Count() { return Text("select count(*) from People"); }

  SaidLines said_;
};

TEST_F(OdbcOutageTest, AClosedPortFailsAtOnceAndIsTriedAgainAfterTheBackOff) {
  server_.Stop();
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_FALSE(driver_->LastError().empty());
  EXPECT_TRUE(Fails("select 1"));
  server_.Start();
  clock_.nowMs += 900;
  EXPECT_TRUE(Fails("select 1")) << "within the back-off nothing is tried";
  EXPECT_EQ(said_.Count(), 2) << "the end of the session, and why there is no other: "
                              << said_.Text();
  clock_.nowMs += kBackOffMs;
  EXPECT_EQ(Text("select 1"), "1");
  EXPECT_EQ(Text("select 1"), "1");
  EXPECT_EQ(said_.Count(), 3) << said_.Text();
}

TEST_F(OdbcOutageTest, AServerThatAcceptsAndStaysSilentHoldsUpOneConnectOnly) {
  MustRun("exec vnq_fault 'silent_logins', 2");
  Reopen();
  int64_t first = MsOf([&] { EXPECT_TRUE(Fails("select 1")); });
  EXPECT_GE(first, 900);
  EXPECT_LT(first, 1900);
  EXPECT_LT(MsOf([&] { EXPECT_TRUE(Fails("select 1")); }), 100);
  EXPECT_EQ(said_.Count(), 1) << said_.Text();
}

TEST_F(OdbcOutageTest, APortThatNoProgramServesHoldsUpOneConnectOnly) {
  int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(1434);
  inet_pton(AF_INET, server_.address().c_str(), &address.sin_addr);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ServerDatabaseOptions options = Options();
  options.port = "1434";
  driver_ = OpenOdbc(options);
  EXPECT_LT(MsOf([&] { EXPECT_TRUE(Fails("select 1")); }), 1900);
  EXPECT_LT(MsOf([&] { EXPECT_TRUE(Fails("select 1")); }), 100);
  close(listener);
}

TEST_F(OdbcOutageTest, SilenceInAStatementHoldsUpOneStatementOnly) {
  ASSERT_TRUE(Add("a"));
  MustRun("exec vnq_fault 'silence', 1");
  int64_t first = MsOf([&] { EXPECT_FALSE(Add("b")); });
  EXPECT_GE(first, 900);
  // FreeTDS counts whole seconds, once for the answer and once for the answer to its "stop".
  EXPECT_LT(first, 2900);
  EXPECT_NE(driver_->LastError().find("HYT00"), std::string::npos) << driver_->LastError();
  EXPECT_LT(MsOf([&] { EXPECT_FALSE(Add("c")); }), 100);
  clock_.nowMs += kBackOffMs;
  EXPECT_EQ(Count(), "1");
  EXPECT_EQ(said_.Count(), 2) << said_.Text();
}

TEST_F(OdbcOutageTest, ASelectThatTimesOutIsNotRunAgain) {
  MustRun("exec vnq_fault 'slow', 1");
  int64_t first = MsOf([&] { EXPECT_TRUE(Fails("select * from People")); });
  EXPECT_GE(first, 900);
  EXPECT_LT(first, 1900);
  clock_.nowMs += kBackOffMs;
  EXPECT_EQ(Count(), "0");
}

TEST_F(OdbcOutageTest, AConnectionDroppedUnderASelectIsMadeAnew) {
  ASSERT_TRUE(Add("a"));
  MustRun("exec vnq_fault 'drop', 1");
  EXPECT_EQ(Count(), "1");
  EXPECT_EQ(said_.Count(), 1) << said_.Text();
  EXPECT_TRUE(driver_->SyncCommitted()) << "nothing was at stake";
}

TEST_F(OdbcOutageTest, AConnectionDroppedUnderAChangeFailsItAndTheNextIsNotHeldUp) {
  MustRun("exec vnq_fault 'drop', 1");
  EXPECT_FALSE(Add("a"));
  EXPECT_TRUE(Add("b")) << driver_->LastError();
  EXPECT_EQ(Text("select Name from People"), "b");
  EXPECT_EQ(said_.Count(), 1) << said_.Text();
  EXPECT_NE(said_.Text().find("; connecting again"), std::string::npos) << said_.Text();
  EXPECT_FALSE(driver_->SyncCommitted()) << "nobody knows whether the first was done";
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kUnavailable);
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_F(OdbcOutageTest, WhereItCannotConnectAgainItBacksOff) {
  MustRun("exec vnq_fault 'refused_logins', 1");
  MustRun("exec vnq_fault 'drop', 1");
  EXPECT_FALSE(Add("a"));
  EXPECT_FALSE(Add("b")) << "its log-in is refused";
  EXPECT_FALSE(Add("c")) << "within the back-off";
  clock_.nowMs += kBackOffMs;
  EXPECT_TRUE(Add("d"));
  EXPECT_EQ(Text("select Name from People"), "d");
}

TEST_F(OdbcOutageTest, AChangeWhoseAnswerIsLostIsNotRunAgain) {
  MustRun("exec vnq_fault 'answer_lost', 1");
  EXPECT_FALSE(Add("a"));
  EXPECT_EQ(Count(), "1");
  EXPECT_FALSE(driver_->SyncCommitted());
}

TEST_F(OdbcOutageTest, AServerStartedAnewWhileNothingRanCostsNoStatement) {
  ASSERT_TRUE(Add("a"));
  server_.Stop();
  server_.Start();
  clock_.nowMs += 60'000;
  EXPECT_TRUE(Add("b")) << driver_->LastError();
  server_.Stop();
  server_.Start();
  EXPECT_EQ(Count(), "2");
  EXPECT_EQ(said_.Count(), 2) << "the end of each session: " << said_.Text();
  EXPECT_TRUE(driver_->SyncCommitted()) << "no change met it";
}

TEST_F(OdbcOutageTest, ATransactionThatIsLostTakesNoFurtherStatement) {
  MustRun("begin");
  ASSERT_TRUE(Add("a"));
  MustRun("exec vnq_fault 'hang_up'");
  EXPECT_TRUE(Fails("select * from People"));
  clock_.nowMs += kBackOffMs;
  EXPECT_FALSE(Add("b"));
  EXPECT_FALSE(Run("commit"));
  EXPECT_EQ(Count(), "0");
  EXPECT_TRUE(Add("c"));
}

TEST_F(OdbcOutageTest, AWrongPasswordIsSaidWithoutThePassword) {
  ServerDatabaseOptions options = Options();
  options.password = "wrong";
  driver_ = OpenOdbc(options);
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_NE(driver_->LastError().find("Login failed"), std::string::npos) << driver_->LastError();
  EXPECT_EQ(driver_->LastError().find("wrong"), std::string::npos);
  EXPECT_EQ(said_.Text().find("wrong"), std::string::npos) << said_.Text();
}

TEST_F(OdbcOutageTest, AnInstalledDriverIsFoundInAnyCase) {
  ServerDatabaseOptions options = Options();
  options.odbcDriver = "freetds";
  driver_ = OpenOdbc(options);
  EXPECT_EQ(Count(), "0");
}

TEST_F(OdbcOutageTest, APathIsTakenForTheDriversLibrary) {
  ServerDatabaseOptions options = Options();
  options.odbcDriver = "/nowhere/libtdsodbc.so";
  driver_ = OpenOdbc(options);
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_NE(driver_->LastError().find(options.odbcDriver), std::string::npos)
      << driver_->LastError();
}

TEST_F(OdbcOutageTest, ADriverThatIsNotInstalledIsNamed) {
  ServerDatabaseOptions options = Options();
  options.odbcDriver = "No Such Driver";
  driver_ = OpenOdbc(options);
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_EQ(driver_->LastError(),
            "platform.ini [database] driver: no ODBC driver \"No Such Driver\" is installed");
  EXPECT_EQ(said_.Count(), 1);
}

}  // namespace
}  // namespace vnq
