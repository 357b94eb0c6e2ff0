#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Export.h"
#include "tester/QACheck.h"
#include "tester/QACheckOutcome.h"
#include "tester/QAEnums.h"
#include "tester/QAListener.h"
#include "tester/QAResults.h"
#include "tester/QATesterOptions.h"
#include "tester/QAVerdict.h"

class Logger;
class OxWrap;
class Settings;

namespace qatester {
struct CheckContext;
class Displays;
}  // namespace qatester

/// Tests one media file. Each check opens the file afresh, runs to its end on the calling thread
/// and returns its result, while `runChecks` runs several with one reading of the file for all of
/// them; checks may be run in any order and more than once. Nothing is shared
/// between testers; one tester must not be used by two threads at once.
///
/// A check throws nothing of its own. What leaves it is `std::bad_alloc`, OpenCV's exception for
/// want of memory, `boost::thread_resource_error` when the colours cannot have a thread, and what a
/// callback of the client's throws. The file is then closed, no thread is left, and the next check
/// can be run.
class QATESTER_API QATester {
 public:
  /// Reads the settings and writes the report's header. `settingsFile` and `logFile` may be null or
  /// empty: no settings are then read, nothing is logged. A null `fileName` counts as empty. The
  /// listener may be null, is not owned, and must outlive the tester's checks.
  QATester(const char* fileName, QAListener* listener, const char* settingsFile,
           const char* logFile);

  /// The same with `options`. Throws `std::invalid_argument` for a profile that is not found.
  QATester(const char* fileName, QAListener* listener, const char* settingsFile,
           const char* logFile, const QATesterOptions& options);

  ~QATester();

  QATester(const QATester&) = delete;
  QATester& operator=(const QATester&) = delete;

  /// Runs checks by their names in `allChecks()`, all on the calling thread, and gives what came of
  /// them in this order. Records, messages, percents and log lines are those of the checks run one
  /// after the other; with `QATesterOptions::passes` the file is read once for the pictures and
  /// once for each set of audio streams. Each check's log lines stand together, in the order of
  /// `names`; those of a check that waits for its turn carry the time at which they came. The
  /// listener hears the checks as they go, so that calls of several may alternate.
  ///
  /// A check that ends in an exception, of a callback's too, ends alone: its outcome has the
  /// exception, and the others go on. Throws `std::invalid_argument` for a name that no check has,
  /// and `std::bad_alloc` when there is no memory for the outcomes themselves.
  std::vector<QACheckOutcome> runChecks(const std::vector<std::string>& names);

  /// The severity of a check by the settings, the profile and its row.
  QASeverity severityOf(const QACheck& check) const;

  /// The value of a setting in effect, by the settings and the profile, within the setting's range.
  std::string settingOf(const QASetting& setting) const;

  /// What the last call of `runChecks` learned of the file.
  const QAFileFacts& fileFacts() const;

  /// Whether the file can be tested: video in planar 4:2:0, 4:2:2 or 4:4:4 with 8 bits, and 1, 3, 4
  /// or 8 audio streams.
  bool isValidFile();

  /// Compares the declared frame rate with the one that the frames' time stamps show, over
  /// "FrameRateFrameChecks" frames (default 100) from the start of the file.
  QA_FrameRate checkFrameRate();

  /// Whether the frames are interlaced, and which of their fields comes first, by the decoder's
  /// flags of "FieldFrameChecks" frames (default 100) after the slate: what more than 0.8 of them
  /// say, or less than 0.2.
  QA_FieldDominance checkFieldDominance();

  /// Whether the fields of "PullDownFrameChecks" frames (default 100) after the slate repeat as by
  /// 2:3 pulldown, or not at all (2:2), in groups of five frames that start with the first one. 2:3
  /// is seen in one of its five phases only, the one with the repeated top field between the second
  /// and third frame of a group and the repeated bottom field between the fourth and fifth; a still
  /// picture counts as 2:3.
  QA_PullDown checkFramePullDown();

  /// Whether the picture changes from frame to frame without tears: the strong changes of its
  /// vertical differences (see `TearingMeasures.h`) must cover less than "TearingThreshold" of it
  /// (default 0.1) on average over "TearingFrameChecks" frames (default 100) after the slate, each
  /// frame in whole percents, rounded down. False also when the check could not run. Displays:
  /// "Overlay Tearing" and "Percent of Tearing and Differencing".
  bool checkTearing();

  /// Goes through all frames but the last second's. Displays, whether or not visualisations are on:
  /// "Timecode Video", the frame, and "Timecodes", its drop-frame and non-drop-frame timecode and
  /// its number. True when the file was gone through.
  bool checkTimecode();

  /// The number of abrupt changes of the picture over "TransitionFrameChecks" frames (default 100)
  /// after the slate. A change begins when the level of a picture, see `getFrameRelationship`,
  /// differs from that of the one before by more than "TransitionPercentChange" (default 0.1, of
  /// 255), and lasts until it differs by less than half of that. -1 when the check could not run.
  /// Display: "Video Change".
  int checkVideoTransitions();

  /// Whether R, G, B (BT.601) and luma of every pixel lie strictly between "ChromaRGBMin" and
  /// "ChromaRGBMax", "ChromaYMin" and "ChromaYMax" (defaults 0 and 255 each: a value of exactly 0
  /// or 255 fails), over "ChromaFrameChecks" frames (default 100) after the slate. Display:
  /// "Diamond Display".
  QA_ChromaLevel checkChroma();

  /// Whether R, G and B (BT.601) of every pixel lie strictly between "GamutMin" and "GamutMax"
  /// (defaults 0 and 255), over "GamutFrameChecks" frames (default 100) after the slate. Displays:
  /// "CIE1931 Display" and "YCbCr Display".
  QA_GamutLevel checkGamut();

  /// The level of every channel of every audio stream over "LevelFrameChecks" blocks (default 100)
  /// of each stream after the slate; a channel passes when its highest level lies strictly between
  /// "LevelLowThreshold" and "LevelPeakThreshold" (dB, defaults -100 and 0, at most 0). A stream of
  /// one channel is measured into the entry of its own number; channels that have no entry are left
  /// out. The record and its array are the caller's (`delete[] record->levels; delete record;`);
  /// null when the check could not run.
  QA_AudioLevels* checkAudioLevels();

  /// The loudness of the first stream's first two channels, or of the first two of four or eight
  /// streams, after ITU-R BS.1770 without gating, over "LoudnessFrameChecks" blocks (default 1)
  /// after the slate and after leading silence. The filters have the coefficients for 48 kHz and
  /// start from rest with each block. Passes strictly between "LoudnessMinThreshold" and
  /// "LoudnessMaxThreshold" (LKFS, default 0, at most 0): without these settings never.
  QA_Loudness checkITUR1770Loudness();

  /// Whether the two channels (chosen as for the loudness) carry distinct signals, over
  /// "MonoFrameChecks" pairs of blocks (default 100) after the slate. Two samples match when they
  /// differ by less than "MonoSingleSampleThreshold" (default 0.01) of the range of their type; a
  /// pair of blocks is mono when the share "MonoSimilarSampleCountThreshold" (default 0.01) of its
  /// samples match, one sample earlier, at the same time or one sample later; the file passes when
  /// the share of such pairs is below that threshold. False also when the check could not run.
  /// Display: "Mono Check".
  bool checkMono();

  /// Whether the second channel lags the first, or the first the second (chosen as for the
  /// loudness), by less than "PhaseSampleOffsetThreshold" samples (default 200) on average, over
  /// "PhaseFrameChecks" pairs of blocks (default 100) after the slate. False also when the check
  /// could not run. Display: "Phase Check".
  bool checkAudioPhase();

  /// Does nothing and returns false.
  bool checkDropNoDrop();

  /// The layout of an opened file, by its number of audio streams.
  QA_StreamSetup getAudioStreamSetup(OxWrap* wrap);

  /// The display text of a value, in a new buffer that `release` frees. A value outside the
  /// enumeration gives the text of its value 0.
  char* getStreamSetupText(QA_StreamSetup setup);
  /// Likewise.
  char* getFrameTypeText(QA_FrameType type);
  /// Likewise.
  char* getFieldTypeText(QA_FieldType type);

  /// Frees a text of the functions above and nulls the pointer to it.
  void release(void** buffer);

  /// Whether on-screen windows can be opened. Where not, displays in windows are skipped.
  static bool canShowWindows();

 private:
  qatester::CheckContext context() const;
  std::unique_ptr<qatester::Displays> makeDisplays(
      std::function<void(const std::string& problem)> complain) const;
  void log(const std::string& line) const;
  void complainOfDisplay(const std::string& problem) const;
  void tellTrouble(QATrouble::Kind kind, const std::string& text) const;

  std::string fileName_;
  QAListener* listener_ = nullptr;
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<Logger> logger_;
  std::unique_ptr<qatester::Displays> displays_;
  QAFileFacts fileFacts_;
  int slateSeconds_ = 0;
  bool visualisations_ = false;
  bool toConsole_ = true;
  QATesterOptions options_;
};
