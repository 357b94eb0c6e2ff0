#include "SettingsReview.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>

#include "Lists.h"
#include "tester/QACheck.h"

namespace cli {

namespace {

constexpr std::size_t kLongestQuote = 40;
/// Keys that differ in more characters are not taken for each other.
constexpr std::size_t kFewEdits = 3;
constexpr const char* kByteOrderMark = "\xef\xbb\xbf";

std::string withoutBlanks(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  const std::size_t last = text.find_last_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

std::string quoted(const std::string& text) {
  return "'" + (text.size() > kLongestQuote ? text.substr(0, kLongestQuote) + "..." : text) + "'";
}

std::string lowerCase(std::string text) {
  for (char& letter : text) {
    letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
  }
  return text;
}

/// How many characters must be added, left out or changed to make one text the other.
std::size_t editsBetween(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  for (std::size_t k = 0; k <= other.size(); ++k) {
    row[k] = k;
  }
  for (std::size_t i = 1; i <= one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t k = 1; k <= other.size(); ++k) {
      const std::size_t changed = diagonal + (one[i - 1] == other[k - 1] ? 0 : 1);
      diagonal = row[k];
      row[k] = std::min({row[k] + 1, row[k - 1] + 1, changed});
    }
  }
  return row.back();
}

std::map<std::string, const QASetting*, std::less<>> knownSettings() {
  std::map<std::string, const QASetting*, std::less<>> known;
  const auto add = [&](std::span<const QASetting> settings) {
    for (const QASetting& setting : settings) {
      known.emplace(setting.key, &setting);
    }
  };
  add(testerSettings());
  for (const QACheck* check : allChecks()) {
    add(check->settings);
  }
  return known;
}

/// A value as the library reads it.
struct Reading {
  /// The number that the text begins with; 0 where it begins with none.
  double value = 0.0;
  /// The nearest one that the setting may have: what holds.
  double held = 0.0;
  /// There is nothing but the number.
  bool clean = false;
};

Reading read(const QASetting& setting, const std::string& text) {
  const char* begin = text.c_str();
  char* end = nullptr;
  Reading reading;
  if (setting.kind == QASetting::Kind::whole) {
    reading.value = static_cast<double>(std::strtol(begin, &end, 10));
    // What is too large for an int comes out as another number.
    reading.held = std::atoi(begin);
  } else {
    reading.value = reading.held = std::strtod(begin, &end);
  }
  reading.held = std::clamp(reading.held, setting.min, setting.max);
  reading.clean = end != begin && end == begin + text.size() && std::isfinite(reading.value);
  return reading;
}

std::string numberText(const QASetting& setting, double value) {
  char text[32];
  std::snprintf(text, sizeof text, setting.kind == QASetting::Kind::whole ? "%.0f" : "%g", value);
  return text;
}

/// What is wrong with a value; empty when nothing is.
std::string valueRemark(const QASetting& setting, const std::string& text) {
  if (text.empty()) {
    return "no value: the default " + defaultText(setting) + " holds";
  }
  const Reading reading = read(setting, text);
  const std::string holds = ": " + numberText(setting, reading.held) + " holds";
  if (!reading.clean) {
    const bool whole = setting.kind == QASetting::Kind::whole;
    return quoted(text) + (whole ? " is no whole number" : " is no number") + holds;
  }
  if (reading.held != reading.value) {
    const std::string range = rangeText(setting);
    return quoted(text) + " is out of range" + (range.empty() ? "" : " (" + range + ")") + holds;
  }
  return "";
}

class Review {
 public:
  /// What is to be said of a line; empty when nothing is.
  std::string remarkOn(std::string line, int number) {
    const bool marked = number == 1 && line.rfind(kByteOrderMark, 0) == 0;
    const std::string content = withoutBlanks(marked ? line.substr(3) : line);
    if (content.empty() || content[0] == '#') {
      return "";
    }
    const auto equals = std::count(line.begin(), line.end(), '=');
    if (equals != 1) {
      return quoted(content) + " has " + (equals == 0 ? "no" : "more than one") +
             " '=': the line is not used";
    }
    const std::size_t middle = line.find('=');
    const std::string key = withoutBlanks(line.substr(0, middle));
    const std::string value = withoutBlanks(line.substr(middle + 1));
    if (marked) {
      return "a byte order mark stands before " + quoted(withoutBlanks(key.substr(3))) +
             ": the line is not used";
    }
    const auto known = known_.find(key);
    if (known == known_.end()) {
      return unknownRemark(key);
    }
    const auto [first, isFirst] = lines_.emplace(key, number);
    if (!isFirst) {
      return key + " again: line " + std::to_string(first->second) + " holds";
    }
    const std::string remark = valueRemark(*known->second, value);
    return remark.empty() ? "" : key + ": " + remark;
  }

 private:
  std::string unknownRemark(const std::string& key) const {
    if (key.empty()) {
      return "no key before '=': the line is not used";
    }
    const std::string lower = lowerCase(key);
    std::string nearest;
    std::size_t fewest = std::min(kFewEdits, key.size() / 2) + 1;
    for (const auto& [name, setting] : known_) {
      // Lengths that differ by more need more edits.
      if (name.size() + fewest <= key.size() || key.size() + fewest <= name.size()) {
        continue;
      }
      const std::size_t edits = editsBetween(lower, lowerCase(name));
      if (edits < fewest) {
        fewest = edits;
        nearest = name;
      }
    }
    std::string text = quoted(key) + " is no key";
    if (!nearest.empty()) {
      text += fewest == 0 ? ", it is written " + nearest : ", perhaps " + nearest;
    }
    return text + ": the line is not used";
  }

  const std::map<std::string, const QASetting*, std::less<>> known_ = knownSettings();
  /// Of the first entry of each key.
  std::map<std::string, int> lines_;
};

}  // namespace

std::vector<SettingsRemark> reviewSettings(std::istream& file, std::size_t most) {
  std::vector<SettingsRemark> remarks;
  Review review;
  std::string line;
  for (int number = 1; remarks.size() < most && std::getline(file, line); ++number) {
    std::string text = review.remarkOn(line, number);
    if (!text.empty()) {
      remarks.push_back({number, std::move(text)});
    }
  }
  return remarks;
}

}  // namespace cli
