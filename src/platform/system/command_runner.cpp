#include "platform/system/command_runner.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/net/handler_wait.h"

extern char** environ;

namespace vnq {
namespace {

// How a command is started, held as long as the call takes.
class SpawnSettings {
 public:
  SpawnSettings() {
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    // Not every library opens its descriptors close-on-exec, and a service must not hold a port of
    // ours.
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);

    // Signals that this process blocks or ignores are the command's own affair.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnSettings() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
};

}  // namespace

// A started command, watched by a descriptor that becomes readable at its end. Where the kernel
// offers none, the next Start notices the end.
class ShellCommandRunner::Child : private EventLoop::Watcher {
 public:
  Child(ShellCommandRunner& runner, pid_t pid)
      : runner_(runner), descriptor_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {
    if (descriptor_ >= 0) watched_ = runner_.loop_.Watch(descriptor_, EPOLLIN, this);
  }
  ~Child() override {
    if (watched_) runner_.loop_.Unwatch(descriptor_);
    if (descriptor_ >= 0) close(descriptor_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

 private:
  void OnEvents(uint32_t) override { runner_.Reap(); }  // ends this object

  ShellCommandRunner& runner_;
  int descriptor_;
  bool watched_ = false;
};

ShellCommandRunner::ShellCommandRunner(EventLoop& loop) : loop_(loop) {}

ShellCommandRunner::~ShellCommandRunner() = default;

void ShellCommandRunner::Start(const std::string& commandLine) {
  Reap();
  loop_.Settle();
  SpawnSettings settings;
  std::string shell = "sh", option = "-c", command = commandLine;
  char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, "/bin/sh", &settings.files, &settings.attributes, arguments, environ) ==
      0) {
    children_.emplace(pid, std::make_unique<Child>(*this, pid));
  }
}

void ShellCommandRunner::BlockFor(int64_t ms) {
  loop_.Settle();
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

void ShellCommandRunner::WaitFor(int64_t ms) {
  WaitInHandler(loop_, ms);
}

void ShellCommandRunner::Reap() {
  std::erase_if(children_, [](const auto& child) {
    const pid_t ended = waitpid(child.first, nullptr, WNOHANG);
    return ended == child.first || (ended < 0 && errno == ECHILD);
  });
}

}  // namespace vnq
