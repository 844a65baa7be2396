#include "platform/net/stream_filter.h"

#include <algorithm>
#include <iterator>

namespace vnq {

// Bytes that a filter sends, as the filters between it and the socket make them.
std::string FilterStack::Below(size_t filter, std::string bytes) {
  while (filter > 0 && !bytes.empty()) bytes = filters_[--filter]->ToPeer(bytes);
  return bytes;
}

StreamFilter::Result FilterStack::FromPeer(std::string_view bytes) {
  Result result;
  std::vector<std::string> units = {std::string(bytes)};
  for (size_t i = 0; i < filters_.size(); ++i) {
    std::vector<std::string> next;
    for (const std::string& unit : units) {
      Result step = filters_[i]->FromPeer(unit);
      result.wire += Below(i, std::move(step.wire));
      result.ended = result.ended || step.ended;
      std::move(step.arrivals.begin(), step.arrivals.end(), std::back_inserter(next));
    }
    units = std::move(next);
  }
  result.arrivals = std::move(units);
  return result;
}

std::string FilterStack::ToPeer(std::string_view bytes) {
  return Below(filters_.size(), std::string(bytes));
}

// The highest first: its own leave still goes through those below.
std::string FilterStack::Farewell() {
  std::string wire;
  for (size_t i = filters_.size(); i > 0; --i) wire += Below(i - 1, filters_[i - 1]->Farewell());
  return wire;
}

bool FilterStack::IsReady() const {
  return std::all_of(filters_.begin(), filters_.end(),
                     [](const auto& filter) { return filter->IsReady(); });
}

std::string FilterStack::PeerAddress() const {
  for (const auto& filter : filters_) {
    if (std::string address = filter->PeerAddress(); !address.empty()) return address;
  }
  return "";
}

std::string FilterStack::Fault() const {
  for (const auto& filter : filters_) {
    if (std::string fault = filter->Fault(); !fault.empty()) return fault;
  }
  return "";
}

}  // namespace vnq
