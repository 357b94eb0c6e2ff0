#include "ExitCode.h"

#include <algorithm>

#include "tester/QACheck.h"

namespace cli {

namespace {

bool isNotMeasured(const QACheckOutcome& outcome) {
  return outcome.state == QAState::notMeasured;
}

bool saysSomething(const QACheckOutcome& outcome) {
  const QACheck* check = findCheck(outcome.name);
  return check != nullptr && check->saysSomething && !isNotMeasured(outcome);
}

/// Every check that could have said something about the file went without a measurement.
bool nothingMeasured(const FileReport& file) {
  return std::any_of(file.checks.begin(), file.checks.end(), isNotMeasured) &&
         std::none_of(file.checks.begin(), file.checks.end(), saysSomething);
}

}  // namespace

bool hasFailure(const FileReport& file) {
  return std::any_of(file.checks.begin(), file.checks.end(),
                     [](const QACheckOutcome& outcome) { return outcome.state == QAState::fail; });
}

bool isInTrouble(const FileReport& file, bool named) {
  const auto isTrouble = [&](const QACheckOutcome& outcome) {
    return outcome.error != nullptr || (named && isNotMeasured(outcome));
  };
  return !file.error.empty() || nothingMeasured(file) ||
         std::any_of(file.checks.begin(), file.checks.end(), isTrouble);
}

int exitCodeOfSignal(int signal) {
  return 128 + signal;
}

int exitCode(const std::vector<FileReport>& files, bool named, bool otherTrouble, int signal) {
  if (signal != 0) {
    return exitCodeOfSignal(signal);
  }
  const auto troubled = [&](const FileReport& file) { return isInTrouble(file, named); };
  if (otherTrouble || std::any_of(files.begin(), files.end(), troubled)) {
    return kTrouble;
  }
  return std::any_of(files.begin(), files.end(), hasFailure) ? kCheckFailed : kNothingFailed;
}

}  // namespace cli
