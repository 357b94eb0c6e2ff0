#include "checks/picture/FlashFinder.h"

#include <algorithm>

namespace qatester {

namespace {

constexpr double kSecond = 1.0;
/// Times that are computed.
constexpr double kRounding = 1e-6;

}  // namespace

void FlashFinder::add(int64_t frame, double seconds, const std::vector<float>& cells,
                      const std::vector<uint8_t>* counts) {
  up_[1] = up_[0];
  down_[1] = down_[0];
  up_[0] = down_[0] = 0;
  if (cells_.size() != cells.size()) {
    cells_.clear();
    for (const float value : cells) {
      cells_.push_back({.low = value, .high = value});
    }
    up_[1] = down_[1] = 0;
    return;
  }
  const auto change = static_cast<float>(rule_.change);
  const auto darker = static_cast<float>(rule_.darkerThan);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    Cell& cell = cells_[i];
    const float value = cells[i];
    const bool mayCount = counts == nullptr || (*counts)[i] != 0;
    if (cell.direction <= 0 && value >= cell.low + change && cell.low < darker) {
      up_[0] += mayCount ? 1U : 0U;
      cell = {.low = value, .high = value, .direction = 1};
    } else if (cell.direction >= 0 && value <= cell.high - change && value < darker) {
      down_[0] += mayCount ? 1U : 0U;
      cell = {.low = value, .high = value, .direction = -1};
    }
    cell.low = std::min(cell.low, value);
    cell.high = std::max(cell.high, value);
  }
  const double least = rule_.area * static_cast<double>(cells.size());
  if (static_cast<double>(up_[0] + up_[1]) > least) {
    addTransition({frame, seconds, 1});
    up_[0] = up_[1] = 0;
  }
  if (static_cast<double>(down_[0] + down_[1]) > least) {
    addTransition({frame, seconds, -1});
    down_[0] = down_[1] = 0;
  }
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
