#include "checks/audio/ChannelPairs.h"

#include "tester/StreamSetup.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

void PairMeasurement::begin(const AudioPlan& plan) {
  separateStreams_ = hasStreamPerChannel(plan.setup);
}

std::vector<BlockSeries> PairMeasurement::beginSeries() {
  wantsFigures_ = true;
  return {{.columns = {column()}}};
}

Taken PairMeasurement::add(int cycle, int stream, const AudioBlock& block) {
  if (!separateStreams_) {
    return addPair(cycle, block.channel(0), block.channel(1));
  }
  if (stream == 0) {
    first_ = block;
    return Taken::waits;
  }
  return addPair(cycle, first_, block);
}

Taken PairMeasurement::addPair(int cycle, const AudioBlock& first, const AudioBlock& second) {
  if (first.empty() || second.empty()) {
    channelMissed_ = true;
    return Taken::endsCheck;
  }
  if (first.count() != second.count()) {
    lengthsDiffered_ = true;
    return Taken::leftOut;
  }
  if (context_.displays.wanted()) {
    context_.displays.showOrPause(
        title_, cycle,
        drawSamples(first.samples(), second.samples(), context_.displays.canvases()).get());
    context_.displays.repaint();
  }
  OxAudioSample asFirst = first.samples();
  if (second.samples().bytesPerSample < asFirst.bytesPerSample) {
    // Too short to be read in the first one's format, so neither has values.
    asFirst.sampleFormat = -1;
  }
  compare(asFirst, second.samples());
  ++compared_;
  if (first.format() != second.format()) {
    formatsDiffered_ = true;
    return Taken::leftOut;
  }
  if (wantsFigures_) {
    figures_.push_back({.cycle = cycle, .values = {figure()}});
  }
  return Taken::measured;
}

void PairMeasurement::describePairs(QACheckOutcome& outcome) const {
  if (channelMissed_) {
    outcome.reason = "the stream has no second channel";
  } else if (formatsDiffered_) {
    outcome.reason = "the two streams have samples of different formats";
  } else if (lengthsDiffered_) {
    outcome.reason = "the blocks of the two streams differ in length";
  }
}

}  // namespace qatester
