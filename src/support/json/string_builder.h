// A text that grows at its end.
//
// cStringBuilder appends to one buffer that is allocated ahead, so that a reader that collects
// characters does not pay for a fresh text on each of them. The buffer grows by whole chunks and
// never shrinks by itself.
//
//   |<------ used ------>|<-- blanks -->|
//   |<------------ capacity ----------->|
//
// Inside, sizes are 32-bit counts of bytes; the interface speaks in 16-bit characters of two bytes.
// What lies behind the used part is always blanks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/json/runtime_error.h"

namespace vnq {

class cStringBuilder {
 public:
  enum class Compare { kBinary, kText };  // kText: upper and lower case are the same

  /// Characters in use.
  int32_t Length() const { return used_ / kCharacterBytes; }
  /// Characters allocated; 0 for a new builder.
  int32_t Capacity() const { return capacity_ / kCharacterBytes; }

  /// Characters by which the buffer grows; 8192 at the start.
  int32_t ChunkSize() const { return chunkSize_ / kCharacterBytes; }
  /// Below 1 (the buffer could not grow): kSubscriptOutOfRange. Above 1073741823: kOverflow.
  RuntimeError ChunkSize(int32_t characters);

  /// The text; empty when nothing is in use.
  std::u16string toString() const;

  /// Replaces the whole text; an empty one is a Clear. The capacity is kept or grows. kOverflow as
  /// Append.
  RuntimeError TheString(std::u16string_view text);

  /// Empties the builder and drops the buffer. The chunk size stays.
  void Clear();

  /// Adds at the end. kOverflow when the buffer would exceed 2147483647 bytes: nothing is added.
  RuntimeError Append(std::u16string_view text);
  /// Append, and then a CR LF.
  RuntimeError AppendNL(std::u16string_view text);
  /// Append of a copy: the argument may lie anywhere and may go away meanwhile.
  RuntimeError AppendByVal(std::u16string text) { return Append(text); }  // NOLINT: a copy

  /// Inserts in front of the 0-based character `index`; `index` = Length appends.
  /// kSubscriptOutOfRange: `index` is below 0 or above Length, and nothing happens. kOverflow as
  /// Append.
  RuntimeError Insert(int32_t index, std::u16string_view text);
  /// Insert of a copy.
  RuntimeError InsertByVal(int32_t index, std::u16string text) {  // NOLINT: a copy
    return Insert(index, text);
  }

  /// Removes `length` characters from the 0-based character `index` on. The capacity is kept.
  /// kSubscriptOutOfRange: the range does not lie inside the text, and nothing happens.
  RuntimeError Remove(int32_t index, int32_t length);

  /// The 1-based position of the first `text` at or behind the 1-based `start` (below 1: from the
  /// start); 0 when there is none. The whole buffer is searched, so blanks at the end of `text` may
  /// match those behind the used part, but a hit must begin inside it. An empty `text` is found at
  /// `start`.
  int32_t Find(std::u16string_view text, int32_t start, Compare compare) const;

  /// Gives back the chunks at the end that hold nothing.
  void HeapMinimize();

 private:
  static constexpr int32_t kCharacterBytes = 2;

  RuntimeError Reserve(int64_t needed);

  std::u16string buffer_;
  int32_t chunkSize_ = 16384;  // bytes, as the two below
  int32_t used_ = 0;
  int32_t capacity_ = 0;
};

}  // namespace vnq
