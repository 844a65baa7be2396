// Requests to HTTP servers, carried by the event loop.
//
// Only HTTP/1.1 over plain TCP: no TLS, no proxy, no redirection followed, no connection kept for
// the next request. An answer with an error status is an answer like any other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/net/event_loop.h"

namespace vnq {

struct HttpRequest {
  std::string method = "GET";  ///< "POST" carries the body; any other method has none
  std::string url;             ///< "http://host[:port][/path][?query]", see ParseHttpAddress
  std::vector<std::pair<std::string, std::string>> headers;  ///< sent in this order
  std::string body;
  int64_t timeoutMs = 0;  ///< from start to the end of the answer; 0: no bound
};

/// What a server answered. Without `ok` the other members are empty: the address is no HTTP
/// address or, encoded, nears a megabyte, nobody listens there, the answer broke off, is no HTTP or
/// larger than HttpClient::kMaxAnswerBytes, or the time-out is over.
struct HttpResponse {
  bool ok = false;
  long status = 0;
  std::string body;         ///< bytes as they came, transfer coding removed
  std::string contentType;  ///< value of the header, empty without one
};

/// Not thread-safe; belongs to the thread of its loop, which must outlive it.
///
/// Destruction breaks off what is on its way. A handler that waits in Perform at that time stays
/// suspended until the loop unwinds it.
class HttpClient {
 public:
  static constexpr size_t kMaxAnswerBytes = size_t{16} * 1024 * 1024;

  explicit HttpClient(EventLoop& loop);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  /// Sends a request and waits for the end of its answer, while the loop serves everything else.
  /// Only in a handler. Yields: yes.
  HttpResponse Perform(HttpRequest request);

  /// What came of a request; its body and content type are left out.
  using OnEnd = std::function<void(const HttpResponse& response)>;

  /// Sends a request and forgets it. `onEnd`, which must not yield, is told when it has come to its
  /// end, at once for an address that is none; not told when this object goes before. Yields: no.
  void Send(HttpRequest request, OnEnd onEnd = {});

  /// Requests that have not come to their end.
  size_t InFlight() const;

 private:
  class Transfers;

  EventLoop& loop_;
  std::shared_ptr<Transfers> transfers_;
};

}  // namespace vnq
