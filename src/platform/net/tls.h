// TLS 1.2 and 1.3 as a filter of a stream. One TLS record is one arrival.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/net/stream_filter.h"

struct ssl_ctx_st;

namespace vnq {

/// The side of a server: its certificate and key.
class TlsServer {
 public:
  /// Reads a certificate, with those that lead to its issuer behind it, and its key, both PEM.
  /// False, with the file and the reason in `error`: what was read before stays in use. Connections
  /// that have begun keep what they have.
  bool Load(const std::string& certificateFile, const std::string& keyFile, std::string& error);

  /// A filter for one connection. Only after a Load.
  std::unique_ptr<StreamFilter> Filter() const;

  /// Seconds since the certificate holds and until it ends, by the machine's clock; below 0: it
  /// does not hold yet, it has ended. Only after a Load.
  int64_t SecondsSinceBegin() const;
  int64_t SecondsToEnd() const;

 private:
  std::shared_ptr<ssl_ctx_st> context_;
};

/// What a client believes.
struct TlsTrust {
  std::string caFile;     ///< PEM; empty: what the system believes
  bool insecure = false;  ///< believes anybody, which protects against listeners alone
};

/// The side of a client.
class TlsClient {
 public:
  /// False, with the reason in `error`, for a file that cannot be used.
  bool Load(const TlsTrust& trust, std::string& error);

  /// A filter for one connection to a host, whose name or address the certificate must be for. It
  /// speaks first: FromPeer of no bytes gives what to send. Only after a Load.
  std::unique_ptr<StreamFilter> Filter(const std::string& host) const;

 private:
  std::shared_ptr<ssl_ctx_st> context_;
  bool insecure_ = false;
};

}  // namespace vnq
