#pragma once

#include <memory>
#include <vector>

#include "tester/AudioRun.h"
#include "tester/QAResults.h"

namespace qatester {

/// Measures one block of one channel into its entry.
void measureLevels(const OxAudioSample& block, QA_ChannelLevel& entry);

/// The levels of all channels. `low` and `peak` are the thresholds in dB.
class LevelsMeasurement : public AudioMeasurement {
 public:
  LevelsMeasurement(int low, int peak) : low_(low), peak_(peak) {}

  void begin(const AudioPlan& plan) override;
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
  void measureInto(std::size_t entry, const OxAudioSample& block);

  std::unique_ptr<QA_AudioLevels, Delete> record_;
  /// For each entry, whether integer samples were measured into it.
  std::vector<bool> heard_;
  std::size_t channels_ = 0;
  int low_;
  int peak_;
};

}  // namespace qatester
