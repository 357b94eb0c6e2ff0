#include "Figures.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "checks/video/Timecodes.h"

namespace cli {

namespace {

void add(std::string& list, const char* separator, const std::string& item) {
  if (!item.empty()) {
    list += (list.empty() ? "" : separator) + item;
  }
}

struct Unit {
  const char* text;
  int decimals;
};

constexpr std::size_t kMostTimes = 5;
constexpr int kFramesOfAGroup = 5;

constexpr Unit kCodeValues{"", 0};
constexpr Unit kDecibels{" dB", 2};
constexpr Unit kFramesPerSecond{" fps", 2};
constexpr Unit kLoudnessUnits{" LKFS", 2};
constexpr Unit kSamples{" samples", 2};
constexpr Unit kSeconds{" s", 2};

std::string quantity(double value, const Unit& unit) {
  if (std::isnan(value)) {
    return std::string("nan") + unit.text;  // whatever its sign
  }
  char text[512];
  std::snprintf(text, sizeof text, "%.*f%s", unit.decimals, value, unit.text);
  return text;
}

/// With as many digits as it takes, up to six.
std::string plain(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::string percent(double share) {
  return plain(100.0 * share) + " %";
}

/// `noun` behind a number.
std::string pluralOf(const char* noun, double count) {
  return std::string(noun) + (count == 1.0 ? "" : "s");
}

std::string counted(int count, const char* noun) {
  return std::to_string(count) + " " + pluralOf(noun, count);
}

/// What a value that lies `excess` beyond a limit does; empty for one inside it. A value on the
/// limit is none: the limits are strict.
std::string trespass(const std::string& name, double excess, const char* side, int limit,
                     const Unit& unit) {
  if (!(excess >= 0.0)) {
    return "";
  }
  const std::string where = std::to_string(limit) + unit.text;
  return excess == 0.0 ? name + " on the limit " + where
                       : name + " " + quantity(excess, unit) + " " + side + " " + where;
}

std::string trespasses(const Channel& channel, const std::vector<QALimits>& limits) {
  const std::string name(1, channel.name);
  std::string list;
  for (const QALimits& pair : limits) {
    if (pair.channels.find(channel.name) != std::string::npos) {
      const double below = static_cast<double>(pair.min) - channel.min;
      const double above = static_cast<double>(channel.max) - pair.max;
      add(list, ", ", trespass(name, below, "below", pair.min, kCodeValues));
      add(list, ", ", trespass(name, above, "above", pair.max, kCodeValues));
    }
  }
  return list;
}

bool isSilent(const QA_ChannelLevel& level) {
  return level.minLevel == 0.0F && level.maxLevel == 0.0F;
}

std::string channelName(const QA_ChannelLevel& level) {
  return "ch " + std::to_string(level.channelNumber);
}

std::string streamName(const QA_ChannelLevel& level) {
  return "stream " + std::to_string(level.audioStreamNumber);
}

std::string extremesOf(const QA_ChannelLevel& level) {
  if (isSilent(level)) {
    return "silent";
  }
  return quantity(static_cast<double>(level.minLevel), {"", kDecibels.decimals}) + " to " +
         quantity(static_cast<double>(level.maxLevel), kDecibels);
}

/// Only the highest level is judged.
std::string trespasses(const QA_ChannelLevel& level, const std::vector<QALimits>& limits) {
  const std::string name = streamName(level) + " " + channelName(level);
  const auto highest = static_cast<double>(level.maxLevel);
  std::string list;
  for (const QALimits& pair : limits) {
    add(list, ", ", trespass(name, pair.min - highest, "below", pair.min, kDecibels));
    add(list, ", ", trespass(name, highest - pair.max, "above", pair.max, kDecibels));
  }
  return list;
}

/// All that have that name.
std::vector<double> figures(const QACheckOutcome& outcome, const std::string& name) {
  std::vector<double> values;
  for (const QAFigure& one : outcome.figures) {
    if (one.name == name) {
      values.push_back(one.value);
    }
  }
  return values;
}

/// 0 when there is none of that name.
double figure(const QACheckOutcome& outcome, const char* name) {
  const std::vector<double> values = figures(outcome, name);
  return values.empty() ? 0.0 : values.front();
}

}  // namespace

std::string fps(float rate) {
  return quantity(static_cast<double>(rate), kFramesPerSecond);
}

std::string shortfall(const QACheckOutcome& outcome, const char* unit) {
  if (outcome.count >= outcome.budget) {
    return "";
  }
  // A reason beside a measurement tells that some came and could not be used.
  const char* verb = outcome.reason.empty() ? " came" : " could be measured";
  return "only " + std::to_string(outcome.count) + " of " + std::to_string(outcome.budget) + " " +
         unit + verb;
}

std::string colourFigures(const std::vector<Channel>& channels, const QACheckOutcome& outcome) {
  std::string extremes;
  std::string outside;
  for (const Channel& channel : channels) {
    add(extremes, ", ",
        std::string(1, channel.name) + " " + std::to_string(channel.min) + " to " +
            std::to_string(channel.max));
    add(outside, ", ", trespasses(channel, outcome.limits));
  }
  add(extremes, "; ", outside.empty() ? "" : "outside: " + outside);
  add(extremes, "; ", shortfall(outcome, "frames"));
  return extremes;
}

bool isMeasured(const QACheckOutcome& outcome, unsigned entry) {
  const std::vector<unsigned>& left = outcome.unmeasuredEntries;
  return !std::binary_search(left.begin(), left.end(), entry);
}

std::string levelFigures(const QA_AudioLevels& record, const QACheckOutcome& outcome) {
  std::string text;
  std::string outside;
  for (uint32_t i = 0; i < record.count; ++i) {
    const QA_ChannelLevel& level = record.levels[i];
    const bool measured = isMeasured(outcome, i);
    const std::string found =
        channelName(level) + " " + (measured ? extremesOf(level) : "not measured");
    level.channelNumber == 0 ? add(text, "; ", streamName(level) + ": " + found)
                             : add(text, ", ", found);
    if (measured && !isSilent(level)) {
      add(outside, ", ", trespasses(level, outcome.limits));
    }
  }
  add(text, "; ", outside.empty() ? "" : "outside: " + outside);
  add(text, "; ", shortfall(outcome, "blocks"));
  return text;
}

bool hasBand(const QACheckOutcome& outcome) {
  return std::any_of(outcome.limits.begin(), outcome.limits.end(),
                     [](const QALimits& pair) { return pair.min < pair.max; });
}

std::string loudnessFigures(const QA_Loudness& record, const QACheckOutcome& outcome) {
  std::string text = quantity(record.loudness, kLoudnessUnits);
  if (record.loudness == -std::numeric_limits<double>::infinity()) {
    text += " (silence)";
  }
  text += " over " + quantity(outcome.endSeconds - outcome.startSeconds, kSeconds) + " from " +
          quantity(outcome.startSeconds, kSeconds);
  if (hasBand(outcome)) {
    const QALimits& band = outcome.limits.front();
    text += ", band " + std::to_string(band.min) + " to " + std::to_string(band.max);
  } else {
    text += "; no band is set (LoudnessMinThreshold, LoudnessMaxThreshold)";
  }
  add(text, "; ", shortfall(outcome, "blocks"));
  return text;
}

std::string monoFigures(const QACheckOutcome& outcome) {
  std::string text = quantity(figure(outcome, "matchingBlocks"), kCodeValues) + " of " +
                     std::to_string(outcome.count) + " blocks carry one signal, limit " +
                     percent(figure(outcome, "threshold"));
  add(text, "; ", shortfall(outcome, "blocks"));
  return text;
}

std::string fieldFigures(const QA_FieldDominance& record, const std::string& frameType,
                         const std::string& fieldType, const QACheckOutcome& outcome) {
  std::string text =
      record.frameType == QA_FRAME_TYPE_UNKNOWN ? "neither interlaced nor progressive" : frameType;
  if (record.frameType == QA_FRAME_TYPE_INTERLACED) {
    text += record.fieldType == QA_FIELD_TYPE_UNKNOWN ? ", no field usually first"
                                                      : ", " + fieldType + " field first";
  }
  text += " (" + plain(figure(outcome, "interlaced")) + " of " + counted(outcome.count, "frame") +
          " flagged interlaced, " + plain(figure(outcome, "topFieldFirst")) + " top field first)";
  add(text, "; ", shortfall(outcome, "frames"));
  return text;
}

std::string pulldownFigures(const QA_PullDown& record, const QACheckOutcome& outcome) {
  const std::string in23 = plain(figure(outcome, "groups23"));
  const std::string in22 = plain(figure(outcome, "groups22"));
  // The confidence is a share of these, whether or not all of them came.
  const double groups = static_cast<double>(outcome.budget) / kFramesOfAGroup;
  std::string text;
  if (!record.detected) {
    text = "no cadence detected: 2:3 in " + in23 + " and 2:2 in " + in22;
  } else if (record.cadenceSecond == 3) {
    text = "2:3 pulldown, or a still picture, in " + in23;
  } else {
    text = "2:2, no repeated fields, in " + in22;
  }
  text += " of " + plain(groups) + " " + pluralOf("group", groups) + " of five frames";
  add(text, "; ", shortfall(outcome, "frames"));
  return text;
}

std::string tearingFigures(const QACheckOutcome& outcome) {
  const double mean = std::round(10000.0 * figure(outcome, "meanShare")) / 10000.0;
  std::string text = percent(mean) + " of the picture torn on average, at most " +
                     plain(figure(outcome, "highestPercent")) + " % in a frame (limit " +
                     percent(figure(outcome, "threshold")) + ")";
  add(text, "; ", shortfall(outcome, "frames"));
  return text;
}

std::string timecodeFigures(const QACheckOutcome& outcome) {
  const int last = outcome.count - 1;
  const int rate = static_cast<int>(figure(outcome, "nominalRate"));
  std::string text = counted(outcome.count, "frame") + ", " + getTimeCode(0, false, rate) + " to " +
                     getTimeCode(last, false, rate) + " (drop-frame to " +
                     getTimeCode(last, true, rate) + ")";
  add(text, "; ", shortfall(outcome, "frames"));
  return text;
}

std::string transitionFigures(const QACheckOutcome& outcome) {
  const std::vector<double> times = figures(outcome, "transitionSeconds");
  const std::size_t shown = std::min(times.size(), kMostTimes);
  std::string text = times.empty()
                         ? "no transitions"
                         : counted(static_cast<int>(times.size()), "transition") + ", at ";
  for (std::size_t i = 0; i < shown; ++i) {
    const bool isLast = i + 1 == times.size();
    text += (i == 0 ? "" : isLast ? " and " : ", ") + quantity(times[i], kSeconds);
  }
  if (times.size() > shown) {
    text += " and " + std::to_string(times.size() - shown) + " more";
  }
  add(text, "; ", shortfall(outcome, "frames"));
  return text;
}

std::string phaseFigures(const QACheckOutcome& outcome) {
  std::string text = "mean lag " + quantity(figure(outcome, "meanLag"), kSamples) + ", limit " +
                     std::to_string(outcome.limits.at(0).max);
  add(text, "; ", shortfall(outcome, "blocks"));
  return text;
}

}  // namespace cli
