#include "tools/client/control_command.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "tests/tools/client/fake_server.h"

namespace vnq {
namespace {

// A control port that keeps what it is sent and answers what it is told to.
class ControlCommand : public testing::Test {
 protected:
  ControlCommand() {
    options_.server = "127.0.0.1";
    options_.port = server_.port();
    options_.waitMs = 10'000;
  }

  // Runs an order against a server that greets and then answers each read in turn.
  int Run(const std::string& order, const std::vector<std::string>& answers) {
    std::thread server([&] {
      if (!server_.Accept()) return;
      server_.SendBytes(".+successful_connection|#");
      for (const std::string& answer : answers) {
        read_.push_back(server_.ReceiveBytes());
        server_.SendBytes(answer);
      }
      server_.CloseClient();
    });
    const int exitCode = RunControl(order, options_, out_, errors_);
    server.join();
    return exitCode;
  }

  FakeServer server_;
  ControlOptions options_;
  std::vector<std::string> read_;
  std::ostringstream out_, errors_;
};

using Reads = std::vector<std::string>;

TEST_F(ControlCommand, DisconnectNamesTheUsersAndWaitsForTheEcho) {
  options_.users = {"u1", "u2m"};
  options_.reason = "late|now";
  EXPECT_EQ(Run("disconnect", {".+x|#.+y|#"}), 0);
  EXPECT_EQ(read_, Reads{".+disconnect|late%7Cnow|u1|u2m|#.+y|#"});
  EXPECT_EQ(errors_.str(), "");
}

TEST_F(ControlCommand, BroadcastEscapesItsTexts) {
  options_.title = "a";
  options_.text = "1.+2|3 你";
  options_.font = "Arial,10";
  EXPECT_EQ(Run("broadcast", {".+y|#"}), 0);
  EXPECT_EQ(read_, Reads{".+broadcast|a|1.%2B2%7C3%20%u4F60|Arial,10|#.+y|#"});
}

TEST_F(ControlCommand, InfoListsWhatTheComputerReports) {
  options_.computer = "pc1";
  EXPECT_EQ(
      Run("info", {".+y|#", ".+submit_information|a|b|3|4|5|6|7|8|9|10|11|12|13|14|%u4F60|#"}), 0);
  EXPECT_EQ(read_, (Reads{".+landing|VNQPcTelnet|#.+y|#", ".+computer_information|pc1|#"}));
  EXPECT_EQ(out_.str(),
            "1\ta\n2\tb\n3\t3\n4\t4\n5\t5\n6\t6\n7\t7\n8\t8\n9\t9\n10\t10\n11\t11\n12\t12\n13\t13\n"
            "14\t14\n15\t你\n");
}

TEST_F(ControlCommand, InfoOfAComputerThatIsNotThereFails) {
  options_.computer = "pc1";
  options_.waitMs = 300;
  std::thread server([&] {
    server_.Accept();
    server_.SendBytes(".+successful_connection|#");
    server_.ReceiveBytes();
    server_.SendBytes(".+y|#");
    server_.ReceiveBytes();
    server_.ReceiveBytes();  // the client's close
  });
  EXPECT_EQ(RunControl("info", options_, out_, errors_), 1);
  server.join();
  EXPECT_EQ(errors_.str(), "vnqctl control: no answer: is the computer pc1 connected?\n");
  EXPECT_EQ(out_.str(), "");
}

TEST_F(ControlCommand, EndpointOrdersCarryComputerUserAndCode) {
  options_.computer = "pc1";
  options_.user = "u1";
  options_.code = 3;
  EXPECT_EQ(Run("computer", {".+y|#"}), 0);
  EXPECT_EQ(Run("usb", {".+y|#"}), 0);
  EXPECT_EQ(Run("remote-desktop", {".+y|#"}), 0);
  EXPECT_EQ(Run("close-remote-desktop", {".+y|#"}), 0);
  EXPECT_EQ(Run("ping", {".+y|#"}), 0);
  EXPECT_EQ(read_,
            (Reads{".+control_computer|pc1+u1+3|#.+y|#", ".+control_usb|pc1+u1+3|#.+y|#",
                   ".+remote_desktop|pc1|#.+y|#", ".+close_remote_desktop|pc1|#.+y|#", ".+y|#"}));
}

TEST_F(ControlCommand, NamesThatARecordCannotCarryAreRefused) {
  for (const char* name : {"a|b", "a.+b", "a\nb"}) {
    options_.users = {name};
    EXPECT_EQ(RunControl("disconnect", options_, out_, errors_), 2) << name;
  }
  options_.users.clear();
  options_.computer = "a+b";
  options_.user = "u";
  EXPECT_EQ(RunControl("computer", options_, out_, errors_), 2);
}

TEST_F(ControlCommand, ArgumentsFillTheRecord) {
  CLI::App app;
  int exitCode = -1;
  AddControlCommand(app, exitCode);
  std::thread server([&] {
    server_.Accept();
    server_.SendBytes(".+successful_connection|#");
    read_.push_back(server_.ReceiveBytes());
    server_.SendBytes(".+y|#");
  });
  app.parse("control --server 127.0.0.1 --port " + std::to_string(server_.port()) +
            " computer pc1 u1 -2");
  server.join();
  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(read_, Reads{".+control_computer|pc1+u1+-2|#.+y|#"});
}

TEST_F(ControlCommand, AServerThatHangsUpOrCannotBeReachedIsAFailure) {
  EXPECT_EQ(Run("ping", {"no echo"}), 1);
  EXPECT_EQ(errors_.str(), "vnqctl control: the server has closed the connection\n");
  options_.port = 1;
  EXPECT_EQ(RunControl("ping", options_, out_, errors_), 1);
}

TEST_F(ControlCommand, AnUnknownCodePageOrOrderIsABadArgument) {
  EXPECT_EQ(RunControl("dance", options_, out_, errors_), 2);
  options_.codePage = 1;
  EXPECT_EQ(RunControl("ping", options_, out_, errors_), 2);
}

}  // namespace
}  // namespace vnq
