#pragma once

#include <string>

/// What a client hears of a running check. Every call comes on the thread that runs the check.
///
/// A percent is a whole number from 1 to 99 and is sent when it changes. An exception thrown by an
/// operation leaves the check, whose file is closed on the way. Only the loudness check keeps a
/// `std::exception` that comes while it measures: it logs that and concludes.
class QAListener {
 public:
  /// The video checks do not measure the file's pixel format.
  virtual void onFailure() = 0;
  /// No suitable stream, or an unsupported audio layout.
  virtual void onMessage(const std::string& text) = 0;
  /// Of the loudness check.
  virtual void onLoudnessProgress(float percent) = 0;
  /// Of the phase check.
  virtual void onPhaseProgress(float percent) = 0;
  /// Of the levels check.
  virtual void onLevelsProgress(float percent) = 0;
  /// Of the mono check.
  virtual void onMonoProgress(float percent) = 0;
  /// Of the frame rate check.
  virtual void onFrameRateProgress(float percent) = 0;
  /// Of the field dominance check.
  virtual void onFieldDominanceProgress(float percent) = 0;
  /// Of the pulldown check.
  virtual void onPullDownProgress(float percent) = 0;
  /// Never called.
  virtual void onSpareProgress(float percent) = 0;
  /// Of the chroma check.
  virtual void onChromaProgress(float percent) = 0;
  /// Of the gamut check.
  virtual void onGamutProgress(float percent) = 0;
  /// Of the tearing check.
  virtual void onTearingProgress(float percent) = 0;
  /// Of the timecode check and of the transition check.
  virtual void onTimecodeProgress(float percent) = 0;

  // Last: clients rely on the order of the fourteen operations above.
  virtual ~QAListener() = default;
};
