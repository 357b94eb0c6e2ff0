#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/Console.h"
#include "support/RecordingListener.h"
#include "support/TempDir.h"
#include "tester/QATester.h"

namespace qatest {

/// A tester on `file` whose listener, log and outcomes are recorded.
class LoggedTester {
 public:
  explicit LoggedTester(const std::string& file, QATesterOptions options = {},
                        const std::string& settings = "") {
    const std::string settingsFile = settings.empty() ? "" : folder_.file("qa.settings");
    if (!settings.empty()) {
      writeFile(settingsFile, settings);
    }
    options.outcome = [this](const QACheckOutcome& outcome) { outcomes.push_back(outcome); };
    consoleOutputOf([&] {
      tester = std::make_unique<QATester>(file.c_str(), &listener, settingsFile.c_str(),
                                          log_.c_str(), options);
    });
    header_ = readFile(log_).size();
  }

  /// Runs `check` on the tester with the console kept quiet, and returns its result.
  template <typename Check>
  auto run(Check check) {
    decltype(check(*tester)) result{};
    consoleOutputOf([&] { result = check(*tester); });
    return result;
  }

  /// What was logged behind the header, without time stamps.
  std::string logged() const {
    std::string text;
    const std::string plain = withoutTimes(readFile(log_).substr(header_));
    for (std::size_t at = 0; at < plain.size(); ++at) {
      if (plain.compare(at, 4, "[T] ") == 0) {
        at += 3;
      } else {
        text += plain[at];
      }
    }
    return text;
  }

  RecordingListener listener;
  std::vector<QACheckOutcome> outcomes;
  std::unique_ptr<QATester> tester;

 private:
  TempDir folder_;
  std::string log_ = folder_.file("report.log");
  std::size_t header_ = 0;
};

inline QATesterOptions untilReady() {
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  return options;
}

/// The settings file's values count.
inline QATesterOptions stored(QAPauses pauses = QAPauses::untilReady) {
  QATesterOptions options;
  options.pauses = pauses;
  options.lookup = QALookup::stored;
  return options;
}

}  // namespace qatest
