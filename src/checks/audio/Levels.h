#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "tester/AudioRun.h"
#include "tester/QAResults.h"

namespace qatester {

/// The levels of one block of one channel, in dB; NaN of one that is silent.
struct BlockLevels {
  float max = std::numeric_limits<float>::quiet_NaN();
  float min = std::numeric_limits<float>::quiet_NaN();
};

/// Measures one block of one channel into its entry, and says what it has alone.
BlockLevels measureLevels(const OxAudioSample& block, QA_ChannelLevel& entry);

/// The levels of all channels. `low` and `peak` are the thresholds in dB.
class LevelsMeasurement : public AudioMeasurement {
 public:
  LevelsMeasurement(int low, int peak) : low_(low), peak_(peak) {}

  void begin(const AudioPlan& plan) override;
  std::vector<BlockSeries> beginSeries() override;
  std::vector<BlockFigures> takeFigures() override { return std::exchange(figures_, {}); }
  Taken add(int cycle, int stream, const AudioBlock& block) override;
  void conclude() override;
  void describe(QACheckOutcome& outcome) const override;

  /// Hands the record over.
  QA_AudioLevels* verdict() { return record_.release(); }

 private:
  struct Delete {
    void operator()(QA_AudioLevels* record) const;
  };

  void describeRecord(QACheckOutcome& outcome) const;
  BlockLevels measureInto(std::size_t entry, const OxAudioSample& block);

  std::unique_ptr<QA_AudioLevels, Delete> record_;
  /// For each entry, whether integer samples were measured into it.
  std::vector<bool> heard_;
  std::size_t channels_ = 0;
  std::size_t streams_ = 0;
  bool wantsFigures_ = false;
  std::vector<BlockFigures> figures_;
  int low_;
  int peak_;
};

}  // namespace qatester
