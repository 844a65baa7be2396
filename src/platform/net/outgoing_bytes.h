// Bytes on their way to a peer that takes them more slowly than they come.
//
// They lie in pieces, and a piece goes as soon as it has left, so that a peer that stays behind
// costs what it is behind by. A text for many peers is one piece that all of them hold.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace vnq {

/// Bytes for several connections, held once.
using SharedBytes = std::shared_ptr<const std::string>;

class OutgoingBytes {
 public:
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }

  /// Those that are held for this peer alone.
  size_t OwnBytes() const { return own_; }

  void Append(std::string_view bytes);

  /// The bytes from `from` on.
  void Append(const SharedBytes& bytes, size_t from);

  /// The next bytes to send, as many as lie together. Not on an empty one.
  std::string_view Front() const;

  /// The first `count` bytes of Front() have left.
  void Leave(size_t count);

  void Clear();

 private:
  struct Piece {
    std::string own;
    SharedBytes shared;  // null: own
    size_t from = 0;

    const std::string& bytes() const { return shared ? *shared : own; }
  };

  std::list<Piece> pieces_;  // an empty one holds no memory
  size_t size_ = 0;
  size_t own_ = 0;  // of whole pieces
};

}  // namespace vnq
