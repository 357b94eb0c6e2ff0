#pragma once

#include <map>
#include <string>
#include <vector>

#include "tester/QAListener.h"

namespace qatest {

/// Keeps everything that it hears.
class RecordingListener : public QAListener {
 public:
  void onFailure() override { ++failures; }
  void onMessage(const std::string& text) override { messages.push_back(text); }
  void onLoudnessProgress(float percent) override { heard("loudness", percent); }
  void onPhaseProgress(float percent) override { heard("phase", percent); }
  void onLevelsProgress(float percent) override { heard("levels", percent); }
  void onMonoProgress(float percent) override { heard("mono", percent); }
  void onFrameRateProgress(float percent) override { heard("frame-rate", percent); }
  void onFieldDominanceProgress(float percent) override { heard("field-dominance", percent); }
  void onPullDownProgress(float percent) override { heard("pulldown", percent); }
  void onSpareProgress(float percent) override { heard("spare", percent); }
  void onChromaProgress(float percent) override { heard("chroma", percent); }
  void onGamutProgress(float percent) override { heard("gamut", percent); }
  void onTearingProgress(float percent) override { heard("tearing", percent); }
  void onTimecodeProgress(float percent) override { heard("timecode", percent); }

  /// Percents by slot; a slot that was never called is absent.
  std::map<std::string, std::vector<float>> progress;
  std::vector<std::string> messages;
  int failures = 0;

 protected:
  /// Called for each percent, after it was recorded.
  virtual void onPercent(float) {}

 private:
  void heard(const char* slot, float percent) {
    progress[slot].push_back(percent);
    onPercent(percent);
  }
};

}  // namespace qatest
