#include "Reports.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "CsvReport.h"
#include "EdlReport.h"
#include "ExitCode.h"
#include "JUnitReport.h"
#include "Preflight.h"
#include "Report.h"

namespace cli {

namespace {

/// Edit decision lists are of one file each: of several files they go to a folder.
bool edlsGoToFolder(const Options& options) {
  std::error_code none;
  return !options.edl.empty() && (options.files.size() > 1 || options.edl.back() == '/' ||
                                  std::filesystem::is_directory(options.edl, none));
}

/// As folders of displays are named.
std::string edlInFolder(const Options& options, const std::string& file, std::size_t number) {
  const std::string name = std::filesystem::path(file).filename().string();
  return (std::filesystem::path(options.edl) / (std::to_string(number) + "-" + name + ".edl"))
      .string();
}

/// The list of a file; throws std::runtime_error with the reason where there can be none.
std::string edlOf(const FileReport& file) {
  const std::string reason = whyNoEdl(file);
  if (!reason.empty()) {
    throw std::runtime_error(file.file + ": " + reason);
  }
  return edlText(file);
}

}  // namespace

std::vector<OutputTarget> outputTargets(const Options& options) {
  std::vector<OutputTarget> targets;
  for (const auto& [option, path] :
       {std::pair("--log", &options.log), std::pair("--json", &options.json),
        std::pair("--junit", &options.junit), std::pair("--csv", &options.csv),
        std::pair("--csv-events", &options.csvEvents)}) {
    if (!path->empty() && *path != kStandardOutput) {
      targets.push_back({option, *path});
    }
  }
  if (edlsGoToFolder(options)) {
    for (std::size_t i = 0; i < options.files.size(); ++i) {
      targets.push_back({"--edl", edlInFolder(options, options.files[i], i + 1)});
    }
  } else if (!options.edl.empty() && options.edl != kStandardOutput) {
    targets.push_back({"--edl", options.edl});
  }
  return targets;
}

bool reportsToStandardOutput(const Options& options) {
  const std::string* const targets[] = {&options.json, &options.junit, &options.csv,
                                        &options.csvEvents, &options.edl};
  return std::any_of(std::begin(targets), std::end(targets),
                     [](const std::string* target) { return *target == kStandardOutput; });
}

Reports::Reports(const Options& options, std::function<void(const std::string& text)> complain)
    : options_(options), complain_(std::move(complain)), writesFolder_(edlsGoToFolder(options)) {
  const Demands demands{options.checksNamed, options.warningsFail};
  add(options.json, [](const auto& files) { return reportText(files); });
  add(options.junit, [=](const auto& files) { return junitText(files, demands); });
  add(options.csv, [=](const auto& files) { return csvText(files, demands); });
  add(options.csvEvents, [](const auto& files) { return csvEventsText(files); });
  if (!writesFolder_) {
    add(options.edl, [](const auto& files) {
      return files.empty() ? std::nullopt : std::optional(edlOf(files.front()));
    });
  }
}

void Reports::add(const std::string& target, Text text) {
  if (!target.empty()) {
    reports_.push_back({target, std::move(text)});
  }
}

bool Reports::open() {
  const std::size_t asked = reports_.size() + (writesFolder_ ? 1 : 0);
  std::erase_if(reports_, [&](Report& report) {
    return report.target != kStandardOutput && !attempt(report.target, [&] {
             report.file = std::make_unique<ReportFile>(report.target);
           });
  });
  if (writesFolder_) {
    writesFolder_ = attempt(options_.edl, [&] {
      const std::string problem = whyNoFolder(options_.edl);
      if (!problem.empty()) {
        throw std::runtime_error(problem);
      }
    });
  }
  return asked == 0 || !reports_.empty() || writesFolder_;
}

void Reports::writeOf(const FileReport& file, std::size_t number) {
  if (writesFolder_) {
    const std::string target = edlInFolder(options_, file.file, number);
    attempt(target, [&] { ReportFile(target).commit(edlOf(file)); });
  }
}

void Reports::write(const std::vector<FileReport>& files, Output& out) {
  for (Report& report : reports_) {
    attempt(report.target, [&] {
      const std::optional<std::string> text = report.text(files);
      if (!text) {
        return;
      }
      if (report.file != nullptr) {
        report.file->commit(*text);
      } else {
        out.write(*text);
      }
    });
    report.file = nullptr;
  }
}

bool Reports::attempt(const std::string& target, const std::function<void()>& step) {
  std::string reason;
  try {
    step();
    return true;
  } catch (const std::bad_alloc&) {
    reason = "out of memory";
  } catch (const std::system_error& error) {
    reason = error.code().message();
  } catch (const std::exception& error) {
    reason = error.what();
  }
  lost_ = true;
  complain_("cannot write the report " + target + ": " + reason);
  return false;
}

}  // namespace cli
