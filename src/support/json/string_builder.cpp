#include "support/json/string_builder.h"

#include <algorithm>
#include <limits>

#include "support/json/letter_case.h"

namespace vnq {
namespace {

constexpr int64_t kMaxBytes = std::numeric_limits<int32_t>::max();
constexpr char16_t kBlank = u' ';

int64_t BytesOf(std::u16string_view text) {
  return static_cast<int64_t>(text.size()) * 2;
}

}  // namespace

RuntimeError cStringBuilder::ChunkSize(int32_t characters) {
  if (characters < 1) return RuntimeError::kSubscriptOutOfRange;
  if (characters > kMaxBytes / kCharacterBytes) return RuntimeError::kOverflow;
  chunkSize_ = characters * kCharacterBytes;
  return RuntimeError::kNone;
}

// Raises the capacity by whole chunks until it is not below `needed` bytes.
RuntimeError cStringBuilder::Reserve(int64_t needed) {
  if (needed <= capacity_) return RuntimeError::kNone;
  const int64_t chunks = (needed - capacity_ + chunkSize_ - 1) / chunkSize_;
  const int64_t raised = capacity_ + chunks * chunkSize_;
  if (raised > kMaxBytes) return RuntimeError::kOverflow;
  capacity_ = static_cast<int32_t>(raised);
  buffer_.resize(static_cast<size_t>(Capacity()), kBlank);
  return RuntimeError::kNone;
}

std::u16string cStringBuilder::toString() const {
  return buffer_.substr(0, static_cast<size_t>(Length()));
}

RuntimeError cStringBuilder::TheString(std::u16string_view text) {
  if (text.empty()) {
    Clear();
    return RuntimeError::kNone;
  }
  const RuntimeError error = Reserve(BytesOf(text));
  if (error != RuntimeError::kNone) return error;
  std::copy(text.begin(), text.end(), buffer_.begin());
  std::fill(buffer_.begin() + static_cast<std::ptrdiff_t>(text.size()), buffer_.end(), kBlank);
  used_ = static_cast<int32_t>(BytesOf(text));
  return RuntimeError::kNone;
}

void cStringBuilder::Clear() {
  std::u16string().swap(buffer_);
  used_ = 0;
  capacity_ = 0;
}

RuntimeError cStringBuilder::Append(std::u16string_view text) {
  if (text.empty()) return RuntimeError::kNone;
  const int64_t needed = used_ + BytesOf(text);
  const RuntimeError error = Reserve(needed);
  if (error != RuntimeError::kNone) return error;
  std::copy(text.begin(), text.end(), buffer_.begin() + Length());
  used_ = static_cast<int32_t>(needed);
  return RuntimeError::kNone;
}

RuntimeError cStringBuilder::AppendNL(std::u16string_view text) {
  const RuntimeError error = Append(text);
  return error != RuntimeError::kNone ? error : Append(u"\r\n");
}

RuntimeError cStringBuilder::Insert(int32_t index, std::u16string_view text) {
  if (index < 0 || index > Length()) return RuntimeError::kSubscriptOutOfRange;
  const int64_t needed = used_ + BytesOf(text);
  // A text of more than one chunk takes several, since the used part never exceeds the buffer.
  const RuntimeError error = Reserve(needed);
  if (error != RuntimeError::kNone) return error;

  const auto gap = buffer_.begin() + index;
  const auto tailEnd = buffer_.begin() + Length();
  std::move_backward(gap, tailEnd, tailEnd + static_cast<std::ptrdiff_t>(text.size()));
  std::copy(text.begin(), text.end(), gap);
  used_ = static_cast<int32_t>(needed);
  return RuntimeError::kNone;
}

RuntimeError cStringBuilder::Remove(int32_t index, int32_t length) {
  const int64_t end = int64_t{index} + length;
  if (index < 0 || length < 0 || end > Length()) return RuntimeError::kSubscriptOutOfRange;
  const auto textEnd = buffer_.begin() + Length();
  const auto left = std::move(buffer_.begin() + end, textEnd, buffer_.begin() + index);
  std::fill(left, textEnd, kBlank);
  used_ -= length * kCharacterBytes;
  return RuntimeError::kNone;
}

int32_t cStringBuilder::Find(std::u16string_view text, int32_t start, Compare compare) const {
  const auto from = static_cast<size_t>(std::max(start, 1) - 1);
  if (from > buffer_.size()) return 0;
  const auto same = [compare](char16_t a, char16_t b) {
    return a == b || (compare == Compare::kText && LowerCase(a) == LowerCase(b));
  };
  const auto begin = buffer_.begin() + static_cast<std::ptrdiff_t>(from);
  const auto hit = std::search(begin, buffer_.end(), text.begin(), text.end(), same);
  const auto position = hit - buffer_.begin();
  return position < Length() ? static_cast<int32_t>(position) + 1 : 0;
}

void cStringBuilder::HeapMinimize() {
  while (capacity_ >= chunkSize_ && capacity_ - chunkSize_ >= used_) capacity_ -= chunkSize_;
  buffer_.resize(static_cast<size_t>(Capacity()));
  buffer_.shrink_to_fit();
}

}  // namespace vnq
