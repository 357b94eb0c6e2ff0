#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "foundation/QAPauses.h"
#include "foundation/Settings.h"
#include "tester/QACheckOutcome.h"
#include "visual/QADisplays.h"

/// Who measures the colours of a picture.
enum class QAColourThreads {
  /// Eight threads, one for each of eight parts, started anew for each picture.
  eight,
  /// The calling thread: the same result for less processor time.
  none,
};

/// What a client may ask of a tester beyond its plain constructor, whose behaviour the defaults
/// give.
struct QATesterOptions {
  QAPauses pauses = QAPauses::fixed;
  QALookup lookup = QALookup::defaults;

  QAColourThreads colourThreads = QAColourThreads::eight;

  QADisplays displays = QADisplays::asSet;
  /// Where picture files of displays go; made when the first is written. Empty: the current folder.
  std::string displayFolder;

  /// Ends a running check at its next frame or block; the result covers what was measured so far.
  std::stop_token stop;

  /// Takes the console lines, each with its newline, in place of standard output, on which checks
  /// then write nothing at all. With it a tester logs even when no log file is named.
  std::function<void(const std::string& line)> console;

  /// Called on the check's thread at the end of each check and of `isValidFile`.
  std::function<void(const QACheckOutcome& outcome)> outcome;
};
