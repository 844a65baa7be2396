// Who is where: which tags are connected on the other nodes of the cluster.
//
// A tag of an array is one key here: the array's letter and the tag behind it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vnq {

/// The slot arrays whose tags other nodes look for.
enum class NodeArray : char {
  kClients = 'c',
  kVisitors = 'v',
  kControl = 's',    ///< siblings and the console
  kEndpoints = 'e',  ///< managed computers
};

std::string DirectoryKey(NodeArray array, std::string_view tag);

class NodeDirectory {
 public:
  static constexpr int kMostNodes = 64;

  struct Node {
    std::string start;        ///< which start of the node it is
    uint64_t sequence = 0;    ///< of the last change heard of
    bool isComplete = false;  ///< all its tags have been heard of
    int silentTicks = 0;
    size_t tags = 0;
    int bit = 0;  ///< its place in the sets
  };
  using Nodes = std::map<std::string, Node, std::less<>>;

  /// Null for one that is not known. Valid until a node is forgotten or entered.
  Node* Find(std::string_view name);

  /// A node that has begun anew, without tags. Null when there are too many.
  Node* Enter(const std::string& name, const std::string& start);

  void Forget(std::string_view name);
  void ForgetAll();

  /// Makes every node a tick more silent. The names of those that have been for more than so many.
  std::vector<std::string> Age(int mostTicks);

  /// Takes all tags from a node.
  void Clear(Node& node);
  void Set(Node& node, const std::string& key, bool isThere);

  /// The node with the key, of several the first by name; null without one.
  const std::string* FirstWith(const std::string& key) const;
  std::vector<std::string> AllWith(const std::string& key) const;

  const Nodes& nodes() const { return nodes_; }
  std::vector<std::string> KeysOf(std::string_view name) const;

 private:
  Nodes nodes_;
  std::unordered_map<std::string, uint64_t> holders_;  // a bit a node
  uint64_t bits_ = 0;                                  // that are taken
};

}  // namespace vnq
