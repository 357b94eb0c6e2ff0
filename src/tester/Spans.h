#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace qatester {

/// A stretch of bad pictures or samples.
struct Span {
  double startSeconds = 0.0;
  double endSeconds = 0.0;  ///< where the next good one stands
  std::optional<int64_t> startFrame = {};
  std::optional<int64_t> endFrame = {};  ///< exclusive
  double worst = 0.0;
  double worstSeconds = 0.0;
  std::optional<int64_t> worstFrame = {};
  int64_t count = 0;  ///< of bad ones in it
};

/// How bad ones make a span.
struct SpanRule {
  /// Good ones between bad ones end a span when they last longer than this.
  double mergeSeconds = 0.0;
  /// A shorter span is none.
  double leastSeconds = 0.0;
  /// A span begins with a value of at least `enter`, and goes on with values of at least `stay`.
  double enter = 0.0;
  double stay = 0.0;
};

/// Makes spans of what comes in the order of time.
class Spans {
 public:
  explicit Spans(const SpanRule& rule) : rule_(rule) {}

  /// A picture, or a stretch of samples, from `start` to `end`; the larger the value the worse.
  void add(double start, double end, double value, std::optional<int64_t> frame = {});

  /// Ends the last span. Once.
  void finish();

  const std::vector<Span>& found() const { return found_; }

 private:
  void close();

  SpanRule rule_;
  std::optional<Span> open_;
  std::vector<Span> found_;
};

}  // namespace qatester
