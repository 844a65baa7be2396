// The header by which a proxy in front tells whom it speaks for (PROXY protocol, versions 1 and 2).
//
//   version 1  "PROXY TCP4 10.0.0.9 10.0.0.1 51234 6004" CR LF; TCP6 likewise; UNKNOWN names nobody
//   version 2  12 fixed bytes, version and command, family, length, the addresses, further values
//
// It is to be believed only from proxies of one's own: who may send it is the listener's business.
#pragma once

#include "platform/net/stream_filter.h"

namespace vnq {

/// Takes the header off the head of a stream; what is behind it passes as it comes. A stream that
/// begins otherwise has ended.
class ProxyHeaderFilter final : public StreamFilter {
 public:
  Result FromPeer(std::string_view bytes) override;
  std::string ToPeer(std::string_view bytes) override;
  bool IsReady() const override { return ready_; }
  std::string PeerAddress() const override { return peer_; }
  std::string Fault() const override { return fault_; }

 private:
  enum class Found { kMore, kWhole, kWrong };
  Found ReadText(size_t& length);
  Found ReadBinary(size_t& length);

  std::string head_;    // until the header is whole
  std::string unsent_;  // by the owner, until then
  std::string peer_, fault_;
  bool ready_ = false;
};

}  // namespace vnq
