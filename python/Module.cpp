// The compiled half of the package qatester: plain values in, JSON text out. python/qatester has
// what people call.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Inspection.h"
#include "Lists.h"
#include "Preflight.h"
#include "SettingsReview.h"
#include "tester/QAProfile.h"
#include "tester/QAVersion.h"

namespace py = pybind11;

namespace bindings {
namespace {

/// How long a signal or a stop may have to wait.
constexpr std::chrono::milliseconds kPatience{50};

std::string knownNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

std::vector<const QACheck*> checksOf(const std::vector<std::string>& names) {
  std::vector<const QACheck*> checks;
  for (const std::string& name : names) {
    const QACheck* check = findCheck(name);
    if (check == nullptr) {
      std::vector<std::string> known;
      for (const QACheck* other : allChecks()) {
        known.emplace_back(other->name);
      }
      throw std::invalid_argument("unknown check '" + name + "'; known are: " + knownNames(known));
    }
    checks.push_back(check);
  }
  return checks;
}

/// A name that is no profile's must lead to a settings file.
void requireProfile(const std::string& profile) {
  if (profile.empty() || findProfile(profile) != nullptr) {
    return;
  }
  const std::string problem = cli::whyNotReadable(profile);
  if (!problem.empty()) {
    std::vector<std::string> known;
    for (const QAProfile& other : allProfiles()) {
      known.emplace_back(other.name);
    }
    throw std::invalid_argument("'" + profile + "' is neither a profile (" + knownNames(known) +
                                ") nor a settings file: " + problem);
  }
}

void requireSettings(const std::vector<std::pair<std::string, std::string>>& settings) {
  for (const auto& [key, value] : settings) {
    const std::string problem = cli::whyNoSetting(key + "=" + value);
    if (!problem.empty()) {
      throw std::invalid_argument(problem);
    }
  }
}

/// What is asked for. Empty texts stand for nothing. Paths are bytes, as the system has them.
struct Request {
  std::string path;
  std::string profile;
  bool named = false;
  std::vector<std::string> checks;
  std::string settingsFile;
  std::vector<std::pair<std::string, std::string>> settings;
  int threads = 0;
  std::string displays;
};

cli::FileTest testOf(const Request& request) {
  requireProfile(request.profile);
  requireSettings(request.settings);
  cli::FileTest test;
  test.settings = request.settingsFile;
  QATesterOptions& options = test.options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.profile = request.profile;
  options.settings = request.settings;
  options.threads = request.threads;
  options.colourThreads = QAColourThreads::none;
  options.displays = request.displays.empty() ? QADisplays::nowhere : QADisplays::pictures;
  options.displayFolder = request.displays;
  options.console = [](const std::string&) {};
  test.checks = request.named ? checksOf(request.checks) : cli::checksLeftOn(test);
  if (test.checks.empty()) {
    throw std::invalid_argument(
        request.named ? "no check is named" : "nothing to do: the severity of every check is off");
  }
  return test;
}

/// Everything that is called back is called on this thread, between waits. What that throws, and a
/// signal's handler, ends the test.
std::string inspect(const Request& request, const py::object& progress, const py::object& stop,
                    const py::object& warn) {
  cli::FileTest test = testOf(request);
  std::string text;
  // The destructor waits for the end of the test, which needs no interpreter.
  struct Running {
    Inspection inspection;
    ~Running() {
      const py::gil_scoped_release free;
      inspection.stop();
      while (!inspection.wait(std::chrono::seconds(1)).finished) {
      }
    }
  } running{{request.path, std::move(test)}};
  for (bool finished = false; !finished;) {
    Inspection::News news;
    {
      const py::gil_scoped_release free;
      news = running.inspection.wait(kPatience);
    }
    finished = news.finished;
    if (PyErr_CheckSignals() != 0) {
      throw py::error_already_set();
    }
    for (const std::string& trouble : news.troubles) {
      warn(trouble);
    }
    if (!progress.is_none()) {
      for (const QAProgress& one : news.progress) {
        progress(one.check, one.percent, one.wholePercent, one.secondsLeft);
      }
    }
    if (!stop.is_none() && py::bool_(stop())) {
      running.inspection.stop();
    }
  }
  return running.inspection.report();
}

/// What is wrong with lines of a settings file: numbers of lines, and words.
std::vector<std::pair<int, std::string>> remarksOn(const std::string& path, std::size_t most) {
  std::ifstream file(path);
  std::vector<std::pair<int, std::string>> remarks;
  for (const cli::SettingsRemark& remark : cli::reviewSettings(file, most)) {
    remarks.emplace_back(remark.line, remark.text);
  }
  return remarks;
}

bool isProfile(const std::string& name) {
  return findProfile(name) != nullptr;
}

py::list checkRows() {
  py::list rows;
  for (const QACheck* check : allChecks()) {
    rows.append(py::make_tuple(check->name, getFamilyText(check->family), check->question));
  }
  return rows;
}

py::list profileRows() {
  py::list rows;
  for (const QAProfile& profile : allProfiles()) {
    rows.append(py::make_tuple(profile.name, profile.text));
  }
  return rows;
}

}  // namespace
}  // namespace bindings

PYBIND11_MODULE(_qatester, module) {
  using bindings::Request;
  module.doc() = "The compiled half of the package qatester.";
  module.attr("version") = getQATesterVersion();
  module.def("library_versions", &getQATesterLibraryVersions);
  module.def("check_rows", &bindings::checkRows);
  module.def("profile_rows", &bindings::profileRows);
  module.def("is_profile", &bindings::isProfile);
  module.def("settings_list", &cli::settingsList);
  module.def("remarks_on", &bindings::remarksOn);
  module.def(
      "inspect",
      [](const py::bytes& path, const py::bytes& profile,
         const std::optional<std::vector<std::string>>& checks, const py::bytes& settingsFile,
         std::vector<std::pair<std::string, std::string>> settings, int threads,
         const py::bytes& displays, const py::object& progress, const py::object& stop,
         const py::object& warn) {
        return bindings::inspect(
            {path, profile, checks.has_value(), checks.value_or(std::vector<std::string>()),
             settingsFile, std::move(settings), threads, displays},
            progress, stop, warn);
      },
      py::arg("path"), py::arg("profile"), py::arg("checks"), py::arg("settings_file"),
      py::arg("settings"), py::arg("threads"), py::arg("displays"), py::arg("progress"),
      py::arg("stop"), py::arg("warn"));
}
