#include "platform/net/background_work.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace vnq {

BackgroundWork::~BackgroundWork() {
  if (done_ < 0) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wanted_.notify_one();
  thread_.join();
  loop_.Unwatch(done_);
  close(done_);
}

// The thread takes no signals: they are the loop's.
void BackgroundWork::Start() {
  done_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  loop_.Watch(done_, EPOLLIN, this);
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] { RunThread(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::string BackgroundWork::Do(Work work) {
  if (done_ < 0) Start();
  auto job = std::make_shared<Job>();
  job->work = std::move(work);
  job->handler = loop_.CurrentHandler();
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(job);
  }
  wanted_.notify_one();
  // A handler that is unwound waits no longer.
  struct Waiting {
    Job& job;
    ~Waiting() { job.handler = nullptr; }
  };
  const Waiting until{*job};
  loop_.Suspend();
  return std::move(job->result);
}

void BackgroundWork::RunThread() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wanted_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
    if (stopping_) return;
    const std::shared_ptr<Job> job = waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    job->result = job->work();
    lock.lock();
    finished_.push_back(job);
    eventfd_write(done_, 1);
  }
}

void BackgroundWork::OnEvents(uint32_t) {
  eventfd_t count = 0;
  eventfd_read(done_, &count);
  std::deque<std::shared_ptr<Job>> finished;
  {
    const std::lock_guard lock(mutex_);
    finished.swap(finished_);
  }
  for (const auto& job : finished) {
    if (job->handler != nullptr) loop_.Wake(std::exchange(job->handler, nullptr));
  }
}

}  // namespace vnq
