#pragma once

#include <string>
#include <vector>

/// What a check compared its measures with.
struct QALimits {
  /// A letter for each colour channel that they hold for, such as "RGB"; empty for sound.
  std::string channels;
  int min = 0;
  int max = 0;
};

/// A number that a check came to on the way to its result.
struct QAFigure {
  /// What it is, such as "meanLag".
  std::string name;
  double value = 0.0;
};

/// How a check went, beside its result: for clients that must tell "failed" from "not measured".
struct QACheckOutcome {
  /// The check's tag, such as "QAFramerate".
  std::string check;
  /// Whether the file opened as a media file.
  bool opened = false;
  /// Whether the result rests on at least one frame or block (for `isValidFile`: on a file that
  /// opened).
  bool measured = false;
  /// Why nothing was measured, why frames that came were left out, or why the file is not valid;
  /// empty otherwise.
  std::string reason;
  /// A stop was asked for while the check ran: the result covers what came before.
  bool stopped = false;
  /// Frames or blocks that were to be measured, and that were. 0 where a check counts none.
  int budget = 0;
  int count = 0;
  /// The limits in effect; empty where a check has none.
  std::vector<QALimits> limits;
  /// What a check tells of its measurement beside its result:
  /// - field dominance: how many frames are flagged "interlaced" and "topFieldFirst";
  /// - pulldown: "groups" of five frames, and how many of them carry 2:3 ("groups23") and 2:2
  ///   ("groups22");
  /// - tearing: "meanShare" of the picture, "highestPercent" of a frame, and the "threshold" of the
  ///   former;
  /// - timecode: "nominalRate", the whole number of frames a second that it counts by;
  /// - transitions: "transitionSeconds", one for each, the time of the frame that began it;
  /// - mono: "matchingBlocks" and "threshold" (the share of them that makes the file mono);
  /// - phase: "meanLag" in samples.
  std::vector<QAFigure> figures;
  /// The stretch of sound that was measured, in seconds from the start of its stream.
  double startSeconds = 0.0;
  double endSeconds = 0.0;
  /// Entries of `QA_AudioLevels` that no integer sample was measured into, in ascending order: the
  /// stream has no such channel, or its samples have no values.
  std::vector<unsigned> unmeasuredEntries;
};
