#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace qatester {

/// Of a loudness, LUFS: silence has none.
inline constexpr double kAbsoluteGate = -70.0;

/// LUFS of a mean square of K-weighted samples, -infinity for 0.
double loudnessOf(double meanSquare);

/// The mean square of K-weighted sound over blocks, gated after ITU-R BS.1770-5: blocks above
/// -70 LUFS, of these blocks above 10 LU below their mean. Empty: all is below.
std::optional<double> gatedLoudness(const std::vector<float>& blocks);

/// LU between the 10th and the 95th percentile of the blocks of at least -70 LUFS that are at most
/// 20 LU below their mean, after EBU Tech 3342. Empty: there is no such block.
std::optional<double> loudnessRange(const std::vector<float>& blocks);

/// Loudness of a programme from the energies of its cells of 10 ms, by ITU-R BS.1770-5 and EBU
/// Tech 3341 and 3342. Momentary and short-term loudness are known every 10 ms; blocks for the
/// integrated loudness and the range begin every 100 ms. It keeps 80 bytes a second.
class LoudnessMeter {
 public:
  /// A largest value, and the seconds at which its window begins and ends.
  struct Maximum {
    double lufs;
    double startSeconds;
    double endSeconds;
  };

  /// The sum of the squares of the K-weighted samples of a cell, weighted and added up over its
  /// channels, how many samples of each channel it has, and when it begins and ends.
  void add(double squares, int samples, double startSeconds, double endSeconds);

  /// Of the whole programme; empty below 400 ms, and where all is silent.
  std::optional<double> integrated() const { return gatedLoudness(momentary_); }
  /// Empty below 3 s, and where all is silent.
  std::optional<double> range() const { return loudnessRange(shortTerm_); }
  /// Empty below 400 ms or 3 s, and of digital silence.
  const std::optional<Maximum>& maxMomentary() const { return maxMomentary_; }
  const std::optional<Maximum>& maxShortTerm() const { return maxShortTerm_; }
  double seconds() const { return static_cast<double>(cells_) / 100.0; }
  /// Of the last 400 ms and 3 s, in LUFS; empty before, and of digital silence.
  std::optional<double> momentary() const { return lastOf(lastMomentary_, kMomentary); }
  std::optional<double> shortTerm() const { return lastOf(lastShortTerm_, kShortTerm); }

 private:
  static constexpr std::size_t kMomentary = 40;
  static constexpr std::size_t kShortTerm = 300;

  struct Cell {
    double squares = 0.0;
    int samples = 0;
    double startSeconds = 0.0;
  };

  /// A sum over the last cells, made anew now and then so that it stays exact.
  struct Window {
    double squares = 0.0;
    int64_t samples = 0;
  };

  double slide(Window& window, std::size_t length);
  std::optional<double> lastOf(double meanSquare, std::size_t length) const;
  static void note(std::optional<Maximum>& maximum, double meanSquare, const Cell& first,
                   double endSeconds);

  std::array<Cell, kShortTerm> ring_ = {};
  int64_t cells_ = 0;
  Window momentaryWindow_;
  Window shortTermWindow_;
  double lastMomentary_ = 0.0;  ///< mean squares
  double lastShortTerm_ = 0.0;
  std::optional<Maximum> maxMomentary_;
  std::optional<Maximum> maxShortTerm_;
  std::vector<float> momentary_;  ///< mean squares of blocks of 400 ms, every 100 ms
  std::vector<float> shortTerm_;  ///< of 3 s
};

}  // namespace qatester
