#include "host/nodes/node_settings.h"

#include <algorithm>
#include <string_view>

#include "host/settings/ini_values.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr std::string_view kSection = "nodes";
constexpr std::string_view kKeys[] = {"bus", "name", "cluster", "user", "password", "ca"};
constexpr size_t kLongestName = 32;

bool IsName(std::string_view text) {
  return !text.empty() && text.size() <= kLongestName &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                  c == '-' || c == '_';
         });
}

bool IsUrl(std::string_view text) {
  const size_t host = text.find("://") + 3;
  return (text.starts_with("nats://") || text.starts_with("tls://")) && text.size() > host &&
         text.find_first_of(" \t|") == text.npos;
}

void ReadBus(IniValues& values, std::vector<std::string>& bus) {
  std::string list;
  if (!values.Read(kSection, "bus", list)) return;
  for (size_t begin = 0; begin <= list.size();) {
    const size_t end = std::min(list.find(',', begin), list.size());
    std::string url(TrimBlanks(std::string_view(list).substr(begin, end - begin)));
    if (!IsUrl(url))
      return values.Fail(kSection, "bus", url, "nats://host:4222 or tls://host:4222");
    bus.push_back(std::move(url));
    begin = end + 1;
  }
}

void ReadName(IniValues& values, std::string_view key, std::string& name) {
  values.Read(kSection, key, name);
  if (!IsName(name)) {
    values.Fail(kSection, key, name, "a name of letters, digits, - and _, 32 at most");
  }
}

}  // namespace

void ReadNodes(IniValues& values, NodeSettings& nodes) {
  values.KnowOnly(kSection, kKeys);
  ReadBus(values, nodes.bus);
  if (!nodes.AreGiven()) return;
  ReadName(values, "name", nodes.name);
  ReadName(values, "cluster", nodes.cluster);
  values.Read(kSection, "user", nodes.user);
  values.Read(kSection, "password", nodes.password);
  values.Read(kSection, "ca", nodes.caFile);
}

}  // namespace vnq
