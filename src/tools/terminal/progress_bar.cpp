#include "tools/terminal/progress_bar.h"

#include <fmt/format.h>

#include <utility>

namespace vnq {
namespace {

constexpr size_t kBarColumns = 30;

}  // namespace

ProgressBar::ProgressBar(std::ostream& out, size_t total, bool isWatched, std::string label)
    : out_(out),
      total_(total),
      isWatched_(isWatched && total > 0),
      label_(label.empty() ? "" : "  " + label) {
  if (isWatched_) Draw();
}

void ProgressBar::Advance() {
  if (done_ < total_) ++done_;
  // Drawing costs more than a small piece of work: once a percent is enough.
  if (isWatched_ && (!isDrawn_ || done_ * 100 / total_ != drawnPercent_)) Draw();
}

void ProgressBar::Say(std::string_view line) {
  Erase();
  out_ << line << '\n';
  if (isWatched_) Draw();
}

void ProgressBar::Draw() {
  const size_t filled = kBarColumns * done_ / total_;
  drawnPercent_ = done_ * 100 / total_;
  out_ << fmt::format("\r[{}{}] {:3} %  {} of {}{}", std::string(filled, '#'),
                      std::string(kBarColumns - filled, '-'), drawnPercent_, done_, total_, label_)
       << std::flush;
  isDrawn_ = true;
}

void ProgressBar::Erase() {
  if (isDrawn_) out_ << "\r\x1b[K" << std::flush;
  isDrawn_ = false;
}

}  // namespace vnq
