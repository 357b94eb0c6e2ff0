#include "ExitCode.h"

#include <algorithm>

namespace cli {

namespace {

bool isFailed(const CheckReport& report) {
  return report.findings.state == State::fail;
}

bool isNotMeasured(const CheckReport& report) {
  return report.findings.state == State::notMeasured;
}

bool saysSomething(const CheckReport& report) {
  return report.check->measures && !isNotMeasured(report);
}

/// Every check that could have said something about the file went without a measurement.
bool nothingMeasured(const FileReport& file) {
  return std::any_of(file.checks.begin(), file.checks.end(), isNotMeasured) &&
         std::none_of(file.checks.begin(), file.checks.end(), saysSomething);
}

}  // namespace

int exitCodeOfSignal(int signal) {
  return 128 + signal;
}

int exitCode(const std::vector<FileReport>& files, bool outputFailed, int signal) {
  if (signal != 0) {
    return exitCodeOfSignal(signal);
  }
  const auto isInTrouble = [](const FileReport& file) {
    return !file.error.empty() || nothingMeasured(file);
  };
  if (outputFailed || std::any_of(files.begin(), files.end(), isInTrouble)) {
    return kTrouble;
  }
  const auto hasFailure = [](const FileReport& file) {
    return std::any_of(file.checks.begin(), file.checks.end(), isFailed);
  };
  return std::any_of(files.begin(), files.end(), hasFailure) ? kCheckFailed : kNothingFailed;
}

}  // namespace cli
