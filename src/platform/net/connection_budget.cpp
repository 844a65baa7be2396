#include "platform/net/connection_budget.h"

#include <algorithm>
#include <utility>

namespace vnq {

SharedBytes ConnectionBudget::Share(std::string bytes) {
  allUnsent_ += bytes.size();
  return {new std::string(std::move(bytes)),
          [budget = shared_from_this()](const std::string* shared) {
            budget->allUnsent_ -= shared->size();
            delete shared;
          }};
}

void ConnectionBudget::ChangeUnsent(Holder& holder, size_t before, size_t after) {
  allUnsent_ += after;
  allUnsent_ -= before;
  if (holder.UnsentBytes() > 0) {
    behind_.insert(&holder);
  } else {
    behind_.erase(&holder);
  }
  if (allUnsent_ > limits_.allUnsentBytes && !ending_) EndTheLargest();
}

// Somewhat more goes than must, so that the next few bytes do not have everybody looked at again.
void ConnectionBudget::EndTheLargest() {
  std::vector<std::pair<size_t, Holder*>> largestFirst;
  for (Holder* holder : behind_) largestFirst.emplace_back(holder->UnsentBytes(), holder);
  std::sort(largestFirst.rbegin(), largestFirst.rend());
  const size_t aim = limits_.allUnsentBytes / 8 * 7;
  ending_ = true;
  for (const auto& [bytes, holder] : largestFirst) {
    if (allUnsent_ > aim) holder->GiveUp();
  }
  ending_ = false;
}

void ConnectionBudget::NoteGivenUp(const std::string& peer, size_t unsentBytes) {
  slow_.Note(peer + ", " + std::to_string(unsentBytes) + " bytes behind");
}

void ConnectionBudget::RemoveArrived(size_t bytes) {
  allArrived_ -= bytes;
  if (waiting_.empty() || allArrived_ > limits_.allArrivedBytes / 2) return;
  std::vector<std::pair<uint64_t, Holder*>> longestFirst;
  longestFirst.reserve(waiting_.size());
  for (const auto& [holder, since] : std::exchange(waiting_, {})) {
    longestFirst.emplace_back(since, holder);
  }
  std::sort(longestFirst.begin(), longestFirst.end());
  for (const auto& [since, holder] : longestFirst) holder->ReadOn();
}

void ConnectionBudget::Forget(Holder& holder) {
  behind_.erase(&holder);
  waiting_.erase(&holder);
}

}  // namespace vnq
