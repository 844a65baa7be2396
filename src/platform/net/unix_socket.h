// A socket that is a file: who may use it is the file's mode. For questions to a running program of
// this machine.
#pragma once

#include <functional>
#include <string>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"

namespace vnq {

/// A listening socket at a path of any length, for its owner alone (0600).
class UnixListener : private EventLoop::Watcher {
 public:
  using OnRequest = std::function<void(AcceptedSocket)>;

  explicit UnixListener(EventLoop& loop) : loop_(loop) {}
  ~UnixListener() override { Close(); }
  UnixListener(const UnixListener&) = delete;
  UnixListener& operator=(const UnixListener&) = delete;

  /// Listens at `path`. What a program that has ended left there goes; so the caller holds a lock
  /// that keeps a second one away. What root makes belongs to the owner of its folder. False, with
  /// the reason in `error`: the listener stays closed.
  bool Listen(const std::string& path, OnRequest onRequest, std::string& error);

  /// Takes the file away, too.
  void Close();

 private:
  void OnEvents(uint32_t epollEvents) override;
  void Rest();

  EventLoop& loop_;
  OnRequest onRequest_;
  std::string path_;
  int descriptor_ = -1;
  EventLoop::TimerId rest_ = 0;
};

/// Sends a line to the program that listens at `path`, and reads what it answers up to the end of
/// the connection. False, with the reason in `error`: nobody listens there, this user may not ask,
/// or the answer did not come within `timeoutMs`.
bool AskAtSocket(const std::string& path, const std::string& line, int timeoutMs,
                 std::string& answer, std::string& error);

}  // namespace vnq
