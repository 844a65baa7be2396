#include "platform/net/tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <utility>

namespace vnq {
namespace {

constexpr size_t kRecordBytes = 16 * 1024;  // no record holds more

// What the library says of the last failure, and forgets.
std::string TakeError() {
  const unsigned long code = ERR_peek_last_error();
  ERR_clear_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "unknown failure" : reason;
}

std::shared_ptr<SSL_CTX> NewContext(const SSL_METHOD* method) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(method), SSL_CTX_free);
  if (!context) return nullptr;
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                         SSL_OP_CIPHER_SERVER_PREFERENCE |
                                         SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
  // Nobody is at a terminal to be asked for the pass phrase of a key.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
  return context;
}

class TlsFilter final : public StreamFilter {
 public:
  explicit TlsFilter(SSL_CTX* context)
      : ssl_(SSL_new(context)), in_(BIO_new(BIO_s_mem())), out_(BIO_new(BIO_s_mem())) {
    BIO_set_mem_eof_return(in_, -1);
    SSL_set_bio(ssl_, in_, out_);
  }
  ~TlsFilter() override { SSL_free(ssl_); }
  TlsFilter(const TlsFilter&) = delete;
  TlsFilter& operator=(const TlsFilter&) = delete;

  SSL* ssl() { return ssl_; }

  Result FromPeer(std::string_view bytes) override {
    Result result;
    ERR_clear_error();
    if (!bytes.empty()) BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    if (!IsReady() && !Ended(SSL_do_handshake(ssl_), result) && IsReady()) SendWhatWaited();
    if (IsReady()) ReadRecords(result);
    result.wire = TakeWire();
    return result;
  }

  std::string ToPeer(std::string_view bytes) override {
    if (!IsReady()) {
      unsent_.append(bytes);
      return "";
    }
    ERR_clear_error();
    Write(bytes);
    return TakeWire();
  }

  std::string Farewell() override {
    if (!IsReady()) return "";
    ERR_clear_error();
    SSL_shutdown(ssl_);
    return TakeWire();
  }

  bool IsReady() const override { return SSL_is_init_finished(ssl_) == 1; }
  std::string Fault() const override { return fault_; }

 private:
  // True, and told, where a call has ended the connection and does not only want more bytes.
  bool Ended(int outcome, Result& result) {
    if (outcome > 0) return false;
    const int why = SSL_get_error(ssl_, outcome);
    if (why == SSL_ERROR_WANT_READ || why == SSL_ERROR_WANT_WRITE) return false;
    result.ended = true;
    if (why == SSL_ERROR_ZERO_RETURN) return true;
    const long verified = SSL_get_verify_result(ssl_);
    fault_ = verified == X509_V_OK ? TakeError() : X509_verify_cert_error_string(verified);
    return true;
  }

  // Each call gives what is left of one record, never of two.
  void ReadRecords(Result& result) {
    std::string record(kRecordBytes, '\0');
    for (;;) {
      const int count = SSL_read(ssl_, record.data(), static_cast<int>(record.size()));
      if (count <= 0) {
        Ended(count, result);
        return;
      }
      result.arrivals.emplace_back(record.data(), static_cast<size_t>(count));
    }
  }

  void SendWhatWaited() { Write(std::exchange(unsent_, {})); }

  // Into memory, which always has room.
  void Write(std::string_view bytes) {
    if (!bytes.empty()) SSL_write(ssl_, bytes.data(), static_cast<int>(bytes.size()));
  }

  std::string TakeWire() {
    char* bytes = nullptr;
    const long count = BIO_get_mem_data(out_, &bytes);
    std::string wire(bytes, static_cast<size_t>(count));
    BIO_reset(out_);
    return wire;
  }

  SSL* ssl_;
  BIO* in_;   // the connection's
  BIO* out_;  // the connection's
  std::string unsent_, fault_;
};

// From one moment to another; null is now.
int64_t SecondsBetween(const ASN1_TIME* from, const ASN1_TIME* to) {
  int days = 0, seconds = 0;
  ASN1_TIME_diff(&days, &seconds, from, to);
  return int64_t{days} * 86'400 + seconds;
}

bool IsAddress(const std::string& host) {
  char bytes[16];
  return inet_pton(AF_INET, host.c_str(), bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

}  // namespace

bool TlsServer::Load(const std::string& certificateFile, const std::string& keyFile,
                     std::string& error) {
  ERR_clear_error();
  const auto context = NewContext(TLS_server_method());
  if (!context) {
    error = TakeError();
  } else if (SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1) {
    error = "certificate " + certificateFile + ": " + TakeError();
  } else if (SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    error = "key " + keyFile + " for " + certificateFile + ": " + TakeError();
  } else {
    context_ = context;
    return true;
  }
  return false;
}

std::unique_ptr<StreamFilter> TlsServer::Filter() const {
  auto filter = std::make_unique<TlsFilter>(context_.get());
  SSL_set_accept_state(filter->ssl());
  return filter;
}

int64_t TlsServer::SecondsSinceBegin() const {
  return SecondsBetween(X509_get0_notBefore(SSL_CTX_get0_certificate(context_.get())), nullptr);
}

int64_t TlsServer::SecondsToEnd() const {
  return SecondsBetween(nullptr, X509_get0_notAfter(SSL_CTX_get0_certificate(context_.get())));
}

bool TlsClient::Load(const TlsTrust& trust, std::string& error) {
  ERR_clear_error();
  insecure_ = trust.insecure;
  context_ = NewContext(TLS_client_method());
  if (!context_) {
    error = TakeError();
    return false;
  }
  const bool known = trust.caFile.empty() ? SSL_CTX_set_default_verify_paths(context_.get()) == 1
                                          : SSL_CTX_load_verify_locations(
                                                context_.get(), trust.caFile.c_str(), nullptr) == 1;
  if (!known) error = trust.caFile + ": " + TakeError();
  return known;
}

std::unique_ptr<StreamFilter> TlsClient::Filter(const std::string& host) const {
  auto filter = std::make_unique<TlsFilter>(context_.get());
  SSL* const ssl = filter->ssl();
  SSL_set_connect_state(ssl);
  if (IsAddress(host)) {
    X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str());
  } else {
    SSL_set_tlsext_host_name(ssl, host.c_str());
    SSL_set1_host(ssl, host.c_str());
  }
  SSL_set_verify(ssl, insecure_ ? SSL_VERIFY_NONE : SSL_VERIFY_PEER, nullptr);
  return filter;
}

}  // namespace vnq
