#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "foundation/QAPauses.h"
#include "foundation/Settings.h"
#include "tester/QACheckOutcome.h"
#include "tester/QAMeasurements.h"
#include "visual/QADisplays.h"

/// Who measures the colours of a picture.
enum class QAColourThreads {
  /// Eight threads, one for each of eight parts, started anew for each picture.
  eight,
  /// The calling thread: the same result for less processor time.
  none,
};

/// How `QATester::runChecks` reads the file.
enum class QAPasses {
  /// All checks that can are fed by one reading.
  one,
  /// Each check opens and decodes the file for itself, with the same results.
  each,
};

/// How far a run of checks has come.
struct QAProgress {
  /// The check that has come further, by its name.
  std::string check;
  /// Of this check, 0 to 100.
  int percent = 0;
  /// Of all checks of the run, 0 to 100.
  int wholePercent = 0;
  /// Of all of it, as far as can be told from what was done so far.
  std::optional<double> secondsLeft = {};
};

/// Something that went wrong beside the checks, in words.
struct QATrouble {
  /// What it went wrong with.
  enum class Kind {
    settings,   ///< the settings file, or a line of it, could not be read
    log,        ///< a line of the log could not be written
    displays,   ///< a picture file could not be written
    noWindows,  ///< displays are to go to windows, and no window system is available
  };
  Kind kind;         ///< what it went wrong with
  std::string text;  ///< for a person, in one line
};

/// What a client may ask of a tester beyond its plain constructor, whose behaviour the defaults
/// give.
struct QATesterOptions {
  /// Fixed, or until there is something to do.
  QAPauses pauses = QAPauses::fixed;

  /// Whether the values of the settings file apply.
  QALookup lookup = QALookup::defaults;

  /// The profile by name (see `QAProfile`), or the path of a settings file that stands for one: its
  /// settings hold where the settings file has none, and the severities of the checks with them.
  /// Empty: none. Classic checks then judge as they always did.
  std::string profile;

  /// Settings that win over those of the file and the profile, as keys and values.
  std::vector<std::pair<std::string, std::string>> settings;

  /// Threads for decoding whole programmes; 0: as many as there are processors. Changes time only.
  int threads = 0;

  /// Who measures the colours of pictures.
  QAColourThreads colourThreads = QAColourThreads::eight;

  /// For `runChecks` alone. Pauses of fixed length are those of a check's own reading: with them
  /// each check reads for itself.
  QAPasses passes = QAPasses::one;

  /// Where displays go.
  QADisplays displays = QADisplays::asSet;
  /// Where picture files of displays go; made when the first is written. Empty: the current folder.
  std::string displayFolder;
  /// Takes small pictures of displays that are drawn, wherever these go; null: nobody.
  QADisplayPictureSink picture;

  /// Ends a running check at its next frame or block; the result covers what was measured so far.
  std::stop_token stop;

  /// Takes the console lines, each with its newline, in place of standard output, on which checks
  /// then write nothing at all. With it a tester logs even when no log file is named.
  std::function<void(const std::string& line)> console;

  /// Called on the check's thread at the end of each check and of `isValidFile`; by `runChecks` in
  /// the order of the checks.
  std::function<void(const QACheckOutcome& outcome)> outcome;

  /// Called by `runChecks` on the calling thread whenever a percent changes.
  std::function<void(const QAProgress& progress)> progress;

  /// Takes what checks that `runChecks` runs measure of pictures and sound, while they do:
  /// programme checks of each picture and each 0.1 s, classic checks of each frame and block that
  /// they look at. Null: nobody. Must outlive the tester.
  QAMeasurementSink* measurements = nullptr;

  /// Called on the tester's thread, beside what the log and the console say of it.
  std::function<void(const QATrouble& trouble)> trouble;
};
