#include "tester/QATimecode.h"

#include "tester/TimecodeClock.h"

std::string getNextTimecode(const std::string& timecode, double framesPerSecond) {
  const qatester::TimecodeClock clock(timecode, framesPerSecond);
  return clock.countOf(timecode).has_value() ? clock.at(1) : "";
}
