#pragma once

#include <string>
#include <utility>
#include <vector>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "support/Console.h"
#include "support/FakeSleep.h"
#include "support/RecordingListener.h"
#include "support/TempDir.h"
#include "tester/AudioRun.h"
#include "tester/VideoRun.h"
#include "visual/Displays.h"

namespace qatest {

using Pauses = std::vector<unsigned>;

inline bool runCheck(const qatester::CheckContext& context,
                     const qatester::VideoCheckProfile& profile,
                     qatester::VideoMeasurement& measurement) {
  return qatester::runVideoCheck(context, profile, measurement);
}

inline bool runCheck(const qatester::CheckContext& context,
                     const qatester::AudioCheckProfile& profile,
                     qatester::AudioMeasurement& measurement) {
  return qatester::runAudioCheck(context, profile, measurement);
}

/// A run of a check on `file` whose measurement only records, and all that is heard of it.
template <typename Measurement>
struct TestRun {
  explicit TestRun(const std::string& file, int slateSeconds, QATesterOptions runOptions = {},
                   const char* settingsText = "")
      : fileName(file), options(std::move(runOptions)), slate(slateSeconds) {
    writeFile(folder.file("settings"), settingsText);
    options.outcome = [this](const QACheckOutcome& o) { outcome = o; };
    logger.SetConsole([this](const std::string& line) { logged += withoutTimes(line).substr(4); });
  }

  /// Whether the measurement was begun.
  template <typename Profile>
  bool go(const Profile& profile) {
    Settings settings(folder.file("settings").c_str(), &logger, QALookup::stored);
    clearPauses();
    qatester::Displays displays(QADisplays::nowhere, false, "", {});
    const qatester::CheckContext context{fileName,
                                         isHeard ? &listener : nullptr,
                                         isHeard ? &logger : nullptr,
                                         &settings,
                                         displays,
                                         slate,
                                         options};
    const bool began = runCheck(context, profile, measurement);
    pauses = callerPauses();
    return began;
  }

  TempDir folder;
  std::string fileName;
  QATesterOptions options;
  int slate;
  bool isHeard = true;  ///< there are a listener and a logger
  Logger logger{""};
  std::string logged;
  RecordingListener listener;
  Measurement measurement;
  QACheckOutcome outcome;
  Pauses pauses;  ///< of the caller
};

inline QATesterOptions pausing(QAPauses pauses) {
  QATesterOptions options;
  options.pauses = pauses;
  return options;
}

}  // namespace qatest
