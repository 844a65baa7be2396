// What a log does whose reader stands still: real pipes, sockets and files.
#include "platform/system/log_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/platform/system/temporary_folder.h"

namespace vnq {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

struct Ends {
  int reader = -1, writer = -1;
};

Ends Pipe() {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  return {ends[0], ends[1]};
}
Ends Socket() {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  return {ends[0], ends[1]};
}

struct StreamCase {
  const char* name;
  Ends (*open)();
  bool mayOpenAgain = true;
};
void PrintTo(const StreamCase& row, std::ostream* out) {
  *out << row.name;
}

class LogStreamReader : public ::testing::TestWithParam<StreamCase> {
 protected:
  LogStreamReader() {
    if (!GetParam().mayOpenAgain) {
      EXPECT_EQ(fchmod(ends_.writer, 0), 0);
      setfsuid(65534);  // root may open everything
    }
    stream_ = std::make_unique<LogStream>(ends_.writer);
    setfsuid(geteuid());
  }
  ~LogStreamReader() override {
    close(ends_.reader);
    close(ends_.writer);
  }

  static std::string Line(int number) {
    return std::to_string(number) + " " + std::string(500, 'x') + "\n";
  }
  int WriteUntilFull() {
    int lines = 0;
    while (lines < 100'000 && stream_->Write(Line(lines))) ++lines;
    return lines;
  }
  std::string ReadAll() {
    fcntl(ends_.reader, F_SETFL, O_NONBLOCK);
    std::string all;
    char buffer[4096];
    for (ssize_t count; (count = read(ends_.reader, buffer, sizeof buffer)) > 0;) {
      all.append(buffer, static_cast<size_t>(count));
    }
    return all;
  }

  Ends ends_ = GetParam().open();
  std::unique_ptr<LogStream> stream_;
};

INSTANTIATE_TEST_SUITE_P(Streams, LogStreamReader,
                         ::testing::Values(StreamCase{"Pipe", Pipe},
                                           StreamCase{"PipeThatCannotBeOpenedAgain", Pipe, false},
                                           StreamCase{"Socket", Socket}),
                         [](const auto& one) { return one.param.name; });

TEST_P(LogStreamReader, ThatStandsStillIsWaitedForOnlyALittle) {
  const auto began = Clock::now();
  const int lines = WriteUntilFull();
  EXPECT_GT(lines, 10);
  EXPECT_LT(lines, 100'000);
  for (int i = 0; i < 1000; ++i) EXPECT_FALSE(stream_->Write(Line(lines)));
  EXPECT_LT(Clock::now() - began, seconds(5));
}

TEST_P(LogStreamReader, FindsEachLineWholeAndInItsOrder) {
  std::string written;
  int lines = WriteUntilFull();
  for (int i = 0; i < lines; ++i) written += Line(i);
  std::string heard = ReadAll();
  EXPECT_TRUE(stream_->Write("behind the gap\n"));
  heard += ReadAll();
  EXPECT_EQ(heard, written + "behind the gap\n");
}

TEST_P(LogStreamReader, LeavesTheOpeningOfOthersBlocking) {
  WriteUntilFull();
  EXPECT_EQ(fcntl(ends_.writer, F_GETFL) & O_NONBLOCK, 0);
}

TEST(LogStream, GoesOnBehindWhatAFileHolds) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/log";
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(write(file, "before\n", 7), 7);
  LogStream stream(file);
  EXPECT_TRUE(stream.Write("behind\n"));
  close(file);
  std::ifstream input(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(input), {}), "before\nbehind\n");
}

TEST(LogStream, WithoutAStreamLosesItsLinesInSilence) {
  LogStream stream(-1);
  EXPECT_TRUE(stream.Write("to nobody\n"));
}

}  // namespace
}  // namespace vnq
