#pragma once

#include <string>
#include <vector>

/// What a check compared the extremes of some channels with.
struct QALimits {
  /// A letter for each of them, such as "RGB".
  std::string channels;
  int min = 0;
  int max = 0;
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
};
