#include "host/nodes/crossing.h"

#include "host/host.h"
#include "host/nodes/cluster.h"

namespace vnq {
namespace {

// False where one of them has failed.
bool AppendTexts(Words& order, std::initializer_list<Expr> words) {
  for (const Expr& word : words) {
    if (Skips("an order to a node", word)) return false;
    order.push_back(word.text());
  }
  return true;
}

}  // namespace

std::string ArrayWord(NodeArray array) {
  return std::string(1, static_cast<char>(array));
}

bool HoldsElsewhere(const Host& host, NodeArray array, const Expr& tag) {
  return host.cluster && tag.ok() && !tag.text().empty() && host.cluster->Holds(array, tag.text());
}

bool AskElsewhere(Host& host, NodeArray array, const Expr& tag, std::string_view order,
                  std::initializer_list<Expr> words) {
  if (!HoldsElsewhere(host, array, tag)) return false;
  Words all{std::string(order)};
  if (AppendTexts(all, words)) host.cluster->Send(array, tag.text(), all);
  return true;
}

// Here and below, the words are made only where there are other nodes: each is a copy of its text.
bool TellElsewhere(Host& host, const Expr& tag, const Expr& text) {
  return host.cluster && AskElsewhere(host, NodeArray::kClients, tag, order::kTell, {tag, text});
}

void LeaveElsewhere(Host& host, const Expr& tag, int16_t kind, const Expr& id) {
  if (!host.cluster) return;
  AskElsewhere(host, NodeArray::kClients, tag, order::kLeave, {tag, kind, id});
}

void AskEverywhere(Host& host, std::string_view order, std::initializer_list<Expr> words) {
  if (!host.cluster) return;
  Words all{std::string(order)};
  if (AppendTexts(all, words)) host.cluster->SendToAll(all);
}

void AskEverywhere(Host& host, std::string_view order, const Expr& text,
                   std::span<const std::string> words) {
  if (!host.cluster || Skips("an order to a node", text)) return;
  Words all{std::string(order), text.text()};
  all.insert(all.end(), words.begin(), words.end());
  host.cluster->SendToAll(all);
}

void DisplaceElsewhere(Host& host, NodeArray array, const Expr& tag, const Expr& text) {
  if (!host.cluster || !tag.ok() || tag.text().empty()) return;
  Words all{std::string(order::kEnd), ArrayWord(array)};
  if (AppendTexts(all, {tag, text})) host.cluster->Displace(array, tag.text(), std::move(all));
}

bool EndElsewhere(Host& host, NodeArray array, const Expr& tag, const Expr& text) {
  return AskElsewhere(host, array, tag, order::kEnd, {ArrayWord(array), tag, text, kWhoeverHasIt});
}

}  // namespace vnq
