#include "platform/system/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

extern char** environ;

namespace vnq {
namespace {

constexpr size_t kBlockBytes = 64 * 1024;
constexpr size_t kKeptComplaints = 4096;

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Environment(const ChildCommand& command) {
  std::vector<std::string> entries;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const bool isReplaced =
        std::any_of(command.environment.begin(), command.environment.end(),
                    [text](const auto& own) { return text.starts_with(own.first + "="); });
    if (!isReplaced) entries.emplace_back(text);
  }
  for (const auto& [name, value] : command.environment) entries.push_back(name + "=" + value);
  return entries;
}

// Runs it with nothing to read and the two descriptors to write to. An errno value; 0 when it runs.
int Spawn(const ChildCommand& command, int output, int complaints, pid_t& pid) {
  std::vector<std::string> words = {command.program}, entries = Environment(command);
  words.insert(words.end(), command.arguments.begin(), command.arguments.end());
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, complaints, STDERR_FILENO);
  const int code = posix_spawnp(&pid, command.program.c_str(), &actions, nullptr,
                                Pointers(words).data(), Pointers(entries).data());
  posix_spawn_file_actions_destroy(&actions);
  return code;
}

std::string ReadComplaints(int descriptor) {
  std::string said(kKeptComplaints, '\0');
  const ssize_t length = pread(descriptor, said.data(), said.size(), 0);
  said.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return said;
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (output_ >= 0) close(output_);
  if (complaints_ >= 0) close(complaints_);
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

ChildProcess::Started ChildProcess::Start(const ChildCommand& command, std::string& error) {
  // A file takes any number of complaints, where a pipe that nobody reads would hold the child up.
  complaints_ = memfd_create("complaints", MFD_CLOEXEC);
  int ends[2];
  if (complaints_ < 0 || pipe2(ends, O_CLOEXEC) != 0) {
    error = command.program + ": " + strerror(errno);
    return Started::kError;
  }
  output_ = ends[0];
  const int code = Spawn(command, ends[1], complaints_, pid_);
  close(ends[1]);
  if (code == 0) return Started::kYes;
  pid_ = -1;
  error = command.program + ": " + strerror(code);
  return code == ENOENT ? Started::kNotFound : Started::kError;
}

bool ChildProcess::ReadLine(std::string& line) {
  line.clear();
  while (true) {
    const std::string_view rest = std::string_view(buffer_).substr(at_);
    const size_t end = rest.find('\n');
    line += rest.substr(0, end);
    if (end != std::string_view::npos) {
      at_ += end + 1;
      return true;
    }
    if (!Fill()) return !line.empty();
  }
}

bool ChildProcess::Fill() {
  buffer_.resize(kBlockBytes);
  at_ = 0;
  ssize_t length;
  do {
    length = read(output_, buffer_.data(), buffer_.size());
  } while (length < 0 && errno == EINTR);
  buffer_.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return !buffer_.empty();
}

bool ChildProcess::Finish(std::string& error, std::string& said) {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  said = ReadComplaints(complaints_);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  error = WIFEXITED(status) ? "exit code " + std::to_string(WEXITSTATUS(status))
                            : "signal " + std::to_string(WTERMSIG(status));
  return false;
}

}  // namespace vnq
