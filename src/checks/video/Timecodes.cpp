#include "checks/video/Timecodes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "foundation/Conversions.h"

namespace {

constexpr int kFramesInTenMinutes = 17982;
constexpr double kFramesInMinute = 1798.0;
constexpr double kDroppedInTenMinutes = 18.0;
constexpr double kDroppedInMinute = 2.0;

/// How many whole times `frames` goes into `frame`, by a quotient in single precision.
int wholeQuotient(int frame, int64_t frames) {
  return qatester::truncateTo<int>(
      static_cast<double>(static_cast<float>(frame) / static_cast<float>(frames)));
}

}  // namespace

int convertToDrop(int frame) {
  const double tens = std::trunc(frame / static_cast<double>(kFramesInTenMinutes));
  const int inTen = frame % kFramesInTenMinutes;
  return qatester::truncateTo<int>((frame + kDroppedInTenMinutes * tens) +
                                   kDroppedInMinute * ((inTen - 2) / kFramesInMinute));
}

std::string getTimeCode(int frame, bool drop, int fps) {
  const int rate = std::max(fps, 1);
  const int number = drop ? convertToDrop(frame) : frame;
  const int hours = wholeQuotient(number, int64_t{rate} * 3600) % 24;
  const int minutes = wholeQuotient(number, int64_t{rate} * 60) % 60;
  const int seconds = wholeQuotient(number, rate) % 60;
  char text[64];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", hours, minutes, seconds,
                drop ? ';' : ':', number % rate);
  return text;
}
