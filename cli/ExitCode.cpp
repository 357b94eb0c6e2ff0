#include "ExitCode.h"

#include <algorithm>

#include "tester/QACheck.h"
#include "tester/QAVerdict.h"

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

bool isMissed(const QACheckOutcome& outcome, bool named) {
  const bool judges = outcome.severity == QASeverity::warn || outcome.severity == QASeverity::fail;
  return isNotMeasured(outcome) && (named || (judges && !outcome.subjectAbsent));
}

bool isTrouble(const QACheckOutcome& outcome, const FileReport& file, bool named) {
  return outcome.error != nullptr || isMissed(outcome, named) ||
         (isNotMeasured(outcome) && nothingMeasured(file));
}

bool isInTrouble(const FileReport& file, bool named) {
  return !file.error.empty() ||
         std::any_of(file.checks.begin(), file.checks.end(), [&](const QACheckOutcome& outcome) {
           return isTrouble(outcome, file, named);
         });
}

int exitCodeOfSignal(int signal) {
  return 128 + signal;
}

int exitCode(const std::vector<FileReport>& files, const Demands& demands, bool otherTrouble,
             int signal) {
  if (signal != 0) {
    return exitCodeOfSignal(signal);
  }
  const auto troubled = [&](const FileReport& file) { return isInTrouble(file, demands.named); };
  if (otherTrouble || std::any_of(files.begin(), files.end(), troubled)) {
    return kTrouble;
  }
  const auto fails = [&](const FileReport& file) {
    const QAState verdict = getVerdict(file.checks);
    return verdict == QAState::fail || (demands.warningsFail && verdict == QAState::warn);
  };
  return std::any_of(files.begin(), files.end(), fails) ? kCheckFailed : kNothingFailed;
}

}  // namespace cli
