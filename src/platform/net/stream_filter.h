// What may stand between a socket and the connection's owner: encryption, framing, a proxy's word
// on who the peer is. A filter owns no socket; it turns bytes into bytes.
//
//   socket ── bytes ──> filter ── arrivals ──> owner
//   socket <── bytes ── filter <── what is sent ── owner
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

class StreamFilter {
 public:
  /// What comes of bytes from the peer.
  struct Result {
    std::vector<std::string> arrivals;  ///< for the owner, each one arrival
    std::string wire;                   ///< to go to the peer
    bool ended = false;  ///< the peer has ended in order or against the rules; nothing more comes
  };

  virtual ~StreamFilter() = default;

  /// Takes bytes as they came, in pieces of any size.
  virtual Result FromPeer(std::string_view bytes) = 0;

  /// The wire bytes of what the owner sends. What is sent before the filter is ready waits, and
  /// goes with the wire bytes of the step that makes it so.
  virtual std::string ToPeer(std::string_view bytes) = 0;

  /// What takes leave of the peer in order. Nothing is to be sent behind it.
  virtual std::string Farewell() { return ""; }

  /// True once the two sides have agreed and what is sent leaves.
  virtual bool IsReady() const { return true; }

  /// Who the peer is by this filter's knowledge; empty: who the socket says.
  virtual std::string PeerAddress() const { return ""; }

  /// Why it has ended against the rules, for a log; empty when it has not.
  virtual std::string Fault() const { return ""; }
};

/// Several filters as one, the one next to the socket first.
class FilterStack final : public StreamFilter {
 public:
  void Add(std::unique_ptr<StreamFilter> filter) { filters_.push_back(std::move(filter)); }
  bool IsEmpty() const { return filters_.empty(); }

  Result FromPeer(std::string_view bytes) override;
  std::string ToPeer(std::string_view bytes) override;
  std::string Farewell() override;
  bool IsReady() const override;
  std::string PeerAddress() const override;
  std::string Fault() const override;

 private:
  std::string Below(size_t filter, std::string bytes);

  std::vector<std::unique_ptr<StreamFilter>> filters_;
};

}  // namespace vnq
