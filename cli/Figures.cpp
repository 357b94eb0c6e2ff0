#include "Figures.h"

#include <cstdint>
#include <cstdio>

namespace cli {

namespace {

void add(std::string& list, const char* separator, const std::string& item) {
  if (!item.empty()) {
    list += (list.empty() ? "" : separator) + item;
  }
}

/// What a value that lies `excess` beyond a limit does; empty for one inside it. A value on the
/// limit is none: the limits are strict.
std::string trespass(char channel, int64_t excess, const char* side, int limit) {
  const std::string name(1, channel);
  if (excess < 0) {
    return "";
  }
  return excess == 0
             ? name + " on the limit " + std::to_string(limit)
             : name + " " + std::to_string(excess) + " " + side + " " + std::to_string(limit);
}

std::string trespasses(const Channel& channel, const std::vector<QALimits>& limits) {
  std::string list;
  for (const QALimits& pair : limits) {
    if (pair.channels.find(channel.name) != std::string::npos) {
      add(list, ", ", trespass(channel.name, int64_t{pair.min} - channel.min, "below", pair.min));
      add(list, ", ", trespass(channel.name, int64_t{channel.max} - pair.max, "above", pair.max));
    }
  }
  return list;
}

}  // namespace

std::string fps(float rate) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f fps", static_cast<double>(rate));
  return text;
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

}  // namespace cli
