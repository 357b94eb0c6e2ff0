#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tester/AudioRun.h"
#include "tester/QAResults.h"

namespace qatester {

/// The loudness of all blocks together. Channels of a stream, or streams of one channel, have
/// positions from 0: the first three and the two surrounds count, the low-frequency effects between
/// them do not.
class LoudnessMeasurement : public AudioMeasurement {
 public:
  explicit LoudnessMeasurement(const CheckContext& context) : context_(context) {}

  void begin(const AudioPlan& plan) override;
  Taken add(int cycle, int stream, const AudioBlock& block) override;
  void end() override;
  std::vector<BlockSeries> beginSeries() override;
  std::vector<BlockFigures> takeFigures() override;
  void conclude() override;
  void describe(QACheckOutcome& outcome) const override;

  const QA_Loudness& verdict() const { return result_; }

 private:
  struct Waiting {
    std::size_t position;
    int cycle;
    AudioBlock block;
  };

  void weigh(int cycle, int position, AudioBlock block);
  void noteEnergy(int cycle, double energy);
  void weighWaiting();

  static constexpr std::size_t kPositions = 6;

  const CheckContext& context_;
  int channels_ = 0;
  /// Blocks are filtered side by side, so they wait until there are enough.
  std::vector<Waiting> waiting_;
  std::array<double, kPositions> energies_{};
  /// Values that the energies come from.
  std::array<uint32_t, kPositions> counts_{};
  bool wantsFigures_ = false;
  bool isOver_ = false;  ///< nothing more is weighed
  /// Of cycles, what their blocks come to; the last may be incomplete.
  std::vector<std::pair<int, double>> ofCycles_;
  QA_Loudness result_;
  int min_ = 0;
  int max_ = 0;
};

}  // namespace qatester
