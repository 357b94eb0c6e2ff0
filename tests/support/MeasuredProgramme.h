#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Settings.h"
#include "media/Programme.h"
#include "tester/CheckContext.h"
#include "tester/ProgrammeRun.h"
#include "tester/QACheck.h"
#include "visual/Displays.h"

namespace qatest {

/// Settings as keys and values.
using CheckSettings = std::vector<std::pair<std::string, std::string>>;

/// What a programme check comes to on a file of these facts. `give` calls
/// the consumer from `begin` to `end`. Throws what ended the check.
inline QACheckOutcome measureProgramme(
    const std::string& checkName, const CheckSettings& settings,
    const qatester::ProgrammeFacts& facts,
    const std::function<qatester::ProgrammeEnd(qatester::ProgrammeConsumer&)>& give,
    QAMeasurementSink* sink = nullptr) {
  const std::string fileName;
  Settings store(nullptr, nullptr);
  store.SetOverrides(settings);
  qatester::Displays displays(QADisplays::nowhere, false, "", {});
  QATesterOptions options;
  options.measurements = sink;
  const qatester::CheckContext context{fileName, nullptr, nullptr, &store, displays, 0, options};
  const QACheck* check = findCheck(checkName);
  if (check == nullptr) {
    throw std::invalid_argument("no check is called " + checkName);
  }
  const std::unique_ptr<qatester::CheckRun> made = check->make(context);
  qatester::ProgrammeRun& run = *made->asProgramme();
  run.begin();
  run.open(facts);
  if (run.hasEnded()) {
    return run.outcome();
  }
  const qatester::MakeShared make = run.consumer().sharedBy();
  if (make == nullptr) {
    run.finish(give(run.consumer()));
    return run.outcome();
  }
  const std::unique_ptr<qatester::SharedConsumer> engine = make(context);
  engine->add(run.consumer());
  const qatester::ProgrammeEnd end = give(*engine);
  if (const std::exception_ptr error = engine->errorOf(run.consumer())) {
    std::rethrow_exception(error);
  }
  run.finish(end);
  return run.outcome();
}

}  // namespace qatest
