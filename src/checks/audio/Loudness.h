#pragma once

#include <array>
#include <cstdint>
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
  void conclude() override;
  void describe(QACheckOutcome& outcome) const override;

  const QA_Loudness& verdict() const { return result_; }

 private:
  struct Waiting {
    std::size_t position;
    AudioBlock block;
  };

  void weigh(int position, AudioBlock block);
  void weighWaiting();

  static constexpr std::size_t kPositions = 6;

  const CheckContext& context_;
  int channels_ = 0;
  /// Blocks are filtered side by side, so they wait until there are enough.
  std::vector<Waiting> waiting_;
  std::array<double, kPositions> energies_{};
  /// Values that the energies come from.
  std::array<uint32_t, kPositions> counts_{};
  QA_Loudness result_;
  int min_ = 0;
  int max_ = 0;
};

}  // namespace qatester
