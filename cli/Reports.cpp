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
#include "PageReport.h"
#include "Preflight.h"
#include "QcToolsReport.h"
#include "Report.h"
#include "SeriesReport.h"

namespace cli {

namespace {

Demands demandsOf(const Options& options) {
  return {options.checksNamed, options.warningsFail};
}

/// The list of a file; throws std::runtime_error with the reason where there can be none.
std::string edlOf(const FileReport& file, const Demands&) {
  const std::string reason = whyNoEdl(file);
  if (!reason.empty()) {
    throw std::runtime_error(file.file + ": " + reason);
  }
  return edlText(file);
}

std::string seriesOf(const FileReport& file, const Demands&) {
  if (!file.error.empty() || file.series == nullptr) {
    throw std::runtime_error(file.file + ": it could not be read");
  }
  return compressed(seriesText(*file.series));
}

std::string qctoolsOf(const FileReport& file, const Demands&) {
  if (!file.error.empty() || file.series == nullptr) {
    throw std::runtime_error(file.file + ": it could not be read");
  }
  return qctoolsText(file.facts, *file.series);
}

}  // namespace

/// A report of one file: of several files they go to a folder.
struct FileKind {
  const char* option;
  std::string Options::*target;
  const char* ending;
  std::string (*text)(const FileReport& file, const Demands& demands);
  /// In a folder, a file with links to all of them; null: none.
  const char* indexName = nullptr;
  std::string (*index)(const std::vector<PageLink>& links, const Demands& demands) = nullptr;

  const std::string& targetIn(const Options& options) const { return options.*target; }

  bool goesToFolder(const Options& options) const {
    const std::string& its = targetIn(options);
    std::error_code none;
    return !its.empty() && (options.files.size() > 1 || its.back() == '/' ||
                            std::filesystem::is_directory(its, none));
  }

  /// As folders of displays are named.
  std::string nameInFolder(const std::string& file, std::size_t number) const {
    return std::to_string(number) + "-" + std::filesystem::path(file).filename().string() + ending;
  }
  std::string inFolder(const Options& options, const std::string& file, std::size_t number) const {
    return (std::filesystem::path(targetIn(options)) / nameInFolder(file, number)).string();
  }
  std::string indexIn(const Options& options) const {
    return (std::filesystem::path(targetIn(options)) / indexName).string();
  }
};

namespace {

constexpr FileKind kFileKinds[] = {
    {"--edl", &Options::edl, ".edl", edlOf},
    {"--series", &Options::series, ".csv.gz", seriesOf},
    {"--qctools", &Options::qctools, ".qctools.xml.gz", qctoolsOf},
    {"--html", &Options::html, ".html", pageText, "index.html", pageIndexText}};

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
  for (const FileKind& kind : kFileKinds) {
    const std::string& target = kind.targetIn(options);
    if (kind.goesToFolder(options)) {
      for (std::size_t i = 0; i < options.files.size(); ++i) {
        targets.push_back({kind.option, kind.inFolder(options, options.files[i], i + 1)});
      }
      if (kind.index != nullptr) {
        targets.push_back({kind.option, kind.indexIn(options)});
      }
    } else if (!target.empty() && target != kStandardOutput) {
      targets.push_back({kind.option, target});
    }
  }
  return targets;
}

bool reportsToStandardOutput(const Options& options) {
  const std::string* const targets[] = {&options.json,      &options.junit, &options.csv,
                                        &options.csvEvents, &options.edl,   &options.series,
                                        &options.qctools,   &options.html};
  return std::any_of(std::begin(targets), std::end(targets),
                     [](const std::string* target) { return *target == kStandardOutput; });
}

Reports::Reports(const Options& options, std::function<void(const std::string& text)> complain)
    : options_(options), complain_(std::move(complain)) {
  const Demands demands = demandsOf(options);
  add(options.json, [](const auto& files) { return reportText(files); });
  add(options.junit, [=](const auto& files) { return junitText(files, demands); });
  add(options.csv, [=](const auto& files) { return csvText(files, demands); });
  add(options.csvEvents, [](const auto& files) { return csvEventsText(files); });
  for (const FileKind& kind : kFileKinds) {
    if (kind.goesToFolder(options)) {
      folders_.push_back(&kind);
      continue;
    }
    add(kind.targetIn(options), [&kind, demands](const auto& files) {
      return files.empty() ? std::nullopt : std::optional(kind.text(files.front(), demands));
    });
  }
}

void Reports::add(const std::string& target, Text text) {
  if (!target.empty()) {
    reports_.push_back({target, std::move(text)});
  }
}

bool Reports::open() {
  const std::size_t asked = reports_.size() + folders_.size();
  std::erase_if(reports_, [&](Report& report) {
    return report.target != kStandardOutput && !attempt(report.target, [&] {
             report.file = std::make_unique<ReportFile>(report.target);
           });
  });
  std::erase_if(folders_, [&](const FileKind* kind) {
    const std::string& folder = kind->targetIn(options_);
    return !attempt(folder, [&] {
      const std::string problem = whyNoFolder(folder);
      if (!problem.empty()) {
        throw std::runtime_error(problem);
      }
    });
  });
  return asked == 0 || !reports_.empty() || !folders_.empty();
}

void Reports::writeOf(const FileReport& file, std::size_t number) {
  for (const FileKind* kind : folders_) {
    const std::string target = kind->inFolder(options_, file.file, number);
    if (attempt(target,
                [&] { ReportFile(target).commit(kind->text(file, demandsOf(options_))); })) {
      written_[kind].insert(number);
    }
  }
}

void Reports::writeIndex(const FileKind& kind, const std::vector<FileReport>& files) {
  std::vector<PageLink> links;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const bool isThere = written_[&kind].count(i + 1) > 0;
    links.push_back({&files[i], isThere ? kind.nameInFolder(files[i].file, i + 1) : ""});
  }
  ReportFile(kind.indexIn(options_)).commit(kind.index(links, demandsOf(options_)));
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
  for (const FileKind* kind : folders_) {
    if (kind->index != nullptr) {
      attempt(kind->indexIn(options_), [&] { writeIndex(*kind, files); });
    }
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
