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
constexpr const char* kNotUsed = "the line is not used";
constexpr const char* kSeverityPrefix = "Severity.";

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

/// What a key of a settings file is: a row, or, where there is none, the severity of a check.
using KnownKeys = std::map<std::string, const QASetting*, std::less<>>;

KnownKeys knownKeys() {
  KnownKeys known;
  const auto add = [&](std::span<const QASetting> settings) {
    for (const QASetting& setting : settings) {
      known.emplace(setting.key, &setting);
    }
  };
  add(testerSettings());
  for (const QACheck* check : allChecks()) {
    add(check->settings);
    known.emplace(std::string(kSeverityPrefix) + check->name, nullptr);
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

/// What is wrong, and what holds instead. Both empty when nothing is wrong.
struct Remark {
  std::string problem = {};
  std::string holds = {};

  bool isEmpty() const { return problem.empty(); }
};

bool isSeverity(const std::string& text) {
  const std::vector<std::string> words = severityWords();
  return std::find(words.begin(), words.end(), text) != words.end();
}

Remark severityRemark(const std::string& text) {
  if (isSeverity(text)) {
    return {};
  }
  std::string words;
  for (const std::string& word : severityWords()) {
    words += (words.empty() ? "" : ", ") + word;
  }
  const std::string problem = text.empty() ? "no value" : quoted(text) + " is no severity";
  return {problem + " (" + words + ")", "the check's own holds"};
}

Remark valueRemark(const QASetting& setting, const std::string& text) {
  if (setting.kind == QASetting::Kind::text) {
    const bool lost = text.empty() && setting.defaultValue[0] != '\0';
    return lost ? Remark{"no value", "the default " + defaultText(setting) + " holds"} : Remark{};
  }
  if (text.empty()) {
    return {"no value", "the default " + defaultText(setting) + " holds"};
  }
  const Reading reading = read(setting, text);
  const std::string holds = numberText(setting, reading.held) + " holds";
  if (!reading.clean) {
    const bool whole = setting.kind == QASetting::Kind::whole;
    return {quoted(text) + (whole ? " is no whole number" : " is no number"), holds};
  }
  if (reading.held != reading.value) {
    const std::string range = rangeText(setting);
    return {quoted(text) + " is out of range" + (range.empty() ? "" : " (" + range + ")"), holds};
  }
  return {};
}

Remark unknownRemark(const KnownKeys& known, const std::string& key) {
  if (key.empty()) {
    return {"no key before '='", kNotUsed};
  }
  const std::string lower = lowerCase(key);
  std::string nearest;
  std::size_t fewest = std::min(kFewEdits, key.size() / 2) + 1;
  for (const auto& [name, setting] : known) {
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
  std::string problem = quoted(key) + " is no key";
  if (!nearest.empty()) {
    problem += fewest == 0 ? ", it is written " + nearest : ", perhaps " + nearest;
  }
  return {problem, kNotUsed};
}

/// Of a key that is known or not, and its value.
Remark remarkOn(const KnownKeys& known, const std::string& key, const std::string& value) {
  const auto found = known.find(key);
  if (found == known.end()) {
    return unknownRemark(known, key);
  }
  Remark remark =
      found->second != nullptr ? valueRemark(*found->second, value) : severityRemark(value);
  if (!remark.isEmpty()) {
    remark.problem = key + ": " + remark.problem;
  }
  return remark;
}

class Review {
 public:
  Remark of(const std::string& line, int number) {
    const bool marked = number == 1 && line.rfind(kByteOrderMark, 0) == 0;
    const std::string content = withoutBlanks(marked ? line.substr(3) : line);
    if (content.empty() || content[0] == '#') {
      return {};
    }
    const auto equals = std::count(line.begin(), line.end(), '=');
    if (equals != 1) {
      return {quoted(content) + " has " + (equals == 0 ? "no" : "more than one") + " '='",
              kNotUsed};
    }
    const std::size_t middle = line.find('=');
    const std::string key = withoutBlanks(line.substr(0, middle));
    const std::string value = withoutBlanks(line.substr(middle + 1));
    if (marked) {
      return {"a byte order mark stands before " + quoted(withoutBlanks(key.substr(3))), kNotUsed};
    }
    if (known_.count(key) > 0) {
      const auto [first, isFirst] = lines_.emplace(key, number);
      if (!isFirst) {
        return {key + " again", "line " + std::to_string(first->second) + " holds"};
      }
    }
    return remarkOn(known_, key, value);
  }

 private:
  const KnownKeys known_ = knownKeys();
  /// Of the first entry of each key.
  std::map<std::string, int> lines_;
};

}  // namespace

std::string whyNoSetting(const std::string& text) {
  const std::size_t middle = text.find('=');
  if (middle == std::string::npos) {
    return quoted(text) + " has no '='";
  }
  return remarkOn(knownKeys(), withoutBlanks(text.substr(0, middle)),
                  withoutBlanks(text.substr(middle + 1)))
      .problem;
}

std::vector<SettingsRemark> reviewSettings(std::istream& file, std::size_t most) {
  std::vector<SettingsRemark> remarks;
  Review review;
  std::string line;
  for (int number = 1; remarks.size() < most && std::getline(file, line); ++number) {
    const Remark remark = review.of(line, number);
    if (!remark.isEmpty()) {
      remarks.push_back({number, remark.problem + ": " + remark.holds});
    }
  }
  return remarks;
}

}  // namespace cli
