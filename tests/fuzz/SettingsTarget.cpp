// A settings file of any bytes: what is stored, what checks read of it, and the limits they set.

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "support/CheckNames.h"
#include "tester/CheckContext.h"
#include "tester/QATester.h"

using qafuzz::MemoryFile;
using qafuzz::require;

namespace {

/// Of the tester and of every check.
std::vector<const QASetting*> allSettings() {
  std::vector<const QASetting*> all;
  for (const QASetting& setting : testerSettings()) {
    all.push_back(&setting);
  }
  for (const QACheck* check : allChecks()) {
    for (const QASetting& setting : check->settings) {
      all.push_back(&setting);
    }
  }
  return all;
}

/// And two that nobody has.
std::vector<std::string> keys() {
  std::vector<std::string> all = {"", "k"};
  for (const QASetting* setting : allSettings()) {
    all.emplace_back(setting->key);
  }
  return all;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  const std::size_t last = text.find_last_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

/// What a settings text says, worked out line by line.
struct Expected {
  explicit Expected(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find('\n', at), text.size());
      addLine(text.substr(at, end - at));
      at = end + 1;
    }
  }

  void addLine(const std::string& line) {
    if (line.empty() || line[0] == '#') {
      return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line.find('=', equals + 1) != std::string::npos) {
      ++badLines;
    } else {
      entries.emplace_back(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
  }

  /// Up to its first zero, as a client reads it.
  std::string valueOf(const std::string& key, const std::string& byDefault) const {
    for (const auto& [name, value] : entries) {
      if (name == key) {
        return value.empty() ? byDefault : value.c_str();
      }
    }
    return byDefault;
  }

  std::vector<std::pair<std::string, std::string>> entries;
  int badLines = 0;
};

std::string looked(Settings& settings, const char* key, const char* byDefault) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(key, byDefault));
  return text.get();
}

/// In single precision no number is nearer to a limit than the limit itself.
void readNumber(Settings& settings, const QASetting& setting) {
  if (setting.kind == QASetting::Kind::whole) {
    const int value = qatester::wholeSetting(settings, setting);
    require(value >= setting.min && value <= setting.max, "a whole number is within its range");
  } else {
    const float value = qatester::realSetting(settings, setting);
    require(
        !(value < static_cast<float>(setting.min)) && !(value > static_cast<float>(setting.max)),
        "a number is within its range");
  }
}

void lookUp(const std::string& text, const MemoryFile& file) {
  const Expected expected(text);
  for (const QALookup lookup : {QALookup::defaults, QALookup::stored}) {
    int reports = 0;
    Logger logger(nullptr);
    logger.SetConsole([&](const std::string&) { ++reports; });
    Settings settings(file.name().c_str(), &logger, lookup);
    require(reports == expected.badLines, "every line that is none is told, and no other");
    for (const std::string& key : keys()) {
      for (const char* byDefault : {"", "0.25"}) {
        require(looked(settings, key.c_str(), byDefault) ==
                    (lookup == QALookup::defaults ? byDefault : expected.valueOf(key, byDefault)),
                "a look-up finds what the file says");
      }
    }
    for (const QASetting* setting : allSettings()) {
      readNumber(settings, *setting);
    }
    require(looked(settings, nullptr, nullptr).empty() || lookup == QALookup::stored,
            "nothing is found by nothing");
  }
}

/// Checks read their settings, and tell their limits, before they find that there is no file.
void readAsChecks(const MemoryFile& file) {
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.displays = QADisplays::nowhere;
  options.console = [](const std::string&) {};
  QATester tester("", nullptr, file.name().c_str(), nullptr, options);
  std::map<std::string, std::vector<QALimits>> limits;
  for (const QACheckOutcome& outcome : tester.runChecks(qatest::checkNames())) {
    require(!outcome.measured, "there is no file");
    limits[outcome.name] = outcome.limits;
  }
  require(limits["tearing"].at(0).max >= 0.0 || std::isnan(limits["tearing"][0].max),
          "no part of a picture is negative");
  require(!std::isinf(limits["tearing"][0].max), "or without end");
  require(limits["chroma"].size() == 2, "colours and luma have limits");
  require(limits["gamut"].size() == 1, "colours have limits");
  require(limits["levels"].at(0).min <= 0.0 && limits["levels"][0].max <= 0.0,
          "levels are not above full scale");
  require(limits["phase"].at(0).max >= 1.0, "a lag has a limit");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const MemoryFile file(text);
  lookUp(text, file);
  readAsChecks(file);
  return 0;
}
