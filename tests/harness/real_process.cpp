#include "tests/harness/real_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

namespace vnq {
namespace {

using Clock = std::chrono::steady_clock;

void ReadPipe(int& descriptor, std::string& text) {
  char buffer[4096];
  ssize_t count = 0;
  while (descriptor >= 0 && (count = read(descriptor, buffer, sizeof buffer)) > 0) {
    text.append(buffer, static_cast<size_t>(count));
  }
}

void Nap() {
  usleep(2000);
}

}  // namespace

RealProcess::RealProcess(std::vector<std::string> commandLine,
                         const std::vector<std::string>& variables) {
  int errors[2];
  int outputs[2];
  if (pipe2(errors, O_CLOEXEC) != 0 || pipe2(outputs, O_CLOEXEC) != 0) return;
  std::vector<char*> arguments;
  for (std::string& argument : commandLine) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, 0);
    dup2(outputs[1], 1);
    dup2(errors[1], 2);
    for (const std::string& variable : variables) putenv(const_cast<char*>(variable.c_str()));
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(errors[1]);
  close(outputs[1]);
  errorPipe_ = errors[0];
  outputPipe_ = outputs[0];
  fcntl(errorPipe_, F_SETFL, O_NONBLOCK);
  fcntl(outputPipe_, F_SETFL, O_NONBLOCK);
}

RealProcess::~RealProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(errorPipe_);
  close(outputPipe_);
}

void RealProcess::Read() {
  ReadPipe(errorPipe_, error_);
  ReadPipe(outputPipe_, output_);
}

bool RealProcess::WaitForWords(const std::string& words) {
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while (Clock::now() < deadline) {
    Read();
    if (error_.find(words) != std::string::npos) return true;
    Nap();
  }
  return false;
}

void RealProcess::Signal(int number) {
  kill(pid_, number);
}

int RealProcess::ExitCode() {
  const auto deadline = Clock::now() + std::chrono::seconds(20);
  while (Clock::now() < deadline && pid_ > 0) {
    int status = 0;
    Read();
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      Read();
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    Nap();
  }
  return -1;
}

const std::string& RealProcess::standardError() {
  Read();
  return error_;
}

const std::string& RealProcess::standardOutput() {
  Read();
  return output_;
}

}  // namespace vnq
