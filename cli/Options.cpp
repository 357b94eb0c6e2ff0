#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <stdexcept>
#include <system_error>
#include <tuple>

#include "ExitCode.h"
#include "Lists.h"
#include "Output.h"
#include "Preflight.h"
#include "SettingsReview.h"
#include "tester/QAProfile.h"
#include "tester/QAVersion.h"

namespace cli {

namespace {

const std::map<std::string, QAPauses> kPauses{{"fixed", QAPauses::fixed},
                                              {"ready", QAPauses::untilReady}};
const std::map<std::string, QALookup> kLookups{{"defaults", QALookup::defaults},
                                               {"stored", QALookup::stored}};
const std::map<std::string, TableKind> kTables{{"full", TableKind::full},
                                               {"short", TableKind::shortened}};
const std::map<std::string, QAPasses> kPasses{{"each", QAPasses::each}, {"one", QAPasses::one}};

constexpr std::size_t kOptionColumns = 28;

constexpr int kMostThreads = 1024;
constexpr const char* kDefaultProfile = "general";

constexpr const char* kExitCodes =
    R"(Exit code:
  0    nothing failed
  1    a check failed (with --warnings-fail: or warned)
  2    usage error; a file that cannot be read, or with nothing measured;
       a check that judges or was named, and could not be measured; an error;
       an output that could not be written
  130  stopped by Ctrl-C (143: by a termination request, 129: by a hang-up)

Example:
  qatester --profile archive --json report.json programme.mov)";

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " [options] FILE...\n";
  }
};

std::string knownChecks() {
  std::string names;
  for (const QACheck* check : allChecks()) {
    names += (names.empty() ? "" : ", ") + std::string(check->name);
  }
  return names;
}

std::string knownProfiles() {
  std::string names;
  for (const QAProfile& profile : allProfiles()) {
    names += (names.empty() ? "" : ", ") + std::string(profile.name);
  }
  return names;
}

std::string versions() {
  return std::string("qatester ") + getQATesterVersion() + "\n" + getQATesterLibraryVersions() +
         "nlohmann-json " + std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_PATCH) + "\n" + "pugixml " +
         std::to_string(PUGIXML_VERSION / 1000) + "." + std::to_string(PUGIXML_VERSION / 10 % 100) +
         "\n" + "CLI11 " + CLI11_VERSION + "\n";
}

std::vector<const QACheck*> parseChecks(const std::string& list) {
  std::vector<const QACheck*> checks;
  for (const std::string& piece : CLI::detail::split(list, ',')) {
    const std::string name = CLI::detail::trim_copy(piece);
    const QACheck* check = findCheck(name);
    if (check == nullptr) {
      throw std::invalid_argument("--checks: unknown check '" + name +
                                  "'; known are: " + knownChecks());
    }
    if (std::find(checks.begin(), checks.end(), check) != checks.end()) {
      throw std::invalid_argument("--checks: '" + name + "' is named twice");
    }
    checks.push_back(check);
  }
  return checks;
}

/// Settings of the command line, each `key=value`.
std::vector<std::pair<std::string, std::string>> parseSettings(
    const std::vector<std::string>& texts) {
  std::vector<std::pair<std::string, std::string>> settings;
  for (const std::string& text : texts) {
    const std::string problem = whyNoSetting(text);
    if (!problem.empty()) {
      throw std::invalid_argument("--set: " + problem);
    }
    const std::size_t middle = text.find('=');
    settings.emplace_back(CLI::detail::trim_copy(text.substr(0, middle)),
                          CLI::detail::trim_copy(text.substr(middle + 1)));
  }
  return settings;
}

/// A name that is no profile's must lead to a settings file.
void requireProfile(const std::string& profile) {
  if (findProfile(profile) != nullptr) {
    return;
  }
  const std::string problem = whyNotReadable(profile);
  if (!problem.empty()) {
    throw std::invalid_argument("--profile: '" + profile + "' is neither a profile (" +
                                knownProfiles() + ") nor a settings file: " + problem);
  }
}

/// Finds the report that goes to standard output, by whatever name. Returns why that cannot be.
std::string takeStandardOutput(const std::vector<std::pair<const char*, std::string*>>& reports) {
  const char* before = nullptr;
  for (const auto& [name, target] : reports) {
    if (*target == "/dev/stdout") {
      *target = kStandardOutput;
    }
    if (*target == kStandardOutput) {
      if (before != nullptr) {
        return std::string(before) + " and " + name + " cannot both be standard output";
      }
      before = name;
    }
  }
  return "";
}

/// Some reports are of one file each: what was meant as the name of one is none for a folder.
std::string whyNoFolderOfReports(const Options& options) {
  std::error_code none;
  for (const auto& [option, target, ending] :
       {std::tuple("--edl", &options.edl, ".edl"), std::tuple("--series", &options.series, ".gz"),
        std::tuple("--qctools", &options.qctools, ".gz"),
        std::tuple("--html", &options.html, ".html")}) {
    const bool isName = *target == kStandardOutput || target->ends_with(ending);
    if (options.files.size() > 1 && isName && !std::filesystem::is_directory(*target, none)) {
      return std::string(option) + " " + *target +
             ": it is of one file; of several it must be a folder";
    }
  }
  return "";
}

Reply usageError(const std::string& message) {
  return {kTrouble, "",
          "qatester: " + printable(message) + "\nTry 'qatester --help' for more information.\n"};
}

/// The arguments as the parser takes them: last one first, without the program's name.
std::vector<std::string> reversedArguments(int argc, const char* const* argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {
    std::string argument = argv[i];
    // The parser would take a file name in square brackets for a list.
    if (argument.size() >= 2 && argument.front() == '[' && argument.back() == ']') {
      argument.insert(0, "./");
    }
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

template <typename Value>
CLI::Option* addChoice(CLI::App& app, const char* name, std::string& text,
                       const std::map<std::string, Value>& choices, const char* help) {
  std::vector<std::string> words;
  for (const auto& choice : choices) {
    words.push_back(choice.first);
  }
  return app.add_option(name, text, help)
      ->check(CLI::IsMember(words).description(""))
      ->type_name(CLI::detail::join(words, "|"));
}

}  // namespace

std::variant<Options, Reply> parseCommandLine(int argc, const char* const* argv) {
  Options options;
  std::string checks;
  std::string pauses = "ready";
  std::string lookup = "stored";
  std::string passes = "one";
  std::string table = "full";
  std::vector<std::string> set;
  std::string profileShown;
  bool listProfiles = false;
  bool listChecks = false;
  bool listSettings = false;
  bool version = false;

  const CLI::Validator named(
      [](const std::string& text) { return text.empty() ? "empty file name" : std::string(); }, "");

  std::vector<std::pair<const char*, std::string*>> reports;
  CLI::App app{"Automated QA tests of finished media files", "qatester"};
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->column_width(kOptionColumns);
  app.formatter(formatter);
  app.footer(kExitCodes);
  const auto addReport = [&](const char* name, std::string& target, const char* help) {
    app.add_option(name, target, help)->check(named)->type_name("FILE");
    reports.emplace_back(name, &target);
  };
  app.set_help_flag("-h,--help", "Print this help");
  app.add_option("FILE", options.files, "Media files to test")->group("");
  app.add_option("--profile", options.profile,
                 "A profile, or a settings file that stands for one;\n"
                 "default general, or none with --checks")
      ->check(named)
      ->type_name("NAME");
  app.add_option("--checks", checks, "Checks, comma-separated; default as the profile says")
      ->type_name("LIST");
  app.add_option("--settings", options.settings, "Settings of the checks: key=value a line")
      ->check(named)
      ->type_name("FILE");
  app.add_option("--set", set, "A setting that wins over the file and the profile")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  addChoice(app, "--lookup", lookup, kLookups, "Settings: as stored there (default), or defaults");
  app.add_option("--log", options.log, "Log file to append to")->check(named)->type_name("FILE");
  addReport("--json", options.json, "Write a JSON report; - is standard output, as below");
  addReport("--junit", options.junit, "Write a JUnit report: a suite a file, a case a check");
  addReport("--csv", options.csv, "Write a line a file, comma-separated");
  addReport("--csv-events", options.csvEvents, "Write a line an event, comma-separated");
  addReport("--edl", options.edl, "Write events as markers; of several files: a folder");
  addReport("--series", options.series, "Write figures over time, as .csv.gz; or a folder");
  addReport("--qctools", options.qctools, "Write figures as ffprobe does; or a folder");
  addReport("--html", options.html, "Write a page with plots and pictures; or a folder");
  app.add_option("--displays", options.displays, "Displays as picture files in this folder")
      ->check(named)
      ->type_name("DIR");
  app.add_flag("--visual", options.visual, "Displays in windows; default as the settings say");
  addChoice(app, "--passes", passes, kPasses, "Read a file once (default), or for each check");
  addChoice(app, "--pauses", pauses, kPauses, "Pauses of fixed length, or until ready (default)");
  app.add_option("--threads", options.threads, "For decoding; default as many as processors")
      ->check(CLI::Range(0, kMostThreads).description(""))
      ->type_name("N");
  app.add_flag("--warnings-fail", options.warningsFail, "Warnings too make the exit code 1");
  addChoice(app, "--table", table, kTables, "A line a check (default), or a line a file");
  app.add_flag("-q,--quiet", options.quiet, "No table and no progress");
  app.add_flag("-v,--verbose", options.verbose, "Log lines on standard error as they come");
  app.add_flag("--list-profiles", listProfiles, "Print the profiles");
  app.add_option("--show-profile", profileShown, "Print a profile: its settings, with sources")
      ->type_name("NAME");
  app.add_flag("--list-checks", listChecks, "Print the checks");
  app.add_flag("--list-settings", listSettings, "Print all settings, as a settings file");
  app.add_flag("--version", version, "Print the version, also of the libraries");

  try {
    app.parse(reversedArguments(argc, argv));
  } catch (const CLI::CallForHelp&) {
    return Reply{0, app.help(), ""};
  } catch (const CLI::ParseError& error) {
    return usageError(error.what());
  }
  if (version) {
    return Reply{0, versions(), ""};
  }
  if (listChecks) {
    return Reply{0, checkList(), ""};
  }
  if (listSettings) {
    return Reply{0, settingsList(), ""};
  }
  if (listProfiles) {
    return Reply{0, profileList(), ""};
  }
  if (app.count("--show-profile") > 0) {
    const QAProfile* profile = findProfile(profileShown);
    return profile != nullptr ? Reply{0, profile->text, ""}
                              : usageError("--show-profile: unknown profile '" + profileShown +
                                           "'; known are: " + knownProfiles());
  }
  try {
    options.checksNamed = app.count("--checks") > 0;
    if (options.checksNamed) {
      options.checks = parseChecks(checks);
    } else if (options.profile.empty()) {
      options.profile = kDefaultProfile;
    }
    if (!options.profile.empty()) {
      requireProfile(options.profile);
    }
    options.set = parseSettings(set);
  } catch (const std::invalid_argument& error) {
    return usageError(error.what());
  }
  if (options.files.empty()) {
    return usageError("no file given");
  }
  if (options.visual && !options.displays.empty()) {
    return usageError("--visual and --displays exclude each other: windows or picture files");
  }
  std::string misuse = takeStandardOutput(reports);
  if (misuse.empty()) {
    misuse = whyNoFolderOfReports(options);
  }
  if (!misuse.empty()) {
    return usageError(misuse);
  }
  options.pauses = kPauses.at(pauses);
  options.lookup = kLookups.at(lookup);
  options.passes = kPasses.at(passes);
  options.table = kTables.at(table);
  return options;
}

}  // namespace cli
