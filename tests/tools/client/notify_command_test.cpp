#include "tools/client/notify_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "tests/tools/client/fake_server.h"

namespace vnq {
namespace {

using testing::HasSubstr;

class NotifyCommand : public testing::Test {
 protected:
  NotifyCommand() {
    options_.server = "127.0.0.1";
    options_.port = server_.port();
    options_.waitMs = 5000;
    options_.sender = "monitor";
    options_.receiver = "wang,li";
    options_.title = "Disk full";
  }
  ~NotifyCommand() override { Join(); }

  void Start() {
    thread_ = std::thread([this] { exitCode_ = RunNotify(options_, errors_); });
  }
  void Join() {
    if (thread_.joinable()) thread_.join();
  }

  std::string Record() { return NotifyRecord(options_, *CodePage::Open(options_.codePage)); }

  FakeServer server_;
  NotifyOptions options_;
  std::ostringstream errors_;
  std::thread thread_;
  int exitCode_ = -1;
};

TEST_F(NotifyCommand, PostsBehindTheGreetingAndEndsAtTheEcho) {
  Start();
  ASSERT_TRUE(server_.Accept());
  server_.Send(".+SuccessfulConnection|#");
  std::string received;
  while (!received.ends_with(".+y|#")) {
    const std::string more = server_.Receive();
    ASSERT_NE(more, "") << received;
    received += more;
  }
  EXPECT_EQ(received, ".+interface_information|monitor|wang,li|Disk full|||3|#.+y|#");
  server_.Send(".+new_online|7|||#.+y|#");
  Join();
  EXPECT_EQ(exitCode_, 0);
  EXPECT_EQ(errors_.str(), "");
}

TEST_F(NotifyCommand, ServerThatIsNotThereIsAnErrorWithAMessage) {
  options_.port = 1;
  EXPECT_EQ(RunNotify(options_, errors_), 1);
  EXPECT_THAT(errors_.str(), HasSubstr("cannot reach 127.0.0.1 port 1"));
}

TEST_F(NotifyCommand, ServerThatClosesBeforeTheEchoIsAnError) {
  Start();
  ASSERT_TRUE(server_.Accept());
  server_.Send(".+SuccessfulConnection|#");
  server_.Receive();
  server_.CloseClient();
  Join();
  EXPECT_EQ(exitCode_, 1);
  EXPECT_THAT(errors_.str(), HasSubstr("did not say that it has taken the notice"));
}

TEST_F(NotifyCommand, ServerWithoutAGreetingIsAnError) {
  options_.waitMs = 50;
  Start();
  ASSERT_TRUE(server_.Accept());
  Join();
  EXPECT_EQ(exitCode_, 1);
  EXPECT_THAT(errors_.str(), HasSubstr("did not greet"));
}

TEST_F(NotifyCommand, PlainTextsGoOutAsTheyAre) {
  options_.receiver = "*";
  options_.title = "磁盘 90% full";
  options_.text = "see it's log";
  options_.link = "http://x/?a=1&b=2";
  EXPECT_EQ(Record(),
            ".+interface_information|monitor|*|磁盘 90% full|see it's log|http://x/?a=1&b=2|3|#");
}

TEST_F(NotifyCommand, TextsThatAFieldCannotCarryAreEscaped) {
  options_.title = "a|b";
  options_.text = "line 1\nline 2";
  options_.link = "😀";
  EXPECT_EQ(Record(),
            ".+interface_information|monitor|wang,li|a%7Cb|line%201%0Aline%202|%uD83D%uDE00|3|#");
}

TEST_F(NotifyCommand, NamesThatNoRecordCanCarryAreRefused) {
  for (const char* name : {"", "a|b", "a.+b", "a\nb"}) {
    options_.receiver = name;
    EXPECT_EQ(RunNotify(options_, errors_), 2) << name;
  }
  options_.receiver = "*";
  options_.sender = "x|y";
  EXPECT_EQ(RunNotify(options_, errors_), 2);
  EXPECT_THAT(errors_.str(), HasSubstr("cannot carry the name \"x|y\""));
}

TEST_F(NotifyCommand, NoticeThatIsTooLongIsRefused) {
  options_.text = std::string(2000, 'x');
  EXPECT_EQ(RunNotify(options_, errors_), 2);
  EXPECT_THAT(errors_.str(), HasSubstr("too long"));
}

TEST_F(NotifyCommand, UnknownCodePageIsRefused) {
  options_.codePage = 1;
  EXPECT_EQ(RunNotify(options_, errors_), 2);
}

TEST_F(NotifyCommand, ArgumentsReachTheCommand) {
  CLI::App app("vnqctl");
  int exitCode = -1;
  AddNotifyCommand(app, exitCode);
  app.parse("notify --server 127.0.0.1 --port 1 --as a --to * --title t --link l", false);
  EXPECT_EQ(exitCode, 1);
  EXPECT_THROW(app.parse("notify --server x --as a --to b", false), CLI::RequiredError);
}

}  // namespace
}  // namespace vnq
