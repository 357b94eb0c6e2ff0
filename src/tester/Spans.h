#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace qatester {

/// A picture or a stretch of samples, as a check has measured it.
struct Measured {
  /// Seconds from the file's start; empty: it has no time, and counts to what came before it.
  std::optional<double> start = {};
  std::optional<double> end = {};
  double value = 0.0;  ///< the larger the worse
  std::optional<int64_t> frame = {};
};

/// A stretch of bad pictures or samples.
struct Span {
  std::optional<double> startSeconds = {};
  std::optional<double> endSeconds = {};  ///< where the next good one stands
  std::optional<int64_t> startFrame = {};
  std::optional<int64_t> endFrame = {};  ///< exclusive
  double worst = 0.0;
  std::optional<double> worstSeconds = {};
  std::optional<int64_t> worstFrame = {};
  int64_t count = 0;  ///< of the bad ones in it
};

/// How bad ones make a span.
struct SpanRule {
  /// Good ones between bad ones end a span when they last longer than this.
  double mergeSeconds = 0.0;
  /// A shorter span is none.
  double leastSeconds = 0.0;
  /// A span begins with a value of at least `enter`, and goes on with values of at least `stay`.
  double enter = -std::numeric_limits<double>::infinity();
  double stay = -std::numeric_limits<double>::infinity();
  /// More than so many are not told apart: bad ones that come then belong to the last.
  std::size_t most = std::numeric_limits<std::size_t>::max();
};

/// Makes spans of what comes in the order of time. Times of a damaged file may go back.
class Spans {
 public:
  explicit Spans(const SpanRule& rule) : rule_(rule) {}

  /// True when a new span begins with it. It may turn out to be too short.
  bool add(const Measured& measured);

  /// All that have begun, the last one as far as it came.
  const std::vector<Span>& begun() const { return begun_; }

  /// Those that are long enough. A span without times is.
  std::vector<Span> found() const;

 private:
  bool isClose(const Measured& measured) const;

  SpanRule rule_;
  std::vector<Span> begun_;
};

}  // namespace qatester
