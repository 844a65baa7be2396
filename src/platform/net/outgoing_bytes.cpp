#include "platform/net/outgoing_bytes.h"

namespace vnq {
namespace {

// Small texts share a piece up to this; what of it has left waits for the rest of the piece.
constexpr size_t kPieceBytes = 64 * 1024;

// Below this a copy is cheaper than a piece.
constexpr size_t kSharedBytes = 1024;

}  // namespace

void OutgoingBytes::Append(std::string_view bytes) {
  if (bytes.empty()) return;
  const bool fits = !pieces_.empty() && !pieces_.back().shared &&
                    pieces_.back().own.size() + bytes.size() <= kPieceBytes;
  if (!fits) pieces_.emplace_back();
  pieces_.back().own.append(bytes);
  size_ += bytes.size();
  own_ += bytes.size();
}

void OutgoingBytes::Append(const SharedBytes& bytes, size_t from) {
  const size_t count = bytes->size() - from;
  if (count < kSharedBytes) return Append(std::string_view(*bytes).substr(from));
  pieces_.push_back({{}, bytes, from});
  size_ += count;
}

std::string_view OutgoingBytes::Front() const {
  const Piece& piece = pieces_.front();
  return std::string_view(piece.bytes()).substr(piece.from);
}

void OutgoingBytes::Leave(size_t count) {
  Piece& piece = pieces_.front();
  piece.from += count;
  size_ -= count;
  if (piece.from < piece.bytes().size()) return;
  own_ -= piece.own.size();
  pieces_.pop_front();
}

void OutgoingBytes::Clear() {
  pieces_.clear();
  size_ = 0;
  own_ = 0;
}

}  // namespace vnq
