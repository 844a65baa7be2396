#include "host/nodes/cluster.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>

#include "platform/system/event_log.h"
#include "support/ids.h"

namespace vnq {
namespace {

constexpr int64_t kTickMs = 1000;
constexpr size_t kMostWordBytes = 256 << 10;  // of names in one word
constexpr int kDisplacedTicks = 5;

constexpr size_t kHeader = 3;  // sender, start, word

uint64_t ToNumber(const std::string& text) {
  uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// The items in lists that each fit one word on the bus.
std::vector<Words> Pieces(Words items) {
  std::vector<Words> pieces(1);
  size_t bytes = 0;
  for (std::string& item : items) {
    if (bytes > kMostWordBytes) {
      pieces.emplace_back();
      bytes = 0;
    }
    bytes += item.size();
    pieces.back().push_back(std::move(item));
  }
  return pieces;
}

bool Has(std::span<const std::string> names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

Words Joined(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

}  // namespace

Cluster::Cluster(EventLoop& loop, NodeSettings settings, std::unique_ptr<Bus> bus)
    : loop_(loop), settings_(std::move(settings)), start_(NewGuidString()), bus_(std::move(bus)) {}

Cluster::~Cluster() {
  if (timer_ != 0) loop_.StopTimer(timer_);
  for (const Watched& each : watched_) each.slots->SetOnNamed(nullptr);
}

void Cluster::Watch(NodeArray array, SlotArray& slots) {
  watched_.push_back({array, &slots});
  slots.SetOnNamed(
      [this, array](const std::string& tag, bool isThere) { NoteTag(array, tag, isThere); });
}

void Cluster::Open(OnOrder onOrder, OnGone onGone) {
  onOrder_ = std::move(onOrder);
  onGone_ = std::move(onGone);
  timer_ = loop_.StartTimer(kTickMs, [this] { Tick(); });
  bus_->Open({[this] { OnConnected(); }, [this](const std::string& why) { OnLost(why); },
              [this](const std::string& bytes) { OnWord(bytes); }});
}

void Cluster::Leave() {
  FlushChanges();
  loop_.Settle();
  SendNow("", {"bye"});
  bus_->Close();
}

// --- What is said ---

void Cluster::NoteTag(NodeArray array, const std::string& tag, bool isThere) {
  isThere ? ++ownTags_ : --ownTags_;
  if (!isConnected_) return;
  if (changes_.empty()) loop_.Enqueue([this] { FlushChanges(); });
  changes_.push_back((isThere ? "+" : "-") + DirectoryKey(array, tag));
}

void Cluster::FlushChanges() {
  if (changes_.empty()) return;
  for (const Words& piece : Pieces(std::exchange(changes_, {}))) {
    SendNow("", Joined({"tags", std::to_string(++sequence_)}, piece));
  }
}

std::vector<Words> Cluster::Snapshot() const {
  std::set<std::string> keys;
  for (const Watched& each : watched_) {
    for (const SlotIndex slot : each.slots->AllConnected()) {
      const std::string& tag = each.slots->Tag(slot);
      if (!tag.empty()) keys.insert(DirectoryKey(each.array, tag));
    }
  }
  std::vector<Words> snapshot;
  for (const Words& piece : Pieces(Words(keys.begin(), keys.end()))) {
    snapshot.push_back(
        Joined({"all", std::to_string(sequence_), snapshot.empty() ? "1" : "0"}, piece));
  }
  return snapshot;
}

// Who hears of a row must find it.
void Cluster::Publish(std::string node, Words words) {
  FlushChanges();
  if (!loop_.OwesSettle()) return SendNow(node, std::move(words));
  loop_.AfterSettle([this, node = std::move(node), words = std::move(words)]() mutable {
    SendNow(node, std::move(words));
  });
}

void Cluster::SendNow(const std::string& node, Words words) {
  words.insert(words.begin(), {settings_.name, start_});
  node.empty() ? bus_->SendToAll(JoinWords(words)) : bus_->Send(node, JoinWords(words));
}

// A stall of this process makes nobody else look silent: silence is counted in ticks of its own.
void Cluster::Tick() {
  for (auto each = displaced_.begin(); each != displaced_.end();) {
    each = ++each->second.ticks > kDisplacedTicks ? displaced_.erase(each) : std::next(each);
  }
  if (!isConnected_) return;
  FlushChanges();
  SendNow("", {"here", std::to_string(sequence_), std::to_string(ownTags_)});
  for (const std::string& name : directory_.Age(kSilentTicks)) {
    LogWarning("node_silent", "node {} has been silent for {} s, and is forgotten", name,
               kSilentTicks);
    NoteGone(name);
    directory_.Forget(name);
  }
}

void Cluster::NoteGone(const std::string& name) {
  const NodeDirectory::Node* const node = directory_.Find(name);
  if (node != nullptr && onGone_) onGone_({name, node->start, directory_.KeysOf(name)});
}

// --- What is heard ---

void Cluster::OnConnected() {
  isConnected_ = true;
  saidLost_ = false;
  changes_.clear();
  LogInfo("bus_up", "node {} of cluster {}: the bus stands", settings_.name, settings_.cluster);
  SendNow("", {"hello"});
  for (Words& piece : Snapshot()) SendNow("", std::move(piece));
}

void Cluster::OnLost(const std::string& why) {
  isConnected_ = false;
  directory_.ForgetAll();
  changes_.clear();
  if (std::exchange(saidLost_, true)) return;
  LogWarning("bus_lost", "node {}: no bus, so that it goes on alone: {}", settings_.name, why);
}

void Cluster::OnWord(const std::string& bytes) {
  const std::optional<Words> words = SplitWords(bytes);
  if (!words || words->size() < kHeader) return;
  const std::string &name = (*words)[0], &start = (*words)[1], &word = (*words)[2];
  if (name == settings_.name) {
    if (start != start_) SayTwin();
    return;
  }
  if (word == "bye") {
    LogInfo("node_stopped", "node {} has stopped", name);
    return directory_.Forget(name);
  }
  NodeDirectory::Node* node = directory_.Find(name);
  if (node == nullptr || node->start != start) {
    NoteGone(name);
    node = directory_.Enter(name, start);
    if (node == nullptr) {
      if (!std::exchange(saidFull_, true))
        LogError("node_refused", "there are too many nodes for {}", name);
      return;
    }
    LogInfo("node_there", "node {} is there", name);
  }
  node->silentTicks = 0;
  OnWordOf(name, *node, *words);
}

void Cluster::OnWordOf(const std::string& name, NodeDirectory::Node& node, const Words& words) {
  const std::string& word = words[2];
  if (word == "hello" || word == "ask") {
    FlushChanges();
    for (Words& piece : Snapshot()) SendNow(name, std::move(piece));
  } else if (word == "here" && words.size() > kHeader + 1) {
    const bool isKnown =
        node.isComplete && node.sequence == ToNumber(words[3]) && node.tags == ToNumber(words[4]);
    if (!isKnown) SendNow(name, {"ask"});
  } else if (word == "tags" && words.size() > kHeader) {
    TakeChanges(node, words);
  } else if (word == "all" && words.size() > kHeader + 1) {
    TakeAll(node, words);
  } else if (word == "order" && words.size() > kHeader && onOrder_) {
    Words order(words.begin() + kHeader, words.end());
    loop_.StartHandler([this, name, order = std::move(order)] { onOrder_(name, order); });
  }
}

// Behind a gap nothing is taken: the next "here" tells of it.
void Cluster::TakeChanges(NodeDirectory::Node& node, const Words& words) {
  const uint64_t sequence = ToNumber(words[3]);
  if (!node.isComplete || sequence != node.sequence + 1) return;
  node.sequence = sequence;
  for (size_t i = kHeader + 1; i < words.size(); ++i) {
    if (words[i].size() > 1) directory_.Set(node, words[i].substr(1), words[i][0] == '+');
  }
}

void Cluster::TakeAll(NodeDirectory::Node& node, const Words& words) {
  if (words[4] == "1") directory_.Clear(node);
  node.sequence = ToNumber(words[3]);
  node.isComplete = true;
  for (size_t i = kHeader + 2; i < words.size(); ++i) directory_.Set(node, words[i], true);
}

void Cluster::SayTwin() {
  if (std::exchange(saidTwin_, true)) return;
  LogError("node_twin", "another node of cluster {} is named {}, too: neither hears the other",
           settings_.cluster, settings_.name);
}

// --- Orders ---

bool Cluster::Send(NodeArray array, std::string_view tag, const Words& order) {
  const std::string* const node = directory_.FirstWith(DirectoryKey(array, tag));
  if (node == nullptr) return false;
  SendTo(*node, order);
  return true;
}

void Cluster::SendTo(const std::string& node, const Words& order) {
  Publish(node, Joined({"order"}, order));
}

void Cluster::SendToAll(const Words& order) {
  if (isConnected_) Publish("", Joined({"order"}, order));
}

void Cluster::Displace(NodeArray array, std::string_view tag, Words order) {
  std::string key = DirectoryKey(array, tag);
  std::vector<std::string> known = directory_.AllWith(key);
  SendToAll(Joined(std::move(order), known));
  displaced_[std::move(key)] = {std::move(known), 0};
}

bool Cluster::IsDisplaced(NodeArray array, std::string_view tag, const std::string& from,
                          std::span<const std::string> known) const {
  const auto own = displaced_.find(DirectoryKey(array, tag));
  if (own == displaced_.end() || Has(known, settings_.name)) return true;
  return !Has(own->second.known, from) && from < settings_.name;
}

}  // namespace vnq
