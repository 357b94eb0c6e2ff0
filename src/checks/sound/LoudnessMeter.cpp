#include "checks/sound/LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qatester {

namespace {

/// What makes the loudness of a sine of 997 Hz at full scale in one channel -3.01 LUFS.
constexpr double kOffset = -0.691;
constexpr double kRelativeGate = -10.0;  ///< LU, of integrated loudness
constexpr double kRangeGate = -20.0;     ///< LU, of the loudness range
constexpr double kLowShare = 0.10;
constexpr double kHighShare = 0.95;
constexpr int64_t kCellsOfAStep = 10;  ///< blocks begin every 100 ms

double meanSquareOf(double lufs) {
  return std::pow(10.0, (lufs - kOffset) / 10.0);
}

struct Mean {
  double sum = 0.0;
  std::size_t count = 0;
  double value() const { return sum / static_cast<double>(count); }
};

template <typename Passes>
Mean meanOf(const std::vector<float>& blocks, const Passes& passes) {
  Mean mean;
  for (const float block : blocks) {
    if (passes(static_cast<double>(block))) {
      mean.sum += static_cast<double>(block);
      ++mean.count;
    }
  }
  return mean;
}

double loweredBy(double meanSquare, double loudnessUnits) {
  return meanSquare * std::pow(10.0, loudnessUnits / 10.0);
}

}  // namespace

double loudnessOf(double meanSquare) {
  return meanSquare > 0.0 ? kOffset + 10.0 * std::log10(meanSquare)
                          : -std::numeric_limits<double>::infinity();
}

std::optional<double> gatedLoudness(const std::vector<float>& blocks) {
  const double absolute = meanSquareOf(kAbsoluteGate);
  const Mean loud = meanOf(blocks, [&](double block) { return block > absolute; });
  if (loud.count == 0) {
    return std::nullopt;
  }
  const double relative = loweredBy(loud.value(), kRelativeGate);
  return loudnessOf(
      meanOf(blocks, [&](double block) { return block > absolute && block > relative; }).value());
}

std::optional<double> loudnessRange(const std::vector<float>& blocks) {
  const double absolute = meanSquareOf(kAbsoluteGate);
  const Mean loud = meanOf(blocks, [&](double block) { return block >= absolute; });
  if (loud.count == 0) {
    return std::nullopt;
  }
  const double relative = loweredBy(loud.value(), kRangeGate);
  std::vector<float> kept;
  std::copy_if(blocks.begin(), blocks.end(), std::back_inserter(kept), [&](float block) {
    return static_cast<double>(block) >= absolute && static_cast<double>(block) >= relative;
  });
  const auto percentile = [&](double share) {
    const auto place = std::llround(static_cast<double>(kept.size() - 1) * share);
    const auto at = kept.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(kept.begin(), at, kept.end());
    return loudnessOf(static_cast<double>(*at));
  };
  const double low = percentile(kLowShare);
  return percentile(kHighShare) - low;
}

void LoudnessMeter::note(std::optional<Maximum>& maximum, double meanSquare, const Cell& first,
                         double endSeconds) {
  const double lufs = loudnessOf(meanSquare);
  if (meanSquare > 0.0 && (!maximum.has_value() || lufs > maximum->lufs)) {
    maximum = {lufs, first.startSeconds, endSeconds};
  }
}

/// The mean square over the last so many cells, the newest included.
double LoudnessMeter::slide(Window& window, std::size_t length) {
  const auto newest = static_cast<std::size_t>(cells_ - 1);
  if (cells_ % static_cast<int64_t>(kShortTerm) == 0) {
    window = {};
    for (std::size_t i = 0; i < length; ++i) {
      const Cell& cell = ring_[(newest - i) % kShortTerm];
      window.squares += cell.squares;
      window.samples += cell.samples;
    }
  } else {
    const Cell& cell = ring_[newest % kShortTerm];
    window.squares += cell.squares;
    window.samples += cell.samples;
  }
  return window.samples > 0 ? std::max(window.squares, 0.0) / static_cast<double>(window.samples)
                            : 0.0;
}

std::optional<double> LoudnessMeter::lastOf(double meanSquare, std::size_t length) const {
  const bool isThere = cells_ >= static_cast<int64_t>(length) && meanSquare > 0.0;
  return isThere ? std::optional(loudnessOf(meanSquare)) : std::nullopt;
}

void LoudnessMeter::add(double squares, int samples, double startSeconds, double endSeconds) {
  // What leaves the windows, before its place is taken.
  const auto leave = [&](Window& window, std::size_t length) {
    if (cells_ >= static_cast<int64_t>(length)) {
      const Cell& cell =
          ring_[static_cast<std::size_t>(cells_ - static_cast<int64_t>(length)) % kShortTerm];
      window.squares -= cell.squares;
      window.samples -= cell.samples;
    }
  };
  leave(momentaryWindow_, kMomentary);
  leave(shortTermWindow_, kShortTerm);
  ring_[static_cast<std::size_t>(cells_) % kShortTerm] = {squares, samples, startSeconds};
  ++cells_;
  const double momentary = slide(momentaryWindow_, kMomentary);
  const double shortTerm = slide(shortTermWindow_, kShortTerm);
  lastMomentary_ = momentary;
  lastShortTerm_ = shortTerm;
  const auto first = [&](std::size_t length) -> const Cell& {
    return ring_[static_cast<std::size_t>(cells_ - static_cast<int64_t>(length)) % kShortTerm];
  };
  const bool isStep = cells_ % kCellsOfAStep == 0;
  if (cells_ >= static_cast<int64_t>(kMomentary)) {
    note(maxMomentary_, momentary, first(kMomentary), endSeconds);
    if (isStep) {
      momentary_.push_back(static_cast<float>(momentary));
    }
  }
  if (cells_ >= static_cast<int64_t>(kShortTerm)) {
    note(maxShortTerm_, shortTerm, first(kShortTerm), endSeconds);
    if (isStep) {
      shortTerm_.push_back(static_cast<float>(shortTerm));
    }
  }
}

}  // namespace qatester
