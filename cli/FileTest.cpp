#include "FileTest.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>
#include <span>

#include "Preflight.h"
#include "tester/QATester.h"

namespace cli {

namespace {

std::string reasonOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& known) {
    return known.what();
  } catch (...) {
    return "unknown error";
  }
}

class Testing {
 public:
  Testing(FileReport& file, const FileTest& test,
          const std::function<void(const std::string& text)>& complain)
      : file_(file), test_(test), complain_(complain) {}

  bool execute() {
    file_.profile = test_.options.profile;
    file_.begun = std::time(nullptr);
    const auto begun = std::chrono::steady_clock::now();
    const Preflight preflight = inspectMedia(file_.file);
    if (!preflight.problem.empty()) {
      markUnreadable(preflight.problem);
    }
    bool done = true;
    if (preflight.mayBlock) {
      addUnmeasured(preflight.problem);
    } else {
      // Also a file that cannot be opened: the library has words for the log, and the records of
      // checks that could not run.
      done = runChecks();
    }
    if (!file_.error.empty()) {
      for (QACheckOutcome& outcome : file_.checks) {
        outcome.state = QAState::notMeasured;
        outcome.reason = file_.error;
      }
    }
    file_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    return done;
  }

 private:
  bool runChecks() {
    std::vector<std::string> names;
    for (const QACheck* check : test_.checks) {
      names.emplace_back(check->name);
    }
    QATesterOptions options = test_.options;
    options.outcome = [this](const QACheckOutcome& outcome) {
      if (outcome.reasonIsOfFile && !outcome.opened) {
        markUnreadable(outcome.reason);
      }
    };
    if (file_.error.empty() && options.progress) {
      options.progress({names.front(), 0, 0, {}});
    }
    bool done = true;
    try {
      QATester tester(file_.file.c_str(), nullptr, test_.settings.c_str(), test_.log.c_str(),
                      options);
      file_.checks = tester.runChecks(names);
      file_.facts = tester.fileFacts();
      addSettings(tester);
    } catch (const std::exception&) {
      const std::string reason = reasonOf(std::current_exception());
      done = false;
      complain_(file_.file + ": " + reason);
      addUnmeasured(reason);
    }
    for (const QACheckOutcome& outcome : file_.checks) {
      if (outcome.error != nullptr) {
        complain_(file_.file + ": " + outcome.name + ": " + reasonOf(outcome.error));
      }
    }
    return done;
  }

  void addSettings(const QATester& tester) {
    const auto add = [&](const std::string& check, std::span<const QASetting> rows) {
      for (const QASetting& row : rows) {
        const std::string value = tester.settingOf(row);
        file_.settings.push_back({check, &row, value, isDefault(row, value)});
      }
    };
    add("", testerSettings());
    for (const QACheck* check : test_.checks) {
      add(check->name, check->settings);
    }
  }

  static bool isDefault(const QASetting& row, const std::string& value) {
    return row.kind == QASetting::Kind::text
               ? value == row.defaultValue
               : std::strtof(value.c_str(), nullptr) == std::strtof(row.defaultValue, nullptr);
  }

  void markUnreadable(const std::string& reason) {
    if (file_.error.empty()) {
      file_.error = reason;
      complain_(file_.file + ": " + reason);
    }
  }

  /// None of the checks could be run.
  void addUnmeasured(const std::string& reason) {
    for (const QACheck* check : test_.checks) {
      QACheckOutcome& outcome = file_.checks.emplace_back();
      outcome.name = check->name;
      outcome.tag = check->tag;
      outcome.reason = reason;
    }
  }

  FileReport& file_;
  const FileTest& test_;
  const std::function<void(const std::string& text)>& complain_;
};

}  // namespace

std::vector<const QACheck*> checksLeftOn(const FileTest& test) {
  QATesterOptions quiet;
  quiet.lookup = test.options.lookup;
  quiet.profile = test.options.profile;
  quiet.settings = test.options.settings;
  quiet.displays = QADisplays::nowhere;
  quiet.console = [](const std::string&) {};
  const QATester tester("", nullptr, test.settings.c_str(), "", quiet);
  std::vector<const QACheck*> checks;
  for (const QACheck* check : allChecks()) {
    if (tester.severityOf(*check) != QASeverity::off) {
      checks.push_back(check);
    }
  }
  return checks;
}

bool testFile(FileReport& file, const FileTest& test,
              const std::function<void(const std::string& text)>& complain) {
  return Testing(file, test, complain).execute();
}

}  // namespace cli
