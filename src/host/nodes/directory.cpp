#include "host/nodes/directory.h"

#include <bit>
#include <iterator>

namespace vnq {
namespace {

uint64_t BitOf(const NodeDirectory::Node& node) {
  return uint64_t{1} << node.bit;
}

}  // namespace

std::string DirectoryKey(NodeArray array, std::string_view tag) {
  return static_cast<char>(array) + std::string(tag);
}

NodeDirectory::Node* NodeDirectory::Find(std::string_view name) {
  const auto found = nodes_.find(name);
  return found == nodes_.end() ? nullptr : &found->second;
}

NodeDirectory::Node* NodeDirectory::Enter(const std::string& name, const std::string& start) {
  Forget(name);
  const int bit = std::countr_one(bits_);
  if (bit == kMostNodes) return nullptr;
  Node& node = nodes_[name];
  node.start = start;
  node.bit = bit;
  bits_ |= BitOf(node);
  return &node;
}

void NodeDirectory::Forget(std::string_view name) {
  const auto found = nodes_.find(name);
  if (found == nodes_.end()) return;
  Clear(found->second);
  bits_ &= ~BitOf(found->second);
  nodes_.erase(found);
}

void NodeDirectory::ForgetAll() {
  nodes_.clear();
  holders_.clear();
  bits_ = 0;
}

std::vector<std::string> NodeDirectory::Age(int mostTicks) {
  std::vector<std::string> silent;
  for (auto& [name, node] : nodes_) {
    if (++node.silentTicks > mostTicks) silent.push_back(name);
  }
  return silent;
}

void NodeDirectory::Clear(Node& node) {
  if (node.tags == 0) return;
  for (auto each = holders_.begin(); each != holders_.end();) {
    each->second &= ~BitOf(node);
    each = each->second == 0 ? holders_.erase(each) : std::next(each);
  }
  node.tags = 0;
}

void NodeDirectory::Set(Node& node, const std::string& key, bool isThere) {
  const uint64_t bit = BitOf(node);
  const auto found = holders_.find(key);
  const bool wasThere = found != holders_.end() && (found->second & bit) != 0;
  if (isThere == wasThere) return;
  if (isThere) {
    holders_[key] |= bit;
    ++node.tags;
    return;
  }
  found->second &= ~bit;
  if (found->second == 0) holders_.erase(found);
  --node.tags;
}

const std::string* NodeDirectory::FirstWith(const std::string& key) const {
  const auto found = holders_.find(key);
  if (found == holders_.end()) return nullptr;
  for (const auto& [name, node] : nodes_) {
    if ((found->second & BitOf(node)) != 0) return &name;
  }
  return nullptr;
}

std::vector<std::string> NodeDirectory::AllWith(const std::string& key) const {
  std::vector<std::string> names;
  const auto found = holders_.find(key);
  if (found == holders_.end()) return names;
  for (const auto& [name, node] : nodes_) {
    if ((found->second & BitOf(node)) != 0) names.push_back(name);
  }
  return names;
}

std::vector<std::string> NodeDirectory::KeysOf(std::string_view name) const {
  std::vector<std::string> keys;
  const auto found = nodes_.find(name);
  if (found == nodes_.end()) return keys;
  keys.reserve(found->second.tags);
  for (const auto& [key, bits] : holders_) {
    if ((bits & BitOf(found->second)) != 0) keys.push_back(key);
  }
  return keys;
}

}  // namespace vnq
