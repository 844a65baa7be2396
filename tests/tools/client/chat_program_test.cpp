#include "tools/client/chat_program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/tools/client/fake_server.h"
#include "tools/client/record_words.h"

namespace vnq {
namespace {

using testing::StartsWith;

constexpr int kPatienceMs = 10'000;

// Reads from `fd` until `wanted` has come, or the end. What was read before stays in `text`.
bool ReadUntil(int fd, std::string_view wanted, std::string& text) {
  while (text.find(wanted) == std::string::npos) {
    pollfd waited{fd, POLLIN, 0};
    char buffer[4096];
    const ssize_t got = poll(&waited, 1, kPatienceMs) > 0 ? read(fd, buffer, sizeof buffer) : 0;
    if (got <= 0) return false;
    text.append(buffer, static_cast<size_t>(got));
  }
  return true;
}

class ChatProgramTest : public testing::Test {
 protected:
  ChatProgramTest() {
    char folder[] = "/tmp/vnq_chat_XXXXXX";
    folder_ = mkdtemp(folder);
    options_.server = "127.0.0.1";
    options_.port = server_.port();
    options_.user = "wang";
    options_.passwordFile = folder_ + "/password";
    options_.stateFile = folder_ + "/names";
    std::ofstream(options_.passwordFile) << "se cret\nsecond line\n";
  }
  ~ChatProgramTest() override {
    Join();
    for (int fd : {toChat_, fromChat_, errorsOfChat_}) close(fd);
    std::filesystem::remove_all(folder_);
  }

  // Starts the client with pipes, as a script does.
  void Start() {
    int in[2], out[2], error[2];
    ASSERT_EQ(pipe(in) | pipe(out) | pipe(error), 0);
    toChat_ = in[1];
    fromChat_ = out[0];
    errorsOfChat_ = error[0];
    client_ = std::thread([this, in = in[0], out = out[1], error = error[1]] {
      exitCode_ = RunChat(options_, in, out, error);
      for (int fd : {in, out, error}) close(fd);
    });
  }

  void Type(std::string_view text) { (void)!write(toChat_, text.data(), text.size()); }

  void EndInput() {
    close(toChat_);
    toChat_ = -1;
  }

  void Join() {
    if (toChat_ >= 0) EndInput();
    server_.CloseClient();
    if (client_.joinable()) client_.join();
  }

  std::string LogIn() {
    EXPECT_TRUE(server_.Accept());
    server_.Send(".+SuccessfulConnection|#");
    std::string landing = server_.Receive();
    server_.Send(".+landing_successful|10001|0|,/,\\,~,@,+|0|0|#");
    EXPECT_EQ(server_.Receive(), ".+successful_online|10001|1|#");
    server_.Send(".+SynchronousSuccessfully|#");
    return landing;
  }

  // Takes the good-bye and closes, as the server does.
  void SeeOff() {
    EXPECT_EQ(server_.Receive(), ".+offline|10001|#");
    server_.CloseClient();
    client_.join();
  }

  bool Shows(std::string_view text) { return ReadUntil(fromChat_, text, shown_); }
  bool Complains(std::string_view text) { return ReadUntil(errorsOfChat_, text, complaints_); }

  FakeServer server_;
  ChatOptions options_;
  std::string folder_, shown_, complaints_;
  std::thread client_;
  int toChat_ = -1, fromChat_ = -1, errorsOfChat_ = -1;
  int exitCode_ = -1;
};

TEST_F(ChatProgramTest, LogInStatesNamePasswordOwnAddressAndMachine) {
  options_.machineId = "pc-7";
  Start();
  EXPECT_EQ(LogIn(), ".+landing|wang|se cret|127.0.0.1|pc-7||#");
  EXPECT_TRUE(Shows("* logged in as wang (10001)\n"));
}

TEST_F(ChatProgramTest, ScriptSendsWaitsForItsReceiptsAndEndsWithZero) {
  Start();
  Type("/to 10002\n你好 😀\n");
  EndInput();
  LogIn();
  const std::string message = server_.Receive();
  EXPECT_THAT(message, StartsWith(".+message|10002|10001|%u4F60%u597D%20%uD83D%uDE00|"));
  server_.Send(".+reply|1|10002|" + RecordFields(message)[5] + "|#");
  EXPECT_TRUE(Shows("* delivered to the server: \"你好 😀\" for 10002\n"));
  SeeOff();
  EXPECT_EQ(exitCode_, 0);
}

TEST_F(ChatProgramTest, LastLineNeedsNoEnd) {
  Start();
  Type("/to 10002 a\r\n/to 10003 b");
  EndInput();
  LogIn();
  const std::string first = server_.Receive();
  const std::string second = server_.Receive();
  EXPECT_THAT(first, StartsWith(".+message|10002|10001|a|"));
  EXPECT_THAT(second, StartsWith(".+message|10003|10001|b|"));
  server_.Send(".+reply|1|10002|" + RecordFields(first)[5] + "|#.+reply|1|10003|" +
               RecordFields(second)[5] + "|#");
  SeeOff();
  EXPECT_EQ(exitCode_, 0);
}

TEST_F(ChatProgramTest, MissingReceiptIsNamedAndEndsWithOne) {
  options_.receiptWaitMs = 60;
  Start();
  Type("/to 10002 x\n");
  EndInput();
  LogIn();
  EXPECT_THAT(server_.Receive(), StartsWith(".+message|"));
  EXPECT_TRUE(Complains("No receipt has come for 1"));
  SeeOff();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, ArrivingTextsArePrintedIntact) {
  Start();
  LogIn();
  server_.Send(
      ".+message|10002|2024-05-06|07:08:09|%u4F60%u597D%uD83D%uDE00|宋体|ID1|11|1|#"
      ".+modify_account|10002|job|李四|1|2|3|4|5|6|7|8|9|#");
  EXPECT_TRUE(Shows("07:08:09 10002: 你好😀\n* 李四 (10002) has a new profile\n"));
}

TEST_F(ChatProgramTest, RefusalIsASentenceOnErrorAndOne) {
  Start();
  ASSERT_TRUE(server_.Accept());
  server_.Send(".+SuccessfulConnection|#");
  server_.Receive();
  server_.Send(".+LoginFailed|#");
  EXPECT_TRUE(Complains("with this password.\n"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, RefusalWithoutClosingHashIsHeardAtTheClose) {
  Start();
  ASSERT_TRUE(server_.Accept());
  server_.Send(".+SuccessfulConnection|#");
  server_.Receive();
  server_.Send(".+landing_restrictions");
  server_.CloseClient();
  EXPECT_TRUE(Complains("refuses the log-in: a role of wang"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, ServerThatIsNotThereIsNamed) {
  options_.port = 1;
  Start();
  EXPECT_TRUE(Complains("cannot reach 127.0.0.1 port 1: Connection refused"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, EndOfTheServerEndsAScriptWithOne) {
  Start();
  LogIn();
  server_.Send(".+forced_disconnection|Server stops|#");
  EXPECT_TRUE(Complains("The server has ended the session: Server stops\n"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, LineThatCannotBeDoneMakesTheExitCodeOne) {
  Start();
  Type("nobody is named yet\n");
  EndInput();
  LogIn();
  EXPECT_TRUE(Complains("/to USERID"));
  SeeOff();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, ScriptMayReconnect) {
  Start();
  LogIn();
  Type("/reconnect\n/to 10002 x\n");
  LogIn();
  EXPECT_THAT(server_.Receive(), StartsWith(".+message|10002|"));
}

TEST_F(ChatProgramTest, WaitAtTheEndOfAScriptGoesOnListening) {
  Start();
  Type("/wait 600\n");
  EndInput();
  LogIn();
  server_.Send(".+message|10002|2024-05-06|07:08:09|late|f|ID1|11|1|#");
  EXPECT_TRUE(Shows("07:08:09 10002: late\n"));
  server_.Send(".+busy_force|10.0.0.9|#");
  EXPECT_TRUE(Complains("logged in elsewhere (10.0.0.9)"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

TEST_F(ChatProgramTest, LongTextArrivesInPartsThatTheServerJoins) {
  Start();
  LogIn();
  Type("/to 10002 " + std::string(3000, 'x') + "\n");
  std::string message = server_.Receive();
  EXPECT_LT(message.size(), 1000U);
  while (!message.ends_with("|#")) message += server_.Receive();
  EXPECT_THAT(RecordFields(message)[3], testing::SizeIs(3000));
}

TEST_F(ChatProgramTest, NamesThatRecordsShowAreKeptForTheNextTime) {
  Start();
  LogIn();
  server_.Send(".+new_group_base_information|5|项目组|r|s|#.+new_online|10002|||#");
  EXPECT_TRUE(Shows("* 10002 is online\n"));
  EndInput();
  SeeOff();
  std::stringstream kept;
  kept << std::ifstream(options_.stateFile).rdbuf();
  EXPECT_EQ(kept.str(), "user\t10001\twang\nuser\t10002\t\ngroup\t5\t项目组\n");
}

TEST_F(ChatProgramTest, OutputThatCannotBeWrittenEndsWithOne) {
  const int full = open("/dev/full", O_WRONLY), input = open("/dev/null", O_RDONLY);
  int errors[2];
  ASSERT_EQ(pipe(errors), 0);
  client_ = std::thread([&, this] { exitCode_ = RunChat(options_, input, full, errors[1]); });
  LogIn();
  SeeOff();
  EXPECT_EQ(exitCode_, 1);
  EXPECT_TRUE(
      ReadUntil(errors[0], "cannot write the output: No space left on device\n", complaints_));
  for (int fd : {full, input, errors[0], errors[1]}) close(fd);
}

TEST_F(ChatProgramTest, BadArgumentsEndWithTwo) {
  const int null = open("/dev/null", O_RDWR);
  ChatOptions bad = options_;
  bad.codePage = 1;
  EXPECT_EQ(RunChat(bad, null, null, null), 2);
  bad = options_;
  bad.user = "a|b";
  EXPECT_EQ(RunChat(bad, null, null, null), 2);
  bad.user = "\U0001F600";
  EXPECT_EQ(RunChat(bad, null, null, null), 2);
  close(null);
}

TEST_F(ChatProgramTest, PasswordThatTheProtocolCannotCarryIsRefused) {
  std::ofstream(options_.passwordFile) << "a|b\n";
  Start();
  EXPECT_TRUE(Complains("the password holds a character"));
  client_.join();
  EXPECT_EQ(exitCode_, 1);
}

// With a terminal at both ends.
class ChatTerminalTest : public ChatProgramTest {
 protected:
  void StartOnTerminal() {
    toChat_ = fromChat_ = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(grantpt(toChat_) | unlockpt(toChat_), 0);
    terminal_ = open(ptsname(toChat_), O_RDWR | O_NOCTTY);
    tcgetattr(terminal_, &before_);
    client_ =
        std::thread([this] { exitCode_ = RunChat(options_, terminal_, terminal_, terminal_); });
  }
  ~ChatTerminalTest() override {
    Join();
    fromChat_ = -1;
    close(terminal_);
  }

  int terminal_ = -1;
  termios before_{};
};

TEST_F(ChatTerminalTest, CodePageThatNobodyNamedIsTold) {
  options_.codePageIsGiven = false;
  StartOnTerminal();
  EXPECT_TRUE(Shows("* code page 936; --code-page or --app-path names another"));
  LogIn();
}

TEST_F(ChatTerminalTest, WhatIsTypedStaysWholeWhileLinesArrive) {
  StartOnTerminal();
  LogIn();
  Type("/to 10002\r");
  EXPECT_TRUE(Shows("10002> \x1B[K"));
  Type("你好");
  EXPECT_TRUE(Shows("10002> 你好\x1B[K"));
  server_.Send(".+new_online|7|||#");
  EXPECT_TRUE(Shows("\r\x1B[K* 7 is online\r\n\r10002> 你好\x1B[K"));
  Type("\x7F\r");
  EXPECT_THAT(server_.Receive(), StartsWith(".+message|10002|10001|%u4F60|"));
  EXPECT_TRUE(Shows("you to 10002: 你"));
}

TEST_F(ChatTerminalTest, RefusedLogInMayBeTriedAgain) {
  StartOnTerminal();
  ASSERT_TRUE(server_.Accept());
  server_.Send(".+SuccessfulConnection|#");
  server_.Receive();
  server_.Send(".+ProhibitLanding|#");
  EXPECT_TRUE(Shows("is disabled."));
  EXPECT_TRUE(Shows("* /reconnect logs in again"));
  Type("/reconnect\r");
  LogIn();
  EXPECT_TRUE(Shows("* logged in as wang (10001)"));
}

TEST_F(ChatTerminalTest, QuitGivesTheTerminalBackAndEndsWithZero) {
  StartOnTerminal();
  LogIn();
  EXPECT_TRUE(Shows("* logged in as"));
  Type("/quit\r");
  SeeOff();
  EXPECT_EQ(exitCode_, 0);
  termios after{};
  tcgetattr(terminal_, &after);
  EXPECT_EQ(after.c_lflag, before_.c_lflag);
  EXPECT_EQ(after.c_iflag, before_.c_iflag);
}

TEST_F(ChatTerminalTest, LostSessionComesBackAndSendsWhatWasTypedMeanwhile) {
  options_.reconnectMs = 300;
  StartOnTerminal();
  LogIn();
  Type("/to 10002\r");
  EXPECT_TRUE(Shows("10002> "));
  server_.CloseClient();
  EXPECT_TRUE(Shows("* tries to come back by itself"));
  Type("still here?\r");
  EXPECT_TRUE(Shows("* it waits for the next session"));
  LogIn();
  EXPECT_TRUE(Shows("* sent: \"still here?\" for 10002"));
  EXPECT_THAT(server_.Receive(), StartsWith(".+message|10002|10001|still%20here%3F|"));
}

TEST_F(ChatTerminalTest, SessionThatLostAgainstAnotherLogInDoesNotComeBack) {
  options_.reconnectMs = 1;
  StartOnTerminal();
  LogIn();
  server_.Send(".+busy_force|10.0.0.9|#");
  EXPECT_TRUE(Shows("* /reconnect logs in again"));
  Type("/who\r");
  EXPECT_TRUE(Shows("* nobody has been announced"));
  EXPECT_EQ(shown_.find("come back by itself"), std::string::npos);
}

TEST_F(ChatTerminalTest, TextsFromOthersAreCountedInThePrompt) {
  StartOnTerminal();
  LogIn();
  Type("/to 10002\r");
  EXPECT_TRUE(Shows("10002> "));
  server_.Send(".+message|10003|2026-03-04|10:00:01|b|f|m2|11|1|#");
  EXPECT_TRUE(Shows("\r10002 +1> \x1B[K"));
}

TEST_F(ChatTerminalTest, LinesOfAnEarlierRunComeBackAndTabKnowsItsNames) {
  std::ofstream(options_.stateFile + ".typed") << "/to 10002\n";
  std::ofstream(options_.stateFile) << "user\t10007\tZhang Min\n";
  StartOnTerminal();
  LogIn();
  Type("\x1B[A\r");
  EXPECT_TRUE(Shows("* the next texts are for 10002"));
  Type("/to Zh\t\r");
  EXPECT_TRUE(Shows("* the next texts are for Zhang Min (10007)"));
  std::stringstream kept;
  kept << std::ifstream(options_.stateFile + ".typed").rdbuf();
  EXPECT_EQ(kept.str(), "/to 10002\n/to Zhang Min\n");
}

TEST_F(ChatTerminalTest, NothingIsKeptWhereNobodyWantsIt) {
  options_.keepHistory = false;
  StartOnTerminal();
  LogIn();
  Type("/who\r");
  EXPECT_TRUE(Shows("* nobody has been announced"));
  EXPECT_FALSE(std::filesystem::exists(options_.stateFile + ".typed"));
}

TEST_F(ChatTerminalTest, PastedLinesAreOneText) {
  StartOnTerminal();
  EXPECT_TRUE(Shows("\x1B[?2004h"));
  LogIn();
  Type("/to 10002\r\x1B[200~one\rtwo\x1B[201~\r");
  EXPECT_THAT(server_.Receive(), StartsWith(".+message|10002|10001|one%20two|"));
  Type("/quit\r");
  EXPECT_TRUE(Shows("\x1B[?2004l"));
}

TEST_F(ChatTerminalTest, AnotherSizeOfTheTerminalRepaintsTheLine) {
  StartOnTerminal();
  LogIn();
  EXPECT_TRUE(Shows("* logged in as"));
  Type("0123456789abcdefghij");
  EXPECT_TRUE(Shows("> 0123456789abcdefghij\x1B[K"));
  const winsize narrow{24, 12, 0, 0};
  ioctl(toChat_, TIOCSWINSZ, &narrow);
  pthread_kill(client_.native_handle(), SIGWINCH);
  EXPECT_TRUE(Shows("\r\x1B[J\r> "));
  EXPECT_TRUE(Shows("cdefghij\x1B[K"));
}

}  // namespace
}  // namespace vnq
