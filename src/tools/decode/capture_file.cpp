#include "tools/decode/capture_file.h"

#include <fmt/format.h>

#include <map>
#include <optional>

namespace vnq {
namespace {

constexpr uint32_t kMicroseconds = 0xA1B2C3D4, kNanoseconds = 0xA1B23C4D;
constexpr std::string_view kNextGeneration("\x0A\x0D\x0D\x0A", 4);
constexpr size_t kFileHeader = 24, kPacketHeader = 16;

// A reader of numbers that never goes beyond its end.
class Bytes {
 public:
  Bytes(std::string_view bytes, bool isSwapped) : bytes_(bytes), isSwapped_(isSwapped) {}

  size_t size() const { return bytes_.size(); }
  bool Has(size_t end) const { return end <= bytes_.size(); }
  std::string_view Text(size_t at, size_t size) const {
    return at < bytes_.size() ? bytes_.substr(at, size) : std::string_view();
  }
  /// In the order of the network, or of the machine that wrote the file; 0 beyond the end.
  uint32_t Number(size_t at, size_t size) const {
    uint32_t number = 0;
    for (size_t i = 0; i < size && Has(at + size); ++i) {
      const size_t place = isSwapped_ ? at + size - 1 - i : at + i;
      number = number << 8 | static_cast<unsigned char>(bytes_[place]);
    }
    return number;
  }

 private:
  std::string_view bytes_;
  bool isSwapped_;
};

struct Segment {
  std::string source, target;
  uint16_t sourcePort = 0, targetPort = 0;
  uint32_t sequence = 0;
  bool begins = false;
  std::string_view payload;
};

// Where IP begins in a frame; nothing for a link layer that is not known.
std::optional<size_t> LinkHeader(uint32_t linkType, const Bytes& frame) {
  constexpr uint32_t kVlan = 0x8100;
  switch (linkType) {
    case 0:  // loopback
    case 108:
      return 4;
    case 1:  // Ethernet
      return frame.Number(12, 2) == kVlan ? 18 : 14;
    case 12:  // raw IP
    case 101:
      return 0;
    case 113:  // Linux, any device
      return 16;
    case 276:
      return 20;
    default:
      return std::nullopt;
  }
}

constexpr size_t kAddress4 = 4, kAddress6 = 16;

std::string Named(const Bytes& packet, size_t at, size_t addressBytes, uint16_t port) {
  std::string name;
  const size_t groupBytes = addressBytes == kAddress4 ? 1 : 2;
  for (size_t i = 0; i < addressBytes; i += groupBytes) {
    const uint32_t group = packet.Number(at + i, groupBytes);
    if (!name.empty()) name += addressBytes == kAddress4 ? "." : ":";
    name += addressBytes == kAddress4 ? fmt::format("{}", group) : fmt::format("{:x}", group);
  }
  return fmt::format(fmt::runtime(addressBytes == kAddress4 ? "{}:{}" : "[{}]:{}"), name, port);
}

std::optional<Segment> ReadTcp(const Bytes& packet, size_t at, size_t end, size_t addresses,
                               size_t addressBytes) {
  if (!packet.Has(at + 20) || !packet.Has(end)) return std::nullopt;
  const size_t head = (packet.Number(at + 12, 1) >> 4) * 4;
  if (head < 20 || at + head > end) return std::nullopt;
  Segment segment;
  segment.sourcePort = static_cast<uint16_t>(packet.Number(at, 2));
  segment.targetPort = static_cast<uint16_t>(packet.Number(at + 2, 2));
  segment.source = Named(packet, addresses, addressBytes, segment.sourcePort);
  segment.target = Named(packet, addresses + addressBytes, addressBytes, segment.targetPort);
  segment.sequence = packet.Number(at + 4, 4);
  segment.begins = (packet.Number(at + 13, 1) & 0x02) != 0;
  segment.payload = packet.Text(at + head, end - at - head);
  return segment;
}

std::optional<Segment> ReadIp(const Bytes& packet, size_t at) {
  constexpr uint32_t kTcp = 6;
  const uint32_t version = packet.Number(at, 1) >> 4;
  if (version == 4 && packet.Number(at + 9, 1) == kTcp) {
    const size_t head = (packet.Number(at, 1) & 0x0F) * 4;
    const size_t total = packet.Number(at + 2, 2);  // 0 where the network card cuts the packets
    const size_t end = total == 0 ? packet.size() : at + total;
    return ReadTcp(packet, at + head, end, at + 12, kAddress4);
  }
  if (version == 6 && packet.Number(at + 6, 1) == kTcp) {
    return ReadTcp(packet, at + 40, at + 40 + packet.Number(at + 4, 2), at + 8, kAddress6);
  }
  return std::nullopt;
}

// One side of a connection: what is next, and what came before its turn.
class Flow {
 public:
  void Take(const Segment& segment, const std::function<void(std::string_view)>& onBytes) {
    if (segment.begins) {
      next_ = segment.sequence + 1;
      early_.clear();
      return;
    }
    if (segment.payload.empty()) return;
    if (!next_) next_ = segment.sequence;  // the capture began in the middle
    early_.emplace(segment.sequence, segment.payload);
    while (const auto due = TakeDue()) onBytes(*due);
  }

 private:
  // What is new of the first segment whose turn has come: nothing of one that was sent twice.
  std::optional<std::string> TakeDue() {
    for (auto each = early_.begin(); each != early_.end(); ++each) {
      const auto ahead = static_cast<int32_t>(each->first - *next_);
      if (ahead > 0) continue;
      const auto known = static_cast<size_t>(-int64_t{ahead});
      std::string fresh = known < each->second.size() ? each->second.substr(known) : "";
      *next_ += static_cast<uint32_t>(fresh.size());
      early_.erase(each);
      return fresh;
    }
    return std::nullopt;
  }

  std::optional<uint32_t> next_;
  std::map<uint32_t, std::string> early_;
};

}  // namespace

bool IsCapture(std::string_view file) {
  const uint32_t big = Bytes(file, false).Number(0, 4), little = Bytes(file, true).Number(0, 4);
  for (const uint32_t magic : {kMicroseconds, kNanoseconds}) {
    if (big == magic || little == magic) return true;
  }
  return file.starts_with(kNextGeneration);
}

bool ReadCapture(std::string_view file, const std::function<void(const CapturedBytes&)>& onBytes,
                 std::string& error) {
  if (file.starts_with(kNextGeneration)) {
    error = "it is a pcapng file; write it as pcap: editcap -F pcap FROM TO";
    return false;
  }
  const uint32_t first = Bytes(file, false).Number(0, 4);
  const Bytes numbers(file, first != kMicroseconds && first != kNanoseconds);
  const double fraction = numbers.Number(0, 4) == kNanoseconds ? 1e-9 : 1e-6;
  const uint32_t linkType = numbers.Number(20, 4) & 0xFFFF;
  std::map<std::string, Flow> flows;
  for (size_t at = kFileHeader; numbers.Has(at + kPacketHeader);) {
    const size_t size = numbers.Number(at + 8, 4);
    const Bytes packet(numbers.Text(at + kPacketHeader, size), false);
    const std::optional<size_t> ip = LinkHeader(linkType, packet);
    if (!ip) {
      error = "link layer " + std::to_string(linkType) + " is not known here";
      return false;
    }
    if (const auto segment = ReadIp(packet, *ip)) {
      CapturedBytes captured{segment->source,
                             segment->target,
                             segment->sourcePort,
                             segment->targetPort,
                             numbers.Number(at, 4) + numbers.Number(at + 4, 4) * fraction,
                             {}};
      flows[segment->source + ">" + segment->target].Take(*segment, [&](std::string_view bytes) {
        captured.bytes = bytes;
        onBytes(captured);
      });
    }
    at += kPacketHeader + size;
  }
  return true;
}

}  // namespace vnq
