#pragma once

#include <utility>
#include <vector>

#include "tester/AudioRun.h"

namespace qatester {

/// A measurement of two channels side by side: the first two of the first stream or, of four or
/// eight streams, the first two streams as they are. Forms the pairs and plots them.
class PairMeasurement : public AudioMeasurement {
 public:
  /// `title` names the display.
  PairMeasurement(const CheckContext& context, const char* title)
      : context_(context), title_(title) {}

  void begin(const AudioPlan& plan) override;
  std::vector<BlockSeries> beginSeries() override;
  std::vector<BlockFigures> takeFigures() override { return std::exchange(figures_, {}); }
  Taken add(int cycle, int stream, const AudioBlock& block) override;

 protected:
  /// Compares two blocks with equally many values, in the first one's format; the second one is at
  /// least as wide.
  virtual void compare(const OxAudioSample& first, const OxAudioSample& second) = 0;

  /// What was compared last, as a figure of a series.
  virtual QASeriesColumn column() const = 0;
  virtual double figure() const = 0;

  int compared() const { return compared_; }
  /// Why pairs were left out, if any were, for the outcome.
  void describePairs(QACheckOutcome& outcome) const;
  const CheckContext& context() const { return context_; }

 private:
  Taken addPair(int cycle, const AudioBlock& first, const AudioBlock& second);

  const CheckContext& context_;
  const char* title_;
  bool separateStreams_ = false;
  AudioBlock first_;
  int compared_ = 0;
  bool channelMissed_ = false;
  bool lengthsDiffered_ = false;
  bool formatsDiffered_ = false;
  bool wantsFigures_ = false;
  std::vector<BlockFigures> figures_;
};

}  // namespace qatester
