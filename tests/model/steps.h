// A procedure of the model that gives others a turn: a coroutine, and the one queue that all wait
// in.
#pragma once

#include <coroutine>
#include <deque>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace vnq::model {

/// What a procedure with yields returns. `co_await Other(...)` runs another to its end.
class [[nodiscard]] Steps {
 public:
  struct promise_type;
  using Handle = std::coroutine_handle<promise_type>;

  struct BackToCaller {
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(Handle ended) const noexcept;
    void await_resume() const noexcept {}
  };
  struct promise_type {
    std::coroutine_handle<> caller = std::noop_coroutine();
    Steps get_return_object() { return Steps(Handle::from_promise(*this)); }
    std::suspend_always initial_suspend() const noexcept { return {}; }
    BackToCaller final_suspend() const noexcept { return {}; }
    void return_void() const {}
    [[noreturn]] void unhandled_exception() const { std::terminate(); }
  };

  explicit Steps(Handle handle) : handle_(handle) {}
  Steps(Steps&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Steps& operator=(Steps&&) = delete;
  ~Steps() {
    if (handle_) handle_.destroy();
  }

  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) noexcept {
    handle_.promise().caller = caller;
    return handle_;
  }
  void await_resume() const noexcept {}

  std::coroutine_handle<> handle() const { return handle_; }

 private:
  Handle handle_;
};

inline std::coroutine_handle<> Steps::BackToCaller::await_suspend(Handle ended) const noexcept {
  return ended.promise().caller;
}

/// First in, first out: who yields goes to the tail.
class Turns {
 public:
  void Start(Steps steps) {
    waiting_.push_back(steps.handle());
    started_.push_back(std::move(steps));
  }

  void RunAll() {
    while (!waiting_.empty()) {
      const auto next = waiting_.front();
      waiting_.pop_front();
      next.resume();
    }
    started_.clear();
  }

  struct Yield {
    Turns& turns;
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handler) const { turns.waiting_.push_back(handler); }
    void await_resume() const noexcept {}
  };
  Yield Give() { return Yield{*this}; }

 private:
  std::deque<std::coroutine_handle<>> waiting_;
  std::vector<Steps> started_;
};

}  // namespace vnq::model
