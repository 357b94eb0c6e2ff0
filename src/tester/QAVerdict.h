#pragma once

#include <string>
#include <vector>

#include "foundation/Export.h"
#include "media/QAMedia.h"
#include "tester/QACheckOutcome.h"

/// What a run of checks learned of a file beside their outcomes.
struct QAFileFacts {
  /// The file opened, and `media` holds what it says of itself.
  bool opened = false;
  QAMedia media = {};  ///< empty when the file did not open
  /// That the reading of the whole file came to; 0 without programme checks, as are the two below.
  int64_t pictures = 0;
  double pictureSeconds = 0.0;  ///< from the first picture to the end of the last
  double soundSeconds = 0.0;    ///< of the longest audio stream
  /// All of the file was looked at, to its last picture and sample.
  bool wholeFile = false;
};

/// What a file comes to: the worst of its checks that judge, `fail`, `warn` or `pass`;
/// `notMeasured` when none of all checks could measure. A check that is not measured because its
/// subject is absent harms nothing.
QATESTER_API QAState getVerdict(const std::vector<QACheckOutcome>& outcomes);

/// How bad an event is beside others of its check: how far it is beyond its limit, or else its
/// value, or how many seconds it lasts. Where there are too many, the worst are kept.
QATESTER_API double getEventWeight(const QAEvent& event);
