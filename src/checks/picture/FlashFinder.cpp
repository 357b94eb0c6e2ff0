#include "checks/picture/FlashFinder.h"

#include <algorithm>
#include <numeric>

namespace qatester {

namespace {

constexpr double kSecond = 1.0;
/// Times that are computed.
constexpr double kRounding = 1e-6;

/// Cells that go up together, against those that usually do, and against those that go down; or
/// nearly all cells do one or the other.
constexpr double kBurst = 1.5;
constexpr double kDominance = 2.0;
constexpr double kWholePicture = 0.8;

}  // namespace

void FlashFinder::add(int64_t frame, double seconds, const std::vector<float>& cells,
                      const std::vector<uint8_t>* counts) {
  recent_ = (recent_ + 1) % kRecent;
  std::size_t& up = up_[recent_];
  std::size_t& down = down_[recent_];
  up = down = 0;
  isCompared_ = cells_.size() == cells.size();
  if (!isCompared_) {
    cells_.clear();
    for (const float value : cells) {
      cells_.push_back({.low = value, .high = value});
    }
    return;
  }
  const auto change = static_cast<float>(rule_.change);
  const auto darker = static_cast<float>(rule_.darkerThan);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    Cell& cell = cells_[i];
    const float value = cells[i];
    const bool mayCount = counts == nullptr || (*counts)[i] != 0;
    if (cell.direction <= 0 && value >= cell.low + change && cell.low < darker) {
      up += mayCount ? 1U : 0U;
      cell = {.low = value, .high = value, .direction = 1};
    } else if (cell.direction >= 0 && value <= cell.high - change && value < darker) {
      down += mayCount ? 1U : 0U;
      cell = {.low = value, .high = value, .direction = -1};
    }
    cell.low = std::min(cell.low, value);
    cell.high = std::max(cell.high, value);
  }
  if (isFlash(up_, down_)) {
    addTransition({frame, seconds, 1});
  }
  if (isFlash(down_, up_)) {
    addTransition({frame, seconds, -1});
  }
}

std::optional<double> FlashFinder::shareOf(const std::array<std::size_t, kRecent>& counts) const {
  if (!isCompared_ || cells_.empty()) {
    return std::nullopt;
  }
  return static_cast<double>(counts[recent_]) / static_cast<double>(cells_.size());
}

bool FlashFinder::isFlash(const std::array<std::size_t, kRecent>& cells,
                          const std::array<std::size_t, kRecent>& others) const {
  const auto all = static_cast<double>(cells_.size());
  const auto now = static_cast<double>(cells[recent_]);
  const auto other = static_cast<double>(others[recent_]);
  if (now <= rule_.area * all) {
    return false;
  }
  // Texture that moves takes some cells up and others down, in every picture as many.
  const double usual =
      static_cast<double>(std::accumulate(cells.begin(), cells.end(), std::size_t{0})) / kRecent;
  return now >= kBurst * usual && (now >= kDominance * other || now + other >= kWholePicture * all);
}

void FlashFinder::addTransition(const Transition& transition) {
  if (!lastSecond_.empty() && lastSecond_.back().direction == transition.direction) {
    return;
  }
  ++transitions_;
  lastSecond_.push_back(transition);
  const auto isOver = [&](const Transition& other) {
    return other.seconds <= transition.seconds - kSecond + kRounding;
  };
  lastSecond_.erase(lastSecond_.begin(),
                    std::find_if_not(lastSecond_.begin(), lastSecond_.end(), isOver));
  const auto count = static_cast<int>(lastSecond_.size());
  most_ = std::max(most_, count);
  if (count <= rule_.transitionsInSecond) {
    return;
  }
  const Transition& first = lastSecond_.front();
  if (spans_.empty() || spans_.back().endSeconds < first.seconds) {
    spans_.push_back({.startSeconds = first.seconds,
                      .endSeconds = transition.seconds,
                      .startFrame = first.frame,
                      .endFrame = transition.frame + 1,
                      .most = count});
    return;
  }
  FlashSpan& span = spans_.back();
  span.endSeconds = transition.seconds;
  span.endFrame = transition.frame + 1;
  span.most = std::max(span.most, count);
}

}  // namespace qatester
