#include "Run.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

#include "ExitCode.h"
#include "FileTest.h"
#include "Interrupt.h"
#include "Output.h"
#include "Preflight.h"
#include "ProgressBar.h"
#include "Reports.h"
#include "SeriesReport.h"
#include "SettingsReview.h"
#include "Table.h"
#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "tester/QAProfile.h"
#include "tester/QATesterOptions.h"

namespace cli {

namespace {

/// Of a file that is no settings file every line may be wrong.
constexpr std::size_t kMostRemarks = 20;
constexpr const char* kVisualKey = "QATesterVisual";

class Run {
 public:
  explicit Run(const Options& options)
      : options_(options),
        out_(STDOUT_FILENO),
        err_(STDERR_FILENO),
        bar_(err_, !options.quiet),
        table_(tableOutput(), options.table, options.checksNamed),
        reports_(options, [this](const std::string& text) { complain(text); }) {}

  int execute() {
    if (!prepare()) {
      return kTrouble;
    }
    for (const std::string& file : options_.files) {
      if (interrupt_.signal() != 0) {
        break;
      }
      testFile(file);
    }
    if (files_.size() > 1 && interrupt_.signal() == 0) {
      bar_.clear();
      table_.addSummary(files_);
    }
    return finish();
  }

 private:
  Output* tableOutput() {
    if (options_.quiet) {
      return nullptr;
    }
    return reportsToStandardOutput(options_) ? &err_ : &out_;
  }

  void complain(const std::string& text) {
    bar_.clear();
    err_.write("qatester: " + printable(text) + "\n");
  }

  /// Before any work: whatever would spoil its outcome.
  bool prepare() {
    if (!settingsAreReadable() || !outputsAreNoInputs() || !outputsAreDistinct() ||
        !reports_.open() || !displaysHaveAFolder() || !logIsAppendable()) {
      return false;
    }
    reviewTheSettings();
    return chooseChecks();
  }

  bool settingsAreReadable() {
    if (options_.settings.empty()) {
      return true;
    }
    const std::string problem = whyNotReadable(options_.settings);
    if (!problem.empty()) {
      complain("cannot read the settings " + options_.settings + ": " + problem);
    }
    return problem.empty();
  }

  bool profileIsFile() const {
    return !options_.profile.empty() && findProfile(options_.profile) == nullptr;
  }

  /// Says what the settings do not do. The run goes on.
  void reviewTheSettings() {
    if (profileIsFile()) {
      review(options_.profile);
    }
    if (options_.settings.empty()) {
      return;
    }
    if (options_.lookup == QALookup::defaults) {
      complain(options_.settings + ": its values are not used: --lookup defaults");
      return;
    }
    review(options_.settings);
  }

  void review(const std::string& name) {
    std::ifstream file(name);
    std::vector<SettingsRemark> remarks = reviewSettings(file, kMostRemarks + 1);
    for (std::size_t i = 0; i < std::min(remarks.size(), kMostRemarks); ++i) {
      complain(name + ":" + std::to_string(remarks[i].line) + ": " + remarks[i].text);
    }
    if (remarks.size() > kMostRemarks) {
      complain(name + ": more lines are like these");
    }
  }

  /// Those that were named, or all that the profile and the settings leave on.
  bool chooseChecks() {
    if (options_.checksNamed) {
      checks_ = options_.checks;
      return true;
    }
    checks_ = checksLeftOn(fileTest({}));
    if (checks_.empty()) {
      complain("nothing to do: the severity of every check is off");
    }
    return !checks_.empty();
  }

  /// Appending a log to a programme, or replacing one by a report, is never what was meant.
  bool outputsAreNoInputs() {
    std::set<FileIdentity> inputs;
    const auto addInput = [&](const std::string& name) {
      if (const auto identity = identityOf(name)) {
        inputs.insert(*identity);
      }
    };
    std::for_each(options_.files.begin(), options_.files.end(), addInput);
    addInput(options_.settings);
    if (profileIsFile()) {
      addInput(options_.profile);
    }
    for (const OutputTarget& output : outputTargets(options_)) {
      const auto identity = identityOf(output.path);
      if (identity && inputs.count(*identity) > 0) {
        complain(output.path + " cannot be both read and written");
        return false;
      }
    }
    return true;
  }

  /// The later one would replace the earlier one.
  bool outputsAreDistinct() {
    std::map<std::string, const char*> options;
    for (const OutputTarget& output : outputTargets(options_)) {
      std::error_code none;
      if (std::filesystem::is_character_file(output.path, none)) {
        continue;  // such as /dev/null
      }
      const auto [known, isNew] = options.emplace(wholePath(output.path), output.option);
      if (!isNew) {
        complain(output.path + " cannot be written by both " + known->second + " and " +
                 output.option);
        return false;
      }
    }
    return true;
  }

  bool displaysHaveAFolder() {
    const std::string problem = options_.displays.empty() ? "" : whyNoFolder(options_.displays);
    if (!problem.empty()) {
      complain("cannot write displays to " + options_.displays + ": " + problem);
    }
    return problem.empty();
  }

  bool logIsAppendable() {
    const std::string problem = options_.log.empty() ? "" : whyNotAppendable(options_.log);
    if (!problem.empty()) {
      complain("cannot write the log " + options_.log + ": " + problem);
    }
    return problem.empty();
  }

  void testFile(const std::string& name) {
    FileReport& file = files_.emplace_back();
    file.file = name;
    QATesterOptions options = testerOptions();
    if (!options_.series.empty() || !options_.qctools.empty() || !options_.html.empty()) {
      file.series = std::make_shared<SeriesStore>();
      options.measurements = file.series.get();
    }
    if (!options_.html.empty()) {
      options.picture = [&file](QADisplayPicture picture) {
        file.pictures.push_back(std::move(picture));
      };
    }
    const bool done = cli::testFile(file, fileTest(std::move(options)),
                                    [this](const std::string& text) { complain(text); });
    trouble_ = trouble_ || !done;
    bar_.clear();
    table_.addFile(file);
    reports_.writeOf(file, files_.size());
    if (options_.files.size() > 1) {
      file.series = nullptr;  // it is written, and would add up
      file.pictures.clear();
    }
    if (tableOutput() != nullptr && tableOutput()->error() == EPIPE) {
      bar_.switchOff();
    }
  }

  /// What is demanded of every file, and how it is read.
  FileTest fileTest(QATesterOptions options) const {
    options.lookup = options_.lookup;
    options.profile = options_.profile;
    options.settings = options_.set;
    return {checks_, options_.settings, options_.log, std::move(options)};
  }

  std::string progressLabel(const std::string& check) const {
    if (options_.files.size() == 1) {
      return check;
    }
    return std::to_string(files_.size()) + "/" + std::to_string(options_.files.size()) + "  " +
           check;
  }

  QATesterOptions testerOptions() {
    QATesterOptions options;
    options.pauses = options_.pauses;
    options.passes = options_.passes;
    options.threads = options_.threads;
    if (!options_.displays.empty()) {
      options.displays = QADisplays::pictures;
      options.displayFolder = displayFolder();
    } else if (options_.visual) {
      options.displays = QADisplays::windows;
    } else if (!options_.html.empty() && !settingsAskForWindows()) {
      options.displays = QADisplays::handedOut;
    } else if (!settingsAskForWindows()) {
      // The timecode check shows its displays whatever the settings say, if it can.
      options.displays = QADisplays::nowhere;
    }
    options.colourThreads = QAColourThreads::none;
    options.stop = interrupt_.token();
    options.console = [this](const std::string& line) { takeLogLine(line); };
    options.progress = [this](const QAProgress& progress) {
      bar_.update(progressLabel(progress.check), progress.wholePercent, progress.secondsLeft);
    };
    options.trouble = [this](const QATrouble& trouble) { takeTrouble(trouble); };
    return options;
  }

  bool settingsAskForWindows() const {
    std::string value = "0";
    const auto read = [&](const std::string& name, QALookup lookup) {
      Logger silent(nullptr);  // the tester reads the same lines, and tells of bad ones
      silent.SetOutput(false, false);
      Settings settings(name.c_str(), &silent, lookup);
      const std::unique_ptr<const char[]> text(settings.GetValueOf(kVisualKey, value.c_str()));
      value = text.get();
    };
    // What each holds wins over what was read before.
    if (profileIsFile()) {
      read(options_.profile, QALookup::stored);
    }
    read(options_.settings, options_.lookup);
    for (const auto& [key, held] : options_.set) {
      value = key == kVisualKey ? held : value;
    }
    return std::atoi(value.c_str()) > 0;
  }

  /// Pictures of the same name must not replace those of another file.
  std::string displayFolder() const {
    if (options_.files.size() == 1) {
      return options_.displays;
    }
    const std::string name = std::filesystem::path(files_.back().file).filename().string();
    return (std::filesystem::path(options_.displays) / (std::to_string(files_.size()) + "-" + name))
        .string();
  }

  /// Standard output is the table's: log lines go to standard error, when they are asked for.
  void takeLogLine(const std::string& line) {
    if (options_.verbose) {
      bar_.clear();
      err_.write(printable(line, "\t\n"));
    }
  }

  void takeTrouble(const QATrouble& trouble) {
    switch (trouble.kind) {
      case QATrouble::Kind::settings: {
        // The review has named the lines that are wrong.
        const std::string problem = whyNotReadable(options_.settings);
        if (!problem.empty()) {
          trouble_ = true;
          complainOnce("cannot read the settings " + options_.settings + ": " + problem);
        }
        break;
      }
      case QATrouble::Kind::noWindows:
        complainOnce(trouble.text);
        break;
      default:
        trouble_ = true;
        if (!options_.verbose) {  // it is among the log lines
          complainOnce(trouble.text);
        }
    }
  }

  void complainOnce(const std::string& text) {
    if (told_.insert(text).second) {
      complain(text);
    }
  }

  int finish() {
    bar_.clear();
    if (interrupt_.signal() != 0) {
      complain(stoppedText());
    }
    reports_.write(files_, out_);
    trouble_ = trouble_ || reports_.areLost();
    const bool reportLost = reportsToStandardOutput(options_) && out_.error() != 0;
    if (reportLost || isLost(out_)) {
      trouble_ = true;
      complain("cannot write to standard output: " + errorText(out_.error()));
    }
    // Nobody is left to tell this to.
    trouble_ = trouble_ || (tableOutput() == &err_ && isLost(err_));
    return exitCode(files_, {options_.checksNamed, options_.warningsFail}, trouble_,
                    interrupt_.signal());
  }

  /// A reader of the table that goes away has seen enough.
  static bool isLost(const Output& output) {
    return output.error() != 0 && output.error() != EPIPE;
  }

  std::string stoppedText() const {
    const std::size_t left = options_.files.size() - files_.size();
    return left == 0 ? "stopped" : "stopped; files not begun: " + std::to_string(left);
  }

  const Options& options_;
  std::vector<const QACheck*> checks_;
  Interrupt interrupt_;
  Output out_;
  Output err_;
  ProgressBar bar_;
  Table table_;
  Reports reports_;
  std::vector<FileReport> files_;
  /// Troubles already reported: every file's tester meets them anew.
  std::set<std::string> told_;
  /// Something other than a file.
  bool trouble_ = false;
};

}  // namespace

int run(const Options& options) {
  return Run(options).execute();
}

}  // namespace cli
