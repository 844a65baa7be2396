#include "platform/net/http_client.h"

#include <curl/curl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cassert>
#include <map>
#include <new>

#include "platform/net/http_address.h"

namespace vnq {
namespace {

curl_slist* HeaderList(const HttpRequest& request) {
  // An announced "Expect: 100-continue" would wait a second for servers that do not know it.
  curl_slist* list = curl_slist_append(nullptr, "Expect:");
  for (const auto& [name, value] : request.headers) {
    std::string line = name;
    line.append(value.empty() ? ";" : ": ").append(value);
    list = curl_slist_append(list, line.c_str());
  }
  return list;
}

// Commands that this process starts must not hold the connection open.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// One request on its way. The library keeps pointers to its members until it is taken back.
struct Transfer {
  Transfer() : easy(curl_easy_init()) {}
  ~Transfer() {
    curl_easy_cleanup(easy);
    curl_slist_free_all(headers);
  }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy;
  curl_slist* headers = nullptr;
  std::string requestBody;
  HttpResponse response;
  EventLoop::Handler* waiting = nullptr;  // null: nobody wants the answer
  HttpClient::OnEnd onEnd;                // may be empty
  EventLoop::TimerId timeout = 0;
  bool ended = false;
};

size_t TakeAnswer(char* bytes, size_t, size_t count, void* owner) {
  auto& transfer = *static_cast<Transfer*>(owner);
  if (transfer.waiting == nullptr) return count;
  if (transfer.response.body.size() + count > HttpClient::kMaxAnswerBytes) return 0;
  try {
    transfer.response.body.append(bytes, count);
  } catch (const std::bad_alloc&) {
    return 0;  // the library's frames know no exceptions
  }
  return count;
}

// The library's own reading of paths and queries has no say. False when the address is no HTTP
// address or longer than the library takes.
bool SetAddress(CURL* easy, std::string_view url) {
  const auto address = ParseHttpAddress(url);
  return address && curl_easy_setopt(easy, CURLOPT_URL, address->server.c_str()) == CURLE_OK &&
         curl_easy_setopt(easy, CURLOPT_REQUEST_TARGET, address->target.c_str()) == CURLE_OK;
}

void SetUp(Transfer& transfer, HttpRequest&& request) {
  CURL* easy = transfer.easy;
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // Without it the end of a request waits for its name look-up, and the loop with it.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 1L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, TakeAnswer);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);

  transfer.headers = HeaderList(request);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers);
  if (request.method == "POST") {
    transfer.requestBody = std::move(request.body);
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(transfer.requestBody.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, transfer.requestBody.data());
  } else {
    if (request.method == "HEAD") curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
}

void TakeResult(Transfer& transfer, CURLcode code) {
  HttpResponse& response = transfer.response;
  if (code != CURLE_OK) {
    response = {};
    return;
  }
  const char* contentType = nullptr;
  response.ok = true;
  curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &response.status);
  curl_easy_getinfo(transfer.easy, CURLINFO_CONTENT_TYPE, &contentType);
  if (contentType != nullptr) response.contentType = contentType;
}

}  // namespace

// The library's state machine on the loop: it says which sockets to watch and when to call it
// again. Shared with the handlers that wait, since one of them may unwind after its client is gone.
class HttpClient::Transfers : public std::enable_shared_from_this<Transfers> {
 public:
  explicit Transfers(EventLoop& loop);
  ~Transfers();
  Transfers(const Transfers&) = delete;
  Transfers& operator=(const Transfers&) = delete;

  /// Null when the address is no HTTP address or longer than the library takes.
  std::shared_ptr<Transfer> Start(HttpRequest request, EventLoop::Handler* waiting);

  /// Takes a transfer back from the library, whether it has come to its end or not.
  void Drop(const std::shared_ptr<Transfer>& transfer);

  /// Breaks everything off and wakes nobody.
  void DropAll();

  size_t InFlight() const { return running_.size(); }

 private:
  class Socket;

  static int OnSocket(CURL* easy, curl_socket_t descriptor, int what, void* self, void* socket);
  static int OnTimer(CURLM* multi, long delayMs, void* self);

  void WatchSocket(CURL* easy, curl_socket_t descriptor, int what, Socket* socket);
  void Proceed(curl_socket_t descriptor, int events);
  void CollectEnded();
  /// Tells the one who waits. A transfer that has been dropped already is passed over.
  void End(Transfer* running, CURLcode code);

  EventLoop& loop_;
  CURLM* multi_;
  EventLoop::TimerId timer_ = 0;
  uint64_t timerRound_ = 0;
  std::map<Transfer*, std::shared_ptr<Transfer>> running_;
  std::map<Socket*, std::unique_ptr<Socket>> sockets_;
};

class HttpClient::Transfers::Socket : private EventLoop::Watcher {
 public:
  Socket(Transfers& owner, curl_socket_t descriptor) : owner_(owner), descriptor_(descriptor) {}
  ~Socket() override {
    if (watched_) owner_.loop_.Unwatch(descriptor_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  bool Watch(uint32_t epollEvents) {
    if (watched_) {
      owner_.loop_.ChangeWatch(descriptor_, epollEvents);
    } else {
      watched_ = owner_.loop_.Watch(descriptor_, epollEvents, this);
    }
    return watched_;
  }

 private:
  void OnEvents(uint32_t epollEvents) override {
    int events = 0;
    if ((epollEvents & EPOLLIN) != 0) events |= CURL_CSELECT_IN;
    if ((epollEvents & EPOLLOUT) != 0) events |= CURL_CSELECT_OUT;
    if (events == 0) events = CURL_CSELECT_ERR;
    const auto keepAlive = owner_.shared_from_this();
    keepAlive->Proceed(descriptor_, events);  // may end this object
  }

  Transfers& owner_;
  curl_socket_t descriptor_;
  bool watched_ = false;
};

HttpClient::Transfers::Transfers(EventLoop& loop) : loop_(loop) {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_NOTHING);
  static_cast<void>(ready);
  multi_ = curl_multi_init();
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, OnSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, OnTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

HttpClient::Transfers::~Transfers() {
  DropAll();
  curl_multi_cleanup(multi_);
  loop_.StopTimer(timer_);
}

std::shared_ptr<Transfer> HttpClient::Transfers::Start(HttpRequest request,
                                                       EventLoop::Handler* waiting) {
  const int64_t timeoutMs = request.timeoutMs;
  auto transfer = std::make_shared<Transfer>();
  transfer->waiting = waiting;
  if (!SetAddress(transfer->easy, request.url)) return nullptr;
  SetUp(*transfer, std::move(request));
  loop_.Settle();
  if (curl_multi_add_handle(multi_, transfer->easy) != CURLM_OK) return nullptr;
  running_.emplace(transfer.get(), transfer);
  if (timeoutMs > 0) {
    transfer->timeout = loop_.RunAfter(
        timeoutMs, [self = weak_from_this(), late = std::weak_ptr<Transfer>(transfer)] {
          const auto owner = self.lock();
          const auto found = late.lock();
          if (owner && found) owner->End(found.get(), CURLE_OPERATION_TIMEDOUT);
        });
  }
  return transfer;
}

void HttpClient::Transfers::Drop(const std::shared_ptr<Transfer>& transfer) {
  if (running_.erase(transfer.get()) == 0) return;
  loop_.StopTimer(transfer->timeout);
  curl_multi_remove_handle(multi_, transfer->easy);
}

void HttpClient::Transfers::DropAll() {
  while (!running_.empty()) Drop(std::shared_ptr<Transfer>(running_.begin()->second));
}

void HttpClient::Transfers::End(Transfer* running, CURLcode code) {
  const auto found = running_.find(running);
  if (found == running_.end()) return;
  const std::shared_ptr<Transfer> transfer = found->second;
  TakeResult(*transfer, code);
  Drop(transfer);
  transfer->ended = true;
  if (transfer->waiting != nullptr) loop_.Wake(transfer->waiting);
  if (transfer->onEnd) transfer->onEnd(transfer->response);
}

int HttpClient::Transfers::OnSocket(CURL* easy, curl_socket_t descriptor, int what, void* self,
                                    void* socket) {
  static_cast<Transfers*>(self)->WatchSocket(easy, descriptor, what, static_cast<Socket*>(socket));
  return 0;
}

void HttpClient::Transfers::WatchSocket(CURL* easy, curl_socket_t descriptor, int what,
                                        Socket* socket) {
  if (what == CURL_POLL_REMOVE) {
    sockets_.erase(socket);
    return;
  }
  if (socket == nullptr) {
    auto added = std::make_unique<Socket>(*this, descriptor);
    socket = added.get();
    sockets_.emplace(socket, std::move(added));
    curl_multi_assign(multi_, descriptor, socket);
  }
  uint32_t events = 0;
  if ((what & CURL_POLL_IN) != 0) events |= EPOLLIN;
  if ((what & CURL_POLL_OUT) != 0) events |= EPOLLOUT;
  if (socket->Watch(events)) return;

  // A socket that nobody watches would never get on. Not from in here: the library must not be
  // re-entered.
  Transfer* transfer = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
  loop_.Enqueue([self = weak_from_this(), transfer] {
    if (const auto owner = self.lock()) owner->End(transfer, CURLE_COULDNT_CONNECT);
  });
}

int HttpClient::Transfers::OnTimer(CURLM*, long delayMs, void* self) {
  auto& transfers = *static_cast<Transfers*>(self);
  transfers.loop_.StopTimer(transfers.timer_);
  const uint64_t round = ++transfers.timerRound_;
  if (delayMs < 0) return 0;
  // A timer that is due already stands in the ready queue and cannot be stopped: its round tells.
  transfers.timer_ = transfers.loop_.RunAfter(delayMs, [owner = transfers.weak_from_this(), round] {
    const auto found = owner.lock();
    if (found && found->timerRound_ == round) found->Proceed(CURL_SOCKET_TIMEOUT, 0);
  });
  return 0;
}

void HttpClient::Transfers::Proceed(curl_socket_t descriptor, int events) {
  int running = 0;
  curl_multi_socket_action(multi_, descriptor, events, &running);
  CollectEnded();
}

void HttpClient::Transfers::CollectEnded() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    Transfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    End(transfer, code);
  }
}

// --- HttpClient ---

HttpClient::HttpClient(EventLoop& loop)
    : loop_(loop), transfers_(std::make_shared<Transfers>(loop)) {}

HttpClient::~HttpClient() {
  transfers_->DropAll();
}

HttpResponse HttpClient::Perform(HttpRequest request) {
  assert(loop_.InHandler());
  // Declared in front of the wait, so that a handler which is unwound in it takes its transfer
  // along.
  struct Waiting {
    ~Waiting() {
      if (owner && transfer) owner->Drop(transfer);
    }
    std::shared_ptr<Transfers> owner;
    std::shared_ptr<Transfer> transfer;
  };
  Waiting waiting{transfers_, transfers_->Start(std::move(request), loop_.CurrentHandler())};
  if (!waiting.transfer) return {};
  EventLoop& loop = loop_;  // outlives this client, which may go during the wait
  while (!waiting.transfer->ended) loop.Suspend();
  return std::move(waiting.transfer->response);
}

void HttpClient::Send(HttpRequest request, OnEnd onEnd) {
  const auto transfer = transfers_->Start(std::move(request), nullptr);
  if (transfer) {
    transfer->onEnd = std::move(onEnd);
  } else if (onEnd) {
    onEnd({});
  }
}

size_t HttpClient::InFlight() const {
  return transfers_->InFlight();
}

}  // namespace vnq
