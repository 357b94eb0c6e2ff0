#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace qatester {

/// What counts as a change of a cell that is a part of a flash.
struct FlashRule {
  double change = 20.0;            ///< at least so much
  double darkerThan = 160.0;       ///< the lower of the two values is below
  double area = 0.25;              ///< of the cells, more change together
  double transitionsInSecond = 7;  ///< more are too many: two make a flash
};

/// A stretch with too many flashes.
struct FlashSpan {
  double startSeconds = 0.0;
  double endSeconds = 0.0;
  int64_t startFrame = 0;
  int64_t endFrame = 0;  ///< exclusive
  int most = 0;          ///< changes in a second
};

/// Follows the cells of pictures, and finds stretches in which a large part of the picture goes up
/// and down too often.
class FlashFinder {
 public:
  explicit FlashFinder(const FlashRule& rule) : rule_(rule) {}

  /// The cells of the next picture. `counts` says which of them may count; null: all.
  void add(int64_t frame, double seconds, const std::vector<float>& cells,
           const std::vector<uint8_t>* counts = nullptr);

  /// Of the cells of the last picture, those that went up or down far enough to be a part of a
  /// flash, 0 to 1; empty where nothing was there before it.
  std::optional<double> upShare() const { return shareOf(up_); }
  std::optional<double> downShare() const { return shareOf(down_); }
  /// Changes of a large part of the picture, up or down by turns.
  int64_t transitions() const { return transitions_; }
  /// The most in a second.
  int most() const { return most_; }
  const std::vector<FlashSpan>& spans() const { return spans_; }

 private:
  static constexpr std::size_t kRecent = 8;

  struct Cell {
    float low;
    float high;
    int8_t direction = 0;  ///< of the last change
  };
  struct Transition {
    int64_t frame;
    double seconds;
    int direction;
  };

  std::optional<double> shareOf(const std::array<std::size_t, kRecent>& counts) const;
  bool isFlash(const std::array<std::size_t, kRecent>& cells,
               const std::array<std::size_t, kRecent>& others) const;
  void addTransition(const Transition& transition);

  FlashRule rule_;
  std::vector<Cell> cells_;
  bool isCompared_ = false;  ///< the last picture, with one before
  /// Of the last pictures, how many cells went up, and how many down, by turns.
  std::array<std::size_t, kRecent> up_ = {};
  std::array<std::size_t, kRecent> down_ = {};
  std::size_t recent_ = 0;
  std::vector<Transition> lastSecond_;
  int64_t transitions_ = 0;
  int most_ = 0;
  std::vector<FlashSpan> spans_;
};

}  // namespace qatester
