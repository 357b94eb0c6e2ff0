#include "EventWords.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "Facts.h"
#include "tester/QACheck.h"

namespace cli {

namespace {

constexpr const char* kGap = "  ";

/// With its unit. Of things that are counted, such as "errors", that is the plural.
std::string quantityText(double value, std::string unit) {
  constexpr std::size_t kLongestSymbol = 3;  // such as "fps"
  if (value == 1.0 && unit.size() > kLongestSymbol && unit.back() == 's') {
    unit.pop_back();
  }
  return joined(figureText(value), " ", unit);
}

std::string placeText(const std::string& timecode, const std::optional<double>& seconds) {
  constexpr int kMilliseconds = 3;
  if (!timecode.empty() || !seconds) {
    return timecode;
  }
  return clockText(*seconds, kMilliseconds);
}

/// The words of programme checks of sound say where it is.
bool namesStream(const QACheckOutcome& outcome) {
  const QACheck* check = findCheck(outcome.name);
  return check == nullptr || check->family == QAFamily::classic || check->needs != QANeeds::sound;
}

}  // namespace

std::string joined(const std::string& one, const char* between, const std::string& other) {
  return one + (one.empty() || other.empty() ? "" : between) + other;
}

std::string figureText(double value) {
  constexpr double kSmall = 0.1;
  if (value == 0.0 || !(std::abs(value) < kSmall)) {
    return shortNumber(value);
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

std::string placeOf(const QAEvent& event) {
  return placeText(event.startTimecode, event.startSeconds);
}

std::string eventWords(const QAEvent& event, const QACheckOutcome& outcome) {
  std::string words = event.what;
  if (event.value) {
    words = joined(words, kGap, quantityText(*event.value, event.unit));
  }
  if (event.limit) {
    words = joined(words, " ", "(limit " + quantityText(*event.limit, event.unit) + ")");
  }
  const bool names = namesStream(outcome);
  if (names && event.stream) {
    words = joined(words, kGap, "stream " + std::to_string(*event.stream));
  }
  if (names && event.channel) {
    words = joined(words, " ", "ch " + std::to_string(*event.channel));
  }
  return words;
}

std::string eventLine(const QAEvent& event, const QACheckOutcome& outcome) {
  const std::string start = placeOf(event);
  const std::string end = placeText(event.endTimecode, event.endSeconds);
  const std::string place = joined(start, " to ", end == start ? "" : end);
  return joined(place, kGap, eventWords(event, outcome));
}

BreakingEvents breakingEvents(const QACheckOutcome& outcome, std::size_t most, bool placed) {
  BreakingEvents breaking;
  std::size_t count = 0;
  for (const QAEvent& event : outcome.events) {
    if (event.breaks && (!placed || !placeOf(event).empty()) && ++count <= most) {
      breaking.lines.push_back(eventLine(event, outcome));
    }
  }
  if (count > most) {
    const bool all = outcome.eventCount <= static_cast<int64_t>(outcome.events.size());
    const std::string more = std::to_string(count - most) + " more";
    breaking.more = all ? more : "at least " + more;
  }
  return breaking;
}

}  // namespace cli
