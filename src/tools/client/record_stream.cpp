#include "tools/client/record_stream.h"

#include <algorithm>

#include "support/base64_text.h"

namespace vnq {
namespace {

constexpr std::string_view kPrefix = ".+";

// A server that never closes a record must not fill the memory.
constexpr size_t kMaxRecordBytes = size_t{1} << 24;

// 960 bytes are 1,280 characters, which fit the segment of every usual network.
constexpr size_t kMaxPartBytes = 960;

bool IsBase64Character(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/';
}

bool IsContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string EncodePart(const AnsiText& ansi, std::string part) {
  size_t bytes = ansi.ToBytes(part).size();
  part.append((3 - bytes % 3) % 3, '\n');
  return Base64EncodeText(ansi, part);
}

// The longest beginning of `text` that has at most kMaxPartBytes; in UTF-8 a character of a legacy
// page never has fewer bytes than in the page, so that counting here is on the safe side.
size_t PartLength(std::string_view text) {
  if (text.size() <= kMaxPartBytes) return text.size();
  size_t length = kMaxPartBytes;
  while (length > 1 && IsContinuationByte(text[length])) --length;
  return length;
}

}  // namespace

std::vector<std::string> RecordStream::Feed(std::string_view bytes) {
  std::vector<std::string> records;
  for (char c : bytes) {
    const bool padding = c == '=' && group_.size() >= 2;
    if (!padding && !IsBase64Character(c)) continue;
    group_ += c;
    // "xx=" with something else behind it: the text has ended all the same.
    if (!padding && group_.size() == 4 && group_[2] == '=') {
      group_.resize(3);
      TakeGroup(records);
      group_ = c;
    } else if (group_.size() == 4) {
      TakeGroup(records);
    }
  }
  return records;
}

bool RecordStream::RestLooksComplete() const {
  return group_.empty() && rest_.size() >= 2 && rest_.ends_with("|#");
}

std::vector<std::string> RecordStream::TakeRest() {
  std::vector<std::string> records;
  group_.clear();
  Emit(rest_.size(), records);
  return records;
}

void RecordStream::TakeGroup(std::vector<std::string>& records) {
  const bool ended = group_.back() == '=';
  const size_t from = rest_.empty() ? 1 : rest_.size() - 1;
  if (group_.size() == 3) group_ += '=';
  rest_ += Base64DecodeBytes(group_);
  group_.clear();
  CutAtPrefixes(std::max<size_t>(from, 1), records);
  if (ended || rest_.size() > kMaxRecordBytes) Emit(rest_.size(), records);
}

void RecordStream::CutAtPrefixes(size_t from, std::vector<std::string>& records) {
  for (size_t next = rest_.find(kPrefix, from); next != std::string::npos;
       next = rest_.find(kPrefix, 1)) {
    Emit(next, records);
  }
}

void RecordStream::Emit(size_t bytes, std::vector<std::string>& records) {
  const std::string_view record = std::string_view(rest_).substr(0, bytes);
  if (!record.empty() && record != kPrefix) records.push_back(ansi_->FromBytes(record));
  rest_.erase(0, bytes);
}

std::vector<std::string> EncodeForMainPort(const AnsiText& ansi, std::string_view record) {
  std::vector<std::string> texts;
  while (!record.empty()) {
    const size_t length = PartLength(record);
    texts.push_back(EncodePart(ansi, std::string(record.substr(0, length))));
    record.remove_prefix(length);
  }
  return texts;
}

}  // namespace vnq
