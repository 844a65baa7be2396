#include "platform/system/signals.h"

#include <signal.h>
#include <stddef.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

namespace vnq {

namespace {

sigset_t HeldSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2, SIGALRM}) {
    sigaddset(&signals, number);
  }
  return signals;
}

}  // namespace

void ProcessSignals::Hold() {
  signal(SIGPIPE, SIG_IGN);
  const sigset_t signals = HeldSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

ProcessSignals::ProcessSignals(EventLoop& loop, std::function<void(int)> onSignal)
    : loop_(loop), onSignal_(std::move(onSignal)) {
  Hold();
  const sigset_t signals = HeldSignals();
  descriptor_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  loop_.Watch(descriptor_, EPOLLIN, this);
}

ProcessSignals::~ProcessSignals() {
  loop_.Unwatch(descriptor_);
  close(descriptor_);
}

void ProcessSignals::OnEvents(uint32_t) {
  signalfd_siginfo info;
  while (read(descriptor_, &info, sizeof info) == sizeof info) {
    onSignal_(static_cast<int>(info.ssi_signo));
  }
}

void NotifyServiceManager(const std::string& state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  if (path == nullptr || *path == '\0') return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const size_t length = strlen(path);
  if (length >= sizeof address.sun_path) return;
  memcpy(address.sun_path, path, length);
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return;
  sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
         reinterpret_cast<sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
  close(descriptor);
}

bool ServiceManagerWatches() {
  const char* limit = std::getenv("WATCHDOG_USEC");
  const char* pid = std::getenv("WATCHDOG_PID");
  return limit != nullptr && (pid == nullptr || pid == std::to_string(getpid()));
}

}  // namespace vnq
