#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Checks.h"
#include "Report.h"
#include "tester/QAListener.h"

namespace cli {

/// Writes what it hears into the report of the check that is running.
class Listener : public QAListener {
 public:
  /// `onPercent` is told each percent of the running check.
  explicit Listener(std::function<void(int percent)> onPercent);

  /// What comes from now on belongs to `report`, which must outlive the check.
  void listenFor(CheckReport& report) { report_ = &report; }

  void onFailure() override;
  void onMessage(const std::string& text) override;
  void onLoudnessProgress(float percent) override { heard(Slot::loudness, percent); }
  void onPhaseProgress(float percent) override { heard(Slot::phase, percent); }
  void onLevelsProgress(float percent) override { heard(Slot::levels, percent); }
  void onMonoProgress(float percent) override { heard(Slot::mono, percent); }
  void onFrameRateProgress(float percent) override { heard(Slot::frameRate, percent); }
  void onFieldDominanceProgress(float percent) override { heard(Slot::fieldDominance, percent); }
  void onPullDownProgress(float percent) override { heard(Slot::pullDown, percent); }
  void onSpareProgress(float percent) override { heard(Slot::spare, percent); }
  void onChromaProgress(float percent) override { heard(Slot::chroma, percent); }
  void onGamutProgress(float percent) override { heard(Slot::gamut, percent); }
  void onTearingProgress(float percent) override { heard(Slot::tearing, percent); }
  void onTimecodeProgress(float percent) override { heard(Slot::timecode, percent); }

 private:
  void heard(Slot slot, float percent);

  std::function<void(int)> onPercent_;
  CheckReport* report_ = nullptr;
};

}  // namespace cli
