#include "tester/QATimecode.h"

#include "tester/TimecodeClock.h"

std::string getNextTimecode(const std::string& timecode, double framesPerSecond) {
  const qatester::TimecodeClock clock(timecode, framesPerSecond);
  return clock.at(0) == timecode ? clock.at(1) : "";
}
