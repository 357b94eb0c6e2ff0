#include "tester/Spans.h"

#include <algorithm>
#include <iterator>

namespace qatester {

namespace {

/// Sums of the same durations differ by less.
constexpr double kRounding = 1e-6;

}  // namespace

bool Spans::isClose(const Measured& measured) const {
  if (begun_.empty()) {
    return false;
  }
  const Span& last = begun_.back();
  if (!measured.start.has_value() || !last.startSeconds.has_value()) {
    return true;
  }
  const double most = rule_.mergeSeconds + kRounding;
  return *measured.start <= *last.endSeconds + most &&
         measured.end.value_or(*measured.start) >= *last.startSeconds - most;
}

bool Spans::add(const Measured& measured) {
  const bool close = isClose(measured);
  if (!(measured.value >= (close ? rule_.stay : rule_.enter))) {
    return false;
  }
  const bool begins = !close && begun_.size() < rule_.most;
  if (begins) {
    begun_.push_back(
        {.worst = measured.value, .worstSeconds = measured.start, .worstFrame = measured.frame});
  }
  Span& span = begun_.back();
  ++span.count;
  if (measured.value > span.worst) {
    span.worst = measured.value;
    span.worstSeconds = measured.start;
    span.worstFrame = measured.frame;
  }
  if (!close && !begins) {
    return false;
  }
  if (measured.start.has_value()) {
    const double end = measured.end.value_or(*measured.start);
    span.startSeconds = std::min(span.startSeconds.value_or(*measured.start), *measured.start);
    span.endSeconds = std::max(span.endSeconds.value_or(end), end);
  }
  if (measured.frame.has_value()) {
    span.startFrame = std::min(span.startFrame.value_or(*measured.frame), *measured.frame);
    span.endFrame = std::max(span.endFrame.value_or(0), *measured.frame + 1);
  }
  return begins;
}

std::vector<Span> Spans::found() const {
  std::vector<Span> found;
  std::copy_if(begun_.begin(), begun_.end(), std::back_inserter(found), [&](const Span& span) {
    return !span.startSeconds.has_value() ||
           *span.endSeconds - *span.startSeconds >= rule_.leastSeconds - kRounding;
  });
  return found;
}

}  // namespace qatester
