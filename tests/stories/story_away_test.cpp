// Somebody goes away, is written to, comes back and reads everything once.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <future>
#include <mutex>

#include "tests/harness/real_process.h"
#include "tests/harness/test_server.h"
#include "tools/client/chat_program.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

class Away : public ServerTest {
 protected:
  Away() {
    server.AddUser("1");
    server.AddUser("2");
    server.Run("insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Team')");
    server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','1')");
    server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','2')");
    std::ofstream(server.folder() + "/password") << "pw2\n";
  }

  /// What Ben's client prints, started with nothing to type and left to end.
  std::string BenComesBack() {
    RealProcess chat({VNQ_CTL_PROGRAM, "chat", "--catch-up", "--app-path", server.folder(),
                      "--server", server.address(), "--user", "name2", "--password-file",
                      server.folder() + "/password", "--state-file", server.folder() + "/names"});
    auto exitCode = std::async(std::launch::async, [&] { return chat.ExitCode(); });
    while (exitCode.wait_for(1ms) != std::future_status::ready) server.Pump();
    EXPECT_EQ(exitCode.get(), 0) << chat.standardError();
    return chat.standardOutput();
  }

  /// What is behind the line that tells of the log-in.
  static std::string AfterLogIn(const std::string& output) {
    return output.substr(output.find('\n') + 1);
  }
};

TEST_F(Away, PersonWhoComesBackReadsEachOnceAndNothingASecondTime) {
  TestClient ann = server.Online("1");
  ann.Send(".+message|2|1|%u4F60%u597D|font|M1|1|#");
  ann.Send(".+clot_messeng|Clot000001|1|hello%20all|font|G1|1|#");
  ann.Send(".+notification|1|2|Party|tonight||#");
  server.Tick();
  // The database dates group messages by a clock of its own.
  server.Run("update MessengClot_Text set To_Date='2026-03-04',To_Time='05:06:07'");
  EXPECT_EQ(AfterLogIn(BenComesBack()),
            "* while you were away:\n"
            "* 2026-03-04\n"
            "05:06:07 Name 1 (1): 你好\n"
            "05:06:07 [Team (Clot000001)] Name 1 (1): hello all\n"
            "* notice of 2026-03-04 05:06:07: Party - tonight\n"
            "* that was all\n");
  EXPECT_EQ(AfterLogIn(BenComesBack()), "");
  EXPECT_EQ(server.Rows("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text"), Lines{"0|1|0|1"});
  EXPECT_EQ(server.Rows("select IsAck1,IsAck2 from Notice_Acks"), Lines{"0|1"});
}

// Ben's client in a thread of the test, with what it prints.
class LiveClient {
 public:
  explicit LiveClient(TestServer& server) : server_(server) {
    options_.server = server.address();
    options_.user = "name2";
    options_.passwordFile = server.folder() + "/password";
    options_.stateFile = server.folder() + "/names";
    options_.catchUp = true;
    options_.appPath = server.folder();
    EXPECT_EQ(pipe(in_) | pipe(out_), 0);
    exitCode_ = std::async(std::launch::async, [this] {
      const int code = RunChat(options_, in_[0], out_[1], STDERR_FILENO);
      close(out_[1]);
      return code;
    });
    reader_ = std::async(std::launch::async, [this] { ReadToTheEnd(); });
  }
  ~LiveClient() {
    for (int fd : {in_[0], out_[0]}) close(fd);
  }

  /// Serves until the client has printed the words.
  bool Prints(const std::string& words) {
    return Serve([&] { return Output().find(words) != std::string::npos; });
  }

  /// Serves until a select gives the value.
  bool Comes(const std::string& select, const std::string& value) {
    return Serve([&] { return server_.Value(select) == value; });
  }

  /// Ends the client's input, and serves until it has ended.
  int End() {
    close(in_[1]);
    Serve([this] { return exitCode_.wait_for(0s) == std::future_status::ready; });
    reader_.wait();
    return exitCode_.get();
  }

  std::string Output() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return output_;
  }

 private:
  template <typename Condition>
  bool Serve(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      server_.Pump();
      exitCode_.wait_for(1ms);
    }
    return true;
  }

  void ReadToTheEnd() {
    char buffer[4096];
    for (ssize_t got = 0; (got = read(out_[0], buffer, sizeof buffer)) > 0;) {
      const std::lock_guard<std::mutex> lock(mutex_);
      output_.append(buffer, static_cast<size_t>(got));
    }
  }

  TestServer& server_;
  ChatOptions options_;
  int in_[2], out_[2];
  std::mutex mutex_;
  std::string output_;
  std::future<int> exitCode_;
  std::future<void> reader_;
};

size_t CountOf(const std::string& text, const std::string& words) {
  size_t count = 0;
  for (size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1))
    ++count;
  return count;
}

TEST_F(Away, MessageThatComesBothWaysIsShownOnceAndLiveOnesAreMarked) {
  TestClient ann = server.Online("1");
  ann.Send(".+message|2|1|missed|font|M1|1|#");
  server.Tick();
  LiveClient ben(server);
  ASSERT_TRUE(ben.Prints("* that was all")) << ben.Output();
  ann.Receive();

  // A sender who missed the receipt sends again; here the mark of the first reading is lost, too.
  server.Run("update Messeng_Text set IsAck3=1");
  ann.Send(".+message|2|1|missed|font|M1|1|#");
  ann.Send(".+message|2|1|live|font|M2|1|#");
  ann.Send(".+clot_messeng|Clot000001|1|to%20all|font|G1|1|#");
  ann.Send(".+notification|1|2|Party|||#");
  server.Tick();
  EXPECT_TRUE(ben.Prints("Party")) << ben.Output();
  EXPECT_TRUE(ben.Comes("select count(*) from Messeng_Text where IsAck3=1", "0"));
  EXPECT_TRUE(ben.Comes("select count(*) from Notice_Acks where IsAck1=1", "0"));
  EXPECT_TRUE(
      ben.Comes("select count(*) from Clot_Form where UserID='2' and last_ack_typeid1=1", "1"));
  EXPECT_EQ(ben.End(), 0);
  for (const char* words : {"missed", "live", "to all", "Party"}) {
    EXPECT_EQ(CountOf(ben.Output(), words), 1U) << ben.Output();
  }
  EXPECT_EQ(AfterLogIn(BenComesBack()), "");
}

TEST_F(Away, WithoutCatchingUpNothingIsReadOrMarked) {
  TestClient ann = server.Online("1");
  ann.Send(".+message|2|1|missed|font|M1|1|#");
  RealProcess chat({VNQ_CTL_PROGRAM, "chat", "--server", server.address(), "--user", "name2",
                    "--password-file", server.folder() + "/password", "--state-file",
                    server.folder() + "/names"});
  auto exitCode = std::async(std::launch::async, [&] { return chat.ExitCode(); });
  while (exitCode.wait_for(1ms) != std::future_status::ready) server.Pump();
  EXPECT_THAT(chat.standardOutput(), AllOf(HasSubstr("logged in"), Not(HasSubstr("missed"))));
  EXPECT_EQ(server.Value("select IsAck3 from Messeng_Text"), "1");
}

}  // namespace
}  // namespace vnq
