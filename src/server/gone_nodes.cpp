#include "server/gone_nodes.h"

#include <utility>

#include "endpoints/endpoints.h"
#include "host/host.h"
#include "host/slots/devices.h"
#include "platform/system/event_log.h"
#include "server/load.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

// The tags of an array among a node's keys.
std::vector<std::string> TagsOf(const GoneNode& node, NodeArray array) {
  std::vector<std::string> tags;
  for (const std::string& key : node.keys) {
    if (key.front() == static_cast<char>(array)) tags.push_back(key.substr(1));
  }
  return tags;
}

void SetRight(Host& host, const GoneNode& node) {
  std::vector<std::string> users = TagsOf(node, NodeArray::kClients);
  std::erase_if(users, [](const std::string& tag) { return IsMobileTag(tag); });
  const int set = ResetPresenceOf(host, users);
  ResetEndpointsOf(host, TagsOf(node, NodeArray::kEndpoints));
  LogInfo("node_dead", "node {} has died; {} of its {} users were shown as connected", node.name,
          set, users.size());
}

}  // namespace

GoneNodes::GoneNodes(Host& host)
    : host_(host), timer_(host.loop.StartTimer(1000, [this] { Tick(); })) {}

GoneNodes::~GoneNodes() {
  host_.loop.StopTimer(timer_);
}

void GoneNodes::Note(GoneNode node) {
  if (node.keys.empty()) return;
  waiting_.push_back({std::move(node), kWaitTicks * (1 + TurnOfThisNode())});
}

int GoneNodes::TurnOfThisNode() const {
  int turn = 0;
  for (const auto& [name, node] : host_.cluster->directory().nodes()) {
    if (name < host_.cluster->settings().name) ++turn;
  }
  return turn;
}

// Others look at this node's connection to the database, so that one that was lost is not to wait
// for the next command.
void GoneNodes::Tick() {
  if (++ticks_ % kWaitTicks == 0) DatabaseAnswers(host_);
  for (auto each = waiting_.begin(); each != waiting_.end();) {
    const bool isOver = --each->ticks <= 0 && IsOver(each->node);
    if (each->ticks <= 0) each->ticks = kWaitTicks;
    each = isOver ? waiting_.erase(each) : std::next(each);
  }
}

// Whether nothing is left to wait for: the node lives, or what it left is being set right.
bool GoneNodes::IsOver(const GoneNode& node) {
  const auto& nodes = host_.cluster->directory().nodes();
  const auto known = nodes.find(node.name);
  if (known != nodes.end() && known->second.start == node.start) return true;
  if (known == nodes.end() && !host_.database.IsNodeGone(node.name)) return false;
  host_.loop.StartHandler([&host = host_, node] { SetRight(host, node); });
  return true;
}

}  // namespace vnq
