#include "tester/Spans.h"

#include <algorithm>

namespace qatester {

namespace {

/// Sums of the same durations differ by less.
constexpr double kRounding = 1e-6;

}  // namespace

void Spans::add(double start, double end, double value, std::optional<int64_t> frame) {
  const bool goesOn = open_.has_value() && start - open_->endSeconds <= rule_.mergeSeconds + kRounding;
  if (open_.has_value() && !goesOn) {
    close();
  }
  if (!(value >= (goesOn ? rule_.stay : rule_.enter))) {
    return;
  }
  if (!open_.has_value()) {
    open_ = Span{.startSeconds = start,
                 .endSeconds = end,
                 .startFrame = frame,
                 .worst = value,
                 .worstSeconds = start,
                 .worstFrame = frame};
  }
  // Times of a damaged file may go back.
  open_->startSeconds = std::min(open_->startSeconds, start);
  open_->endSeconds = std::max(open_->endSeconds, end);
  if (frame.has_value()) {
    open_->endFrame = *frame + 1;
  }
  if (value > open_->worst) {
    open_->worst = value;
    open_->worstSeconds = start;
    open_->worstFrame = frame;
  }
  ++open_->count;
}

void Spans::finish() {
  if (open_.has_value()) {
    close();
  }
}

void Spans::close() {
  if (open_->endSeconds - open_->startSeconds >= rule_.leastSeconds - kRounding) {
    found_.push_back(*open_);
  }
  open_.reset();
}

}  // namespace qatester
