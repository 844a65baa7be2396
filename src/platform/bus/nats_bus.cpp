#include "platform/bus/nats_bus.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/bus/nats_library.h"
#include "platform/system/event_log.h"

namespace vnq {
namespace {

constexpr int64_t kConnectMs = 2000;
constexpr int64_t kPingMs = 1000;  // a server that leaves two unanswered is gone
constexpr int kMostPingsOut = 2;
constexpr int64_t kWriteMs = 2000;
constexpr int64_t kCloseMs = 250;
constexpr auto kBetweenTries = std::chrono::milliseconds(500);
constexpr size_t kMostWaitingBytes = 64 << 20;  // in either direction; further words are lost

// --- One connection ---

class NatsSession {
 public:
  struct Callbacks {
    NatsOnMessage onMessage;
    NatsOnConnection onClosed;
    void* closure;
  };

  explicit NatsSession(const NatsLibrary& nats) : nats_(nats) {}
  ~NatsSession() {
    for (NatsSubscription* each : subscriptions_) nats_.natsSubscription_Destroy(each);
    if (connection_ != nullptr) nats_.natsConnection_Destroy(connection_);
    if (options_ != nullptr) nats_.natsOptions_Destroy(options_);
  }
  NatsSession(const NatsSession&) = delete;
  NatsSession& operator=(const NatsSession&) = delete;

  bool Connect(const NatsOptionsOfBus& bus, const Callbacks& callbacks) {
    return Prepare(bus, callbacks) && Done(nats_.natsConnection_Connect(&connection_, options_));
  }

  bool Subscribe(const std::string& subject, const Callbacks& callbacks) {
    NatsSubscription* made = nullptr;
    if (!Done(nats_.natsConnection_Subscribe(&made, connection_, subject.c_str(),
                                             callbacks.onMessage, callbacks.closure))) {
      return false;
    }
    subscriptions_.push_back(made);
    return true;
  }

  bool Publish(const std::string& subject, const std::string& bytes) {
    return Done(nats_.natsConnection_Publish(connection_, subject.c_str(), bytes.data(),
                                             static_cast<int>(bytes.size())));
  }

  /// Whether the server takes a word of so many bytes.
  bool Takes(size_t bytes) const {
    const int64_t most = nats_.natsConnection_GetMaxPayload(connection_);
    return most <= 0 || bytes <= static_cast<size_t>(most);
  }

  bool Flush(int64_t ms) { return Done(nats_.natsConnection_FlushTimeout(connection_, ms)); }

  const std::string& why() const { return why_; }

 private:
  // An answer from the server to a wrong password ends the first try, so it is told as such.
  bool Prepare(const NatsOptionsOfBus& bus, const Callbacks& callbacks) {
    std::vector<const char*> urls;
    urls.reserve(bus.urls.size());
    for (const std::string& url : bus.urls) urls.push_back(url.c_str());
    const bool isTls = !bus.urls.empty() && bus.urls.front().starts_with("tls://");
    return Done(nats_.natsOptions_Create(&options_)) &&
           Done(nats_.natsOptions_SetServers(options_, urls.data(),
                                             static_cast<int>(urls.size()))) &&
           (bus.user.empty() || Done(nats_.natsOptions_SetUserInfo(options_, bus.user.c_str(),
                                                                   bus.password.c_str()))) &&
           (!isTls || Done(nats_.natsOptions_SetSecure(options_, true))) &&
           (bus.caFile.empty() ||
            Done(nats_.natsOptions_LoadCATrustedCertificates(options_, bus.caFile.c_str()))) &&
           Done(nats_.natsOptions_SetName(options_, ("vnq " + bus.node).c_str())) &&
           Done(nats_.natsOptions_SetTimeout(options_, kConnectMs)) &&
           Done(nats_.natsOptions_SetPingInterval(options_, kPingMs)) &&
           Done(nats_.natsOptions_SetMaxPingsOut(options_, kMostPingsOut)) &&
           Done(nats_.natsOptions_SetWriteDeadline(options_, kWriteMs)) &&
           Done(nats_.natsOptions_SetAllowReconnect(options_, false)) &&
           Done(nats_.natsOptions_SetNoEcho(options_, true)) &&
           Done(nats_.natsOptions_UseGlobalMessageDelivery(options_, true)) &&
           (callbacks.onClosed == nullptr ||
            Done(nats_.natsOptions_SetClosedCB(options_, callbacks.onClosed, callbacks.closure)));
  }

  bool Done(NatsStatus status) {
    if (status != kNatsOk) why_ = nats_.natsStatus_GetText(status);
    return status == kNatsOk;
  }

  const NatsLibrary& nats_;
  NatsOptions* options_ = nullptr;
  NatsConnection* connection_ = nullptr;
  std::vector<NatsSubscription*> subscriptions_;
  std::string why_;
};

// --- The bus ---

class NatsBus;

/// Which bus a session's callbacks are for. The library may still call for a session that has
/// ended, when the bus has another one, or is gone.
class NatsSessions {
 public:
  void* Begin(NatsBus* bus) {
    const std::lock_guard lock(mutex_);
    void* const session = &begun_.emplace_back();
    buses_[session] = bus;
    return session;
  }
  void End(void* session) {
    const std::lock_guard lock(mutex_);
    buses_.erase(session);
  }
  template <typename Step>
  void WithBusOf(void* session, const Step& step) {
    const std::lock_guard lock(mutex_);
    const auto found = buses_.find(session);
    if (found != buses_.end()) step(*found->second);
  }

 private:
  std::mutex mutex_;
  std::map<void*, NatsBus*> buses_;
  std::deque<char> begun_;  // a place each, which no later one has again
};

NatsSessions& Sessions() {
  static NatsSessions sessions;
  return sessions;
}

class NatsBus final : public Bus, private EventLoop::Watcher {
 public:
  NatsBus(EventLoop& loop, NatsOptionsOfBus options)
      : loop_(loop),
        options_(std::move(options)),
        subjectOfAll_("vnq." + options_.cluster + ".all"),
        subjectOfNode_("vnq." + options_.cluster + ".node.") {}
  ~NatsBus() override { NatsBus::Close(); }

  void Open(Events events) override;
  void Send(std::string_view node, std::string bytes) override {
    Queue(subjectOfNode_ + std::string(node), std::move(bytes));
  }
  void SendToAll(std::string bytes) override { Queue(subjectOfAll_, std::move(bytes)); }
  void Close() override;

 private:
  struct Outgoing {
    std::string subject, bytes;
  };
  struct Incoming {
    enum class Kind { kConnected, kLost, kWord } kind;
    std::string text;
  };

  void Queue(std::string subject, std::string bytes);
  void Report(Incoming::Kind kind, std::string text);
  void RunThread();
  std::string RunSession(const NatsLibrary& nats);
  void SetStands(bool stands);
  void SendUntilEnd(NatsSession& session);
  void SayLost(const std::string& why);
  void SayTooLarge(size_t bytes);
  void OnEvents(uint32_t) override;
  void NoteClosed();
  static void OnMessage(NatsConnection*, NatsSubscription*, NatsMessage* message, void* session);
  static void OnClosed(NatsConnection*, void* session);

  EventLoop& loop_;
  const NatsOptionsOfBus options_;
  const std::string subjectOfAll_, subjectOfNode_;
  Events events_;
  std::thread thread_;
  int arrived_ = -1;                              // readable when something is in arrivals_
  bool saidLost_ = false, saidTooLarge_ = false;  // the thread's
  std::mutex mutex_;
  std::condition_variable wanted_;
  std::deque<Outgoing> waiting_;  // under the mutex, as are:
  std::deque<Incoming> arrivals_;
  size_t waitingBytes_ = 0, arrivedBytes_ = 0;
  bool stands_ = false, stopping_ = false;
};

// All threads of the library begin in this one, and take no signals: they are the loop's.
void NatsBus::Open(Events events) {
  events_ = std::move(events);
  arrived_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  loop_.Watch(arrived_, EPOLLIN, this);
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] { RunThread(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void NatsBus::Close() {
  if (arrived_ < 0) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wanted_.notify_one();
  thread_.join();
  loop_.Unwatch(arrived_);
  close(std::exchange(arrived_, -1));
}

void NatsBus::Queue(std::string subject, std::string bytes) {
  const std::lock_guard lock(mutex_);
  if (!stands_ || waitingBytes_ + bytes.size() > kMostWaitingBytes) return;
  waitingBytes_ += bytes.size();
  waiting_.push_back({std::move(subject), std::move(bytes)});
  wanted_.notify_one();
}

void NatsBus::Report(Incoming::Kind kind, std::string text) {
  const std::lock_guard lock(mutex_);
  if (kind == Incoming::Kind::kWord && arrivedBytes_ + text.size() > kMostWaitingBytes) return;
  arrivedBytes_ += text.size();
  arrivals_.push_back({kind, std::move(text)});
  eventfd_write(arrived_, 1);
}

void NatsBus::OnEvents(uint32_t) {
  eventfd_t count = 0;
  eventfd_read(arrived_, &count);
  std::deque<Incoming> arrivals;
  {
    const std::lock_guard lock(mutex_);
    arrivals.swap(arrivals_);
    arrivedBytes_ = 0;
  }
  for (const Incoming& each : arrivals) {
    if (each.kind == Incoming::Kind::kWord) events_.onWord(each.text);
    if (each.kind == Incoming::Kind::kConnected) events_.onConnected();
    if (each.kind == Incoming::Kind::kLost) events_.onLost(each.text);
  }
}

// --- The thread ---

void NatsBus::RunThread() {
  for (;;) {
    std::string why;
    if (const NatsLibrary* const nats = NatsLibrary::Load(why)) why = RunSession(*nats);
    SayLost(why);
    std::unique_lock lock(mutex_);
    wanted_.wait_for(lock, kBetweenTries, [this] { return stopping_; });
    if (stopping_) return;
  }
}

// Comes back when the session is over, with what ended it.
std::string NatsBus::RunSession(const NatsLibrary& nats) {
  NatsSession session(nats);
  const NatsSession::Callbacks callbacks{OnMessage, OnClosed, Sessions().Begin(this)};
  SetStands(true);  // OnClosed may take it back before Connect has returned
  const bool connected =
      session.Connect(options_, callbacks) && session.Subscribe(subjectOfAll_, callbacks) &&
      session.Subscribe(subjectOfNode_ + options_.node, callbacks) && session.Flush(kConnectMs);
  if (connected) {
    saidLost_ = false;
    Report(Incoming::Kind::kConnected, "");
    SendUntilEnd(session);
  }
  Sessions().End(callbacks.closure);
  SetStands(false);
  return session.why().empty() ? "the connection has ended" : session.why();
}

void NatsBus::SetStands(bool stands) {
  const std::lock_guard lock(mutex_);
  stands_ = stands;
  waiting_.clear();
  waitingBytes_ = 0;
}

void NatsBus::SendUntilEnd(NatsSession& session) {
  for (;;) {
    std::unique_lock lock(mutex_);
    wanted_.wait(lock, [this] { return stopping_ || !stands_ || !waiting_.empty(); });
    if (!stands_) return;
    const bool isLast = stopping_;
    std::deque<Outgoing> batch;
    batch.swap(waiting_);
    waitingBytes_ = 0;
    lock.unlock();
    for (const Outgoing& each : batch) {
      if (!session.Takes(each.bytes.size())) {
        SayTooLarge(each.bytes.size());
      } else if (!session.Publish(each.subject, each.bytes)) {
        return;
      }
    }
    if (isLast) {
      session.Flush(kCloseMs);
      return;
    }
  }
}

void NatsBus::SayLost(const std::string& why) {
  if (std::exchange(saidLost_, true)) return;
  Report(Incoming::Kind::kLost, why);
}

// Once: whoever sends one will send another.
void NatsBus::SayTooLarge(size_t bytes) {
  if (std::exchange(saidTooLarge_, true)) return;
  LogWarning("bus_word_too_large",
             "a record of {} bytes for another node is more than the NATS server takes, and is "
             "lost; its max_payload is to be raised",
             bytes);
}

// --- On threads of the library ---

void NatsBus::OnMessage(NatsConnection*, NatsSubscription*, NatsMessage* message, void* session) {
  std::string none;
  const NatsLibrary& nats = *NatsLibrary::Load(none);
  std::string bytes(nats.natsMsg_GetData(message),
                    static_cast<size_t>(nats.natsMsg_GetDataLength(message)));
  nats.natsMsg_Destroy(message);
  Sessions().WithBusOf(session,
                       [&](NatsBus& bus) { bus.Report(Incoming::Kind::kWord, std::move(bytes)); });
}

void NatsBus::OnClosed(NatsConnection*, void* session) {
  Sessions().WithBusOf(session, [](NatsBus& bus) { bus.NoteClosed(); });
}

void NatsBus::NoteClosed() {
  const std::lock_guard lock(mutex_);
  stands_ = false;
  wanted_.notify_one();
}

}  // namespace

std::unique_ptr<Bus> OpenNatsBus(EventLoop& loop, NatsOptionsOfBus options) {
  return std::make_unique<NatsBus>(loop, std::move(options));
}

std::string NatsFault(const NatsOptionsOfBus& options, std::string& version) {
  std::string error;
  const NatsLibrary* const nats = NatsLibrary::Load(error);
  if (nats == nullptr) return error;
  version = nats->nats_GetVersion();
  NatsSession session(*nats);
  const bool done =
      session.Connect(options, {nullptr, nullptr, nullptr}) && session.Flush(kConnectMs);
  return done ? "" : session.why();
}

}  // namespace vnq
