#include "bench/load/message_scenario.h"

#include <fmt/format.h>

#include <charconv>

#include "support/text_codecs.h"

namespace vnq::bench {
namespace {

// A filler of about so many bytes as it stands in a record.
std::string Filler(const LoadOptions& options) {
  const std::string unit = options.chinese ? "今天下午三点开会" : "the meeting is at three today, ";
  std::string text;
  while (EscapeText(text).size() < options.textBytes) text += unit;
  if (!options.chinese) text.resize(std::min(text.size(), options.textBytes));
  return EscapeText(text);
}

}  // namespace

MessageScenario::MessageScenario(LoadContext& context, const Shape& shape)
    : context_(context),
      shape_(shape),
      checker_(shape.copies, shape.receipts),
      runId_(fmt::format("b{:x}-", NowNs())),
      filler_(Filler(context.options)),
      inFlight_(shape.lanes),
      waiting_(shape.lanes) {}

std::string MessageScenario::Text(uint64_t number) const {
  return fmt::format("{}%20{}", number, filler_);
}

std::optional<uint64_t> MessageScenario::NumberOf(std::string_view messageId) const {
  if (!messageId.starts_with(runId_)) return std::nullopt;
  messageId.remove_prefix(runId_.size());
  uint64_t number = 0;
  const auto [end, error] =
      std::from_chars(messageId.data(), messageId.data() + messageId.size(), number);
  if (error != std::errc() || end != messageId.data() + messageId.size()) return std::nullopt;
  return checker_.Known(number) ? std::optional(number) : std::nullopt;
}

void MessageScenario::BeginPhase(int64_t nowNs, bool measured) {
  if (context_.options.rate > 0) pacer_.emplace(context_.options.rate, nowNs);
  if (!measured) return;
  delivery_ = receipt_ = {};
  firstMeasured_ = checker_.added();
  endedBefore_ = ended_;
  deliveriesBefore_ = checker_.deliveries();
  receiptsBefore_ = checker_.receipts();
}

void MessageScenario::Turn(int64_t nowNs, bool mayStart) {
  FlushUnsent();
  if (mayStart && pacer_) {
    StartDue(nowNs);
  } else if (mayStart) {
    const size_t window = std::min(context_.options.window, shape_.laneLimit);
    for (size_t lane = 0; lane < shape_.lanes; ++lane) {
      while (inFlight_[lane] < window) Start(NowNs(), lane);
    }
  }
}

int64_t MessageScenario::WaitNs(int64_t nowNs) const {
  if (HasUnsent()) return kNsPerMs / 2;
  return pacer_ ? pacer_->WaitNs(nowNs) : 20 * kNsPerMs;
}

void MessageScenario::StartDue(int64_t nowNs) {
  while (pacer_->NextDueNs() <= nowNs) {
    const int64_t due = pacer_->NextDueNs();
    pacer_->Take(nowNs);
    const size_t lane = nextLane_++ % shape_.lanes;
    waiting_[lane].push_back(due);
    StartWaiting(lane);
  }
}

void MessageScenario::StartWaiting(size_t lane) {
  while (!waiting_[lane].empty() && inFlight_[lane] < shape_.laneLimit) {
    const int64_t due = waiting_[lane].front();
    waiting_[lane].pop_front();
    Start(due, lane);
  }
}

void MessageScenario::Start(int64_t dueNs, size_t lane) {
  const uint64_t number = checker_.Add(dueNs);
  lanes_.push_back(static_cast<uint32_t>(lane));
  ++inFlight_[lane];
  Send(number, lane);
}

void MessageScenario::Note(Latency& latency, uint64_t number) {
  const int64_t now = NowNs(), due = checker_.DueNs(number);
  if (shape_.ticked) ticks_.Arrived(now);
  if (number < firstMeasured_) return;
  latency.all.Add(now - due);
  if (shape_.ticked) latency.withoutTick.Add(ticks_.WithoutWait(due, now));
}

void MessageScenario::NoteDelivery(uint64_t number, size_t copy) {
  if (!checker_.Delivered(number, copy)) return;
  Note(delivery_, number);
  const bool isEnd = context_.options.untilDelivery || !shape_.receipts;
  if (checker_.FullyDelivered(number) && (isEnd || checker_.HasReceipt(number))) EndOf(number);
}

void MessageScenario::NoteReceipt(uint64_t number) {
  if (!checker_.Receipted(number)) return;
  Note(receipt_, number);
  if (!context_.options.untilDelivery && checker_.FullyDelivered(number)) EndOf(number);
}

void MessageScenario::EndOf(uint64_t number) {
  ++ended_;
  --inFlight_[lanes_[number]];
  StartWaiting(lanes_[number]);
}

void MessageScenario::TakeReceipt(std::string_view record, const RecordView& fields,
                                  std::string_view store, std::string_view target) {
  const auto number = NumberOf(fields[3]);
  if (number && fields[1] == store && fields[2] == target && fields[4] == "#") {
    NoteReceipt(*number);
  } else {
    NoteAltered(record);
  }
}

bool MessageScenario::BringUpOthers(size_t firstAccount, std::string& error) {
  for (size_t i = 0; i < context_.options.others; ++i) {
    others_.push_back(std::make_unique<Session>(context_.poller, context_.ansi, firstAccount + i));
  }
  return BringUp(
      context_.poller, [this](size_t i) { return context_.Target(kMainPort, i); }, others_, false,
      error);
}

void MessageScenario::Report(RunResult& result) const {
  const LoadOptions& options = context_.options;
  result.checks = checker_.Counts();
  for (const std::string& record : checker_.examples()) {
    result.findings.push_back("not as it should be: " + record);
  }
  result.deliveries = checker_.deliveries() - deliveriesBefore_;
  result.receipts = checker_.receipts() - receiptsBefore_;
  result.latencies.push_back({"delivery", delivery_.all});
  if (shape_.ticked) result.latencies.push_back({"  without the tick", delivery_.withoutTick});
  if (shape_.receipts) {
    result.latencies.push_back({"receipt", receipt_.all});
    result.latencies.push_back({"  without the tick", receipt_.withoutTick});
  }
  result.settings.emplace_back(options.rate > 0 ? "rate" : "window",
                               options.rate > 0
                                   ? fmt::format("{:.0f}/s", options.rate)
                                   : fmt::format("{}", std::min(options.window, shape_.laneLimit)));
  result.settings.emplace_back("text bytes", std::to_string(filler_.size()));
  if (options.others > 0) result.settings.emplace_back("others", std::to_string(options.others));
}

}  // namespace vnq::bench
