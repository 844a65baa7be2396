#include "tools/decode/port_stream.h"

#include <algorithm>

#include "support/base64_text.h"
#include "tools/client/record_stream.h"

namespace vnq {
namespace {

constexpr std::string_view kPrefix = ".+";
constexpr uint16_t kVisitorPort = 6001;

// Ports 6003 and 6008 speak plain text; the others Base64.
bool IsPlain(uint16_t port) {
  return port == 6003 || port == 6008;
}

class Base64Stream : public PortStream {
 public:
  explicit Base64Stream(const AnsiText& page) : stream_(page) {}

  std::vector<std::string> Feed(std::string_view bytes) override {
    std::vector<std::string> records = stream_.Feed(bytes);
    if (stream_.RestLooksComplete()) {
      for (std::string& record : stream_.TakeRest()) records.push_back(std::move(record));
    }
    return WithoutLineFeeds(std::move(records));
  }
  std::vector<std::string> TakeRest() override { return WithoutLineFeeds(stream_.TakeRest()); }

 private:
  // They stand behind a record to keep padding away.
  static std::vector<std::string> WithoutLineFeeds(std::vector<std::string> records) {
    for (std::string& record : records) {
      while (record.ends_with('\n') || record.ends_with('\r')) record.pop_back();
    }
    std::erase(records, "");
    return records;
  }

  RecordStream stream_;
};

class PlainStream : public PortStream {
 public:
  explicit PlainStream(const AnsiText& page) : page_(page) {}

  std::vector<std::string> Feed(std::string_view bytes) override {
    rest_ += bytes;
    std::vector<std::string> records;
    for (size_t next; (next = rest_.find(kPrefix, 1)) != std::string::npos;) Cut(next, records);
    if (rest_.ends_with("|#")) Cut(rest_.size(), records);
    return records;
  }
  std::vector<std::string> TakeRest() override {
    std::vector<std::string> records;
    if (!rest_.empty()) Cut(rest_.size(), records);
    return records;
  }

 private:
  void Cut(size_t end, std::vector<std::string>& records) {
    records.push_back(page_.FromBytes(std::string_view(rest_).substr(0, end)));
    rest_.erase(0, end);
  }

  const AnsiText& page_;
  std::string rest_;
};

// A browser: the request of the upgrade, then frames with Base64 in them.
class VisitorStream : public PortStream {
 public:
  explicit VisitorStream(const AnsiText& page) : page_(page) {}

  std::vector<std::string> Feed(std::string_view bytes) override {
    rest_ += bytes;
    if (!isUpgraded_) {
      const size_t end = rest_.find("\r\n\r\n");
      if (end == std::string::npos) return {};
      rest_.erase(0, end + 4);
      isUpgraded_ = true;
    }
    std::vector<std::string> records;
    std::string payload;
    while (TakeFrame(payload)) {
      PlainStream text(page_);
      for (const auto& each : {text.Feed(Base64DecodeBytes(payload)), text.TakeRest()}) {
        records.insert(records.end(), each.begin(), each.end());
      }
    }
    return records;
  }
  std::vector<std::string> TakeRest() override { return {}; }

 private:
  size_t Number(size_t at, size_t bytes) const {
    size_t number = 0;
    for (size_t i = 0; i < bytes; ++i) {
      number = number << 8 | static_cast<unsigned char>(rest_[at + i]);
    }
    return number;
  }

  // The payload of the frame in front; false where it has not come whole.
  bool TakeFrame(std::string& payload) {
    if (rest_.size() < 2) return false;
    const size_t shortLength = Number(1, 1) & 0x7F;
    const size_t lengthBytes = shortLength == 126 ? 2 : shortLength == 127 ? 8 : 0;
    const size_t maskBytes = Number(1, 1) & 0x80 ? 4 : 0;
    const size_t head = 2 + lengthBytes + maskBytes;
    if (rest_.size() < head) return false;
    const size_t length = lengthBytes == 0 ? shortLength : Number(2, lengthBytes);
    if (rest_.size() - head < length) return false;
    const bool isText = (rest_[0] & 0x0F) <= 1;
    payload = isText ? rest_.substr(head, length) : "";
    for (size_t i = 0; maskBytes != 0 && i < payload.size(); ++i) {
      payload[i] = static_cast<char>(payload[i] ^ rest_[2 + lengthBytes + i % 4]);
    }
    rest_.erase(0, head + length);
    return true;
  }

  const AnsiText& page_;
  std::string rest_;
  bool isUpgraded_ = false;
};

}  // namespace

std::unique_ptr<PortStream> PortStream::Of(uint16_t port, Side from, const AnsiText& page) {
  if (IsPlain(port)) return std::make_unique<PlainStream>(page);
  if (port == kVisitorPort && from == Side::kClient) return std::make_unique<VisitorStream>(page);
  if (port == kVisitorPort) return std::make_unique<PlainStream>(page);
  return std::make_unique<Base64Stream>(page);
}

bool IsKnownPort(int port) {
  const auto& forms = RecordForms();
  return std::any_of(forms.begin(), forms.end(),
                     [port](const RecordForm& form) { return form.port == port; });
}

}  // namespace vnq
