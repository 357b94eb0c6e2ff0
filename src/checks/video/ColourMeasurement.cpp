#include "checks/video/ColourMeasurement.h"

#include <algorithm>
#include <string>

#include "checks/video/ColourExtremes.h"
#include "tester/Words.h"

namespace qatester {

namespace {

/// The extremes of a channel by its letter; empty for a channel that the record does not have.
template <typename Level>
Extremes extremesOf(const Level& level, char channel) {
  switch (channel) {
    case 'R':
      return {level.rMax, level.rMin};
    case 'G':
      return {level.gMax, level.gMin};
    case 'B':
      return {level.bMax, level.bMin};
    default:
      if constexpr (requires { level.yMax; }) {
        return {level.yMax, level.yMin};
      }
      return {};
  }
}

template <typename Level>
bool allInside(const Level& level, const std::vector<QALimits>& limits) {
  return std::all_of(limits.begin(), limits.end(), [&](const QALimits& pair) {
    return std::all_of(pair.of.begin(), pair.of.end(), [&](char channel) {
      const Extremes extremes = extremesOf(level, channel);
      return !extremes.empty() && extremes.max < pair.max && extremes.min > pair.min;
    });
  });
}

template <typename Level>
QAValues valuesOf(const Level& level) {
  QAValues values{{"passed", level.passed, ""},      {"rMax", int64_t{level.rMax}, ""},
                  {"rMin", int64_t{level.rMin}, ""}, {"gMax", int64_t{level.gMax}, ""},
                  {"gMin", int64_t{level.gMin}, ""}, {"bMax", int64_t{level.bMax}, ""},
                  {"bMin", int64_t{level.bMin}, ""}};
  if constexpr (requires { level.yMax; }) {
    values.push_back({"yMax", int64_t{level.yMax}, ""});
    values.push_back({"yMin", int64_t{level.yMin}, ""});
  }
  return values;
}

template <typename Level>
std::vector<double> figuresOf(const Level& level, const char* channels) {
  std::vector<double> figures;
  for (const char channel : std::string(channels)) {
    const Extremes extremes = extremesOf(level, channel);
    figures.push_back(extremes.min);
    figures.push_back(extremes.max);
  }
  return figures;
}

std::string trespasses(char channel, const Extremes& extremes,
                       const std::vector<QALimits>& limits) {
  const std::string name(1, channel);
  std::string list;
  for (const QALimits& pair : limits) {
    if (pair.of.find(channel) != std::string::npos) {
      addWords(list, ", ", trespass(name, pair.min - extremes.min, "below", pair.min, kCodeValues));
      addWords(list, ", ", trespass(name, extremes.max - pair.max, "above", pair.max, kCodeValues));
    }
  }
  return list;
}

template <typename Level>
void describeLevel(QACheckOutcome& outcome, const Level& level, const char* channels,
                   const std::vector<QALimits>& limits) {
  outcome.values = valuesOf(level);
  addFrameCounts(outcome);
  outcome.limits = limits;
  outcome.state = judged(level.passed);
  std::string outside;
  for (const char channel : std::string(channels)) {
    const Extremes extremes = extremesOf(level, channel);
    addWords(outcome.summary, ", ",
             std::string(1, channel) + " " + std::to_string(extremes.min) + " to " +
                 std::to_string(extremes.max));
    addWords(outside, ", ", trespasses(channel, extremes, limits));
  }
  addWords(outcome.summary, "; ", outside.empty() ? "" : "outside: " + outside);
  addWords(outcome.summary, "; ", shortfall(outcome, "frames"));
}

}  // namespace

void describeColours(QACheckOutcome& outcome, const QA_ChromaLevel& record,
                     const std::vector<QALimits>& limits) {
  describeLevel(outcome, record, "RGBY", limits);
}

void describeColours(QACheckOutcome& outcome, const QA_GamutLevel& record,
                     const std::vector<QALimits>& limits) {
  describeLevel(outcome, record, "RGB", limits);
}

std::vector<QASeriesColumn> colourColumns(const QA_GamutLevel&) {
  return {{"rMin", ""}, {"rMax", ""}, {"gMin", ""}, {"gMax", ""}, {"bMin", ""}, {"bMax", ""}};
}

std::vector<QASeriesColumn> colourColumns(const QA_ChromaLevel&) {
  std::vector<QASeriesColumn> columns = colourColumns(QA_GamutLevel{});
  columns.push_back({"yMin", ""});
  columns.push_back({"yMax", ""});
  return columns;
}

std::vector<double> colourFigures(const QA_GamutLevel& level) {
  return figuresOf(level, "RGB");
}

std::vector<double> colourFigures(const QA_ChromaLevel& level) {
  return figuresOf(level, "RGBY");
}

bool liesInside(const QA_ChromaLevel& level, const std::vector<QALimits>& limits) {
  return allInside(level, limits);
}

bool liesInside(const QA_GamutLevel& level, const std::vector<QALimits>& limits) {
  return allInside(level, limits);
}

}  // namespace qatester
