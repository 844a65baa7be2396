// One connection of the load generator.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "bench/load/poller.h"
#include "platform/net/tls.h"
#include "tools/client/record_stream.h"

namespace vnq::bench {

/// Where a connection goes, and how it speaks.
struct LoadTarget {
  sockaddr_in address{};
  const TlsClient* tls = nullptr;  ///< null: in clear
  std::string host = {};           ///< whom the certificate has to be for
};

class LoadClient : private Poller::Watcher {
 public:
  struct Events {
    std::function<void(std::string_view record)> onRecord;
    std::function<void(std::string_view bytes)> onBytes;  ///< instead of onRecord, when it is set
    std::function<void()> onClosed;                       ///< the server has closed, or it broke
  };

  LoadClient(Poller& poller, const AnsiText& ansi, Events events)
      : poller_(poller), ansi_(ansi), events_(std::move(events)), stream_(ansi) {}
  ~LoadClient() override { Close(); }
  LoadClient(const LoadClient&) = delete;
  LoadClient& operator=(const LoadClient&) = delete;

  /// Begins to connect. What is sent before it has succeeded waits.
  bool Connect(const LoadTarget& server);
  void Close();
  bool IsOpen() const { return descriptor_ >= 0; }

  /// Sends a record as a client does, one text for it (more for a long one).
  void SendRecord(std::string_view record);

  /// Sends a record of any length as one text.
  void SendWholeRecord(std::string_view record);

  /// Sends bytes in one piece, which the server reads in one piece, or whole together with others.
  void SendText(std::string text);

  /// Sends what could not leave before. A text leaves only when everything before it has left the
  /// machine's own queue: two texts that wait there together may be joined and cut anywhere.
  /// False when something still waits.
  bool Flush();
  bool HasUnsent() const { return !unsent_.empty() || !wire_.empty(); }

 private:
  void OnEvents(uint32_t epollEvents) override;
  void Receive();
  void Take(std::string_view bytes);
  void HandOut(std::string_view bytes);
  bool IsReady() const { return connected_ && (!filter_ || filter_->IsReady()); }
  bool QueueIsEmpty() const;

  Poller& poller_;
  const AnsiText& ansi_;
  Events events_;
  RecordStream stream_;
  int descriptor_ = -1;
  bool connected_ = false;
  std::unique_ptr<StreamFilter> filter_;  // null: in clear
  std::string wire_;                      // of the filter's own and of a text that is on its way
  std::deque<std::string> unsent_;
};

}  // namespace vnq::bench
