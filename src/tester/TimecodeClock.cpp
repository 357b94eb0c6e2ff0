#include "tester/TimecodeClock.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qatester {

namespace {

constexpr double kDefaultRate = 25.0;
constexpr int kMostFrames = 1000;  ///< a second
constexpr int kMinutesOfADay = 24 * 60;

int nominalRate(double framesPerSecond) {
  if (!(framesPerSecond > 0.0)) {
    return static_cast<int>(kDefaultRate);
  }
  return static_cast<int>(std::clamp(std::round(framesPerSecond), 1.0, double{kMostFrames}));
}

struct Fields {
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  int frames = 0;
};

std::optional<Fields> fieldsOf(const std::string& text) {
  Fields fields;
  int end = 0;
  const int found = std::sscanf(text.c_str(), "%2d:%2d:%2d%*[:;.]%3d%n", &fields.hours,
                                &fields.minutes, &fields.seconds, &fields.frames, &end);
  const bool whole = found == 4 && end == static_cast<int>(text.size());
  const bool inRange = fields.hours >= 0 && fields.hours < 24 && fields.minutes >= 0 &&
                       fields.minutes < 60 && fields.seconds >= 0 && fields.seconds < 60 &&
                       fields.frames >= 0;
  return whole && inRange ? std::optional(fields) : std::nullopt;
}

}  // namespace

bool isWrittenAsDropFrame(const std::string& timecode) {
  return timecode.find_first_of(";.") != std::string::npos;
}

bool TimecodeClock::mayDrop(double framesPerSecond) {
  const double thirties = framesPerSecond * 1.001 / 30.0;
  return std::abs(thirties - 1.0) < 1e-4 || std::abs(thirties - 2.0) < 1e-4;
}

TimecodeClock::TimecodeClock(const std::string& start, double framesPerSecond)
    : nominal_(nominalRate(framesPerSecond)) {
  if (isWrittenAsDropFrame(start) && nominal_ % 30 == 0) {
    dropped_ = nominal_ / 30 * 2;
  }
  first_ = countOf(start).value_or(0);
}

int64_t TimecodeClock::day() const {
  return perTenMinutes() * (kMinutesOfADay / 10);
}

std::optional<int64_t> TimecodeClock::countOf(const std::string& text) const {
  const std::optional<Fields> fields = fieldsOf(text);
  if (!fields.has_value() || fields->frames >= nominal_) {
    return std::nullopt;
  }
  const int minutes = fields->hours * 60 + fields->minutes;
  if (fields->seconds == 0 && minutes % 10 != 0 && fields->frames < dropped_) {
    return std::nullopt;
  }
  return (int64_t{minutes} * 60 + fields->seconds) * nominal_ + fields->frames -
         int64_t{dropped_} * (minutes - minutes / 10);
}

std::string TimecodeClock::at(int64_t frame) const {
  int64_t count = (first_ + frame) % day();
  count += count < 0 ? day() : 0;
  const int64_t tens = count / perTenMinutes();
  int64_t rest = count % perTenMinutes();
  // The first of ten minutes keeps all its numbers.
  int64_t minutes = 0;
  const int64_t wholeMinute = int64_t{60} * nominal_;
  if (rest >= wholeMinute) {
    minutes = 1 + (rest - wholeMinute) / perMinute();
    rest = (rest - wholeMinute) % perMinute() + dropped_;
  }
  const int64_t minute = tens * 10 + minutes;
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%0*d", static_cast<int>(minute / 60),
                static_cast<int>(minute % 60), static_cast<int>(rest / nominal_),
                dropped_ > 0 ? ';' : ':', nominal_ > 100 ? 3 : 2,
                static_cast<int>(rest % nominal_));
  return text;
}

}  // namespace qatester
