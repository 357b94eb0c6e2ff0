#include "tester/Words.h"

#include <cmath>
#include <cstdio>

namespace qatester {

namespace {

void addCounts(QACheckOutcome& outcome, const char* count, const char* budget) {
  if (outcome.began) {
    outcome.values.push_back({count, int64_t{outcome.count}, ""});
    outcome.values.push_back({budget, int64_t{outcome.budget}, ""});
  }
}

}  // namespace

void addWords(std::string& list, const char* separator, const std::string& item) {
  if (!item.empty()) {
    list += (list.empty() ? "" : separator) + item;
  }
}

std::string quantity(double value, const Unit& unit) {
  if (std::isnan(value)) {
    return std::string("nan") + unit.text;  // whatever its sign
  }
  char text[512];
  std::snprintf(text, sizeof text, "%.*f%s", unit.decimals, value, unit.text);
  return text;
}

std::string plain(double value) {
  constexpr double kAllDigits = 1e15;
  if (value == std::floor(value) && std::abs(value) < kAllDigits) {
    return quantity(value, kCodeValues);
  }
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::string percent(double share) {
  return plain(100.0 * share) + " %";
}

std::string counted(double count, const char* noun) {
  return plain(count) + " " + noun + (count == 1.0 ? "" : "s");
}

std::string soundName(std::size_t index, std::size_t count) {
  if (count == 1) {
    return "sound";
  }
  std::string name = "audio ";
  name += std::to_string(index + 1);
  return name;
}

std::string trespass(const std::string& name, double excess, const char* side, double limit,
                     const Unit& unit) {
  if (!(excess >= 0.0)) {
    return "";
  }
  const std::string where = plain(limit) + unit.text;
  return excess == 0.0 ? name + " on the limit " + where
                       : name + " " + quantity(excess, unit) + " " + side + " " + where;
}

std::string shortfall(const QACheckOutcome& outcome, const char* unit) {
  if (outcome.count >= outcome.budget) {
    return "";
  }
  if (outcome.reachedEnd && outcome.reason.empty()) {
    return "to the end: " + std::to_string(outcome.count) + " " + unit;
  }
  // A reason beside a measurement says that some came and could not be used.
  const char* verb = outcome.reason.empty() ? " came" : " could be measured";
  return "only " + std::to_string(outcome.count) + " of " + std::to_string(outcome.budget) + " " +
         unit + verb;
}

void addFrameCounts(QACheckOutcome& outcome) {
  addCounts(outcome, "frames", "frameBudget");
}

void addBlockCounts(QACheckOutcome& outcome) {
  addCounts(outcome, "blocks", "blockBudget");
  if (outcome.measured) {
    outcome.values.push_back({"startSeconds", outcome.startSeconds, "s"});
    outcome.values.push_back({"endSeconds", outcome.endSeconds, "s"});
  }
}

}  // namespace qatester
