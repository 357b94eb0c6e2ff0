#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include "ExitCode.h"
#include "Output.h"
#include "tester/QAVersion.h"

namespace cli {

namespace {

const std::map<std::string, QAPauses> kPauses{{"fixed", QAPauses::fixed},
                                              {"ready", QAPauses::untilReady}};
const std::map<std::string, QALookup> kLookups{{"defaults", QALookup::defaults},
                                               {"stored", QALookup::stored}};

constexpr const char* kFooter =
    R"(The result is a table on standard output: a line a check with its state (pass, fail,
info: measured without judging, not-measured), its figures and, where there is one,
the reason.

Displays have tearing, timecode (two pictures for each frame of the file), transitions,
chroma, gamut, mono and phase. The folder of --displays is made when it is missing. The
pictures of a single file lie in it as DISPLAY-FRAME.png, such as
Diamond-Display-00042.png; those of several files lie in a folder each: DIR/1-a.mov,
DIR/2-b.mov and so on. Older ones are replaced.

Exit code:
  0    nothing failed
  1    a check failed
  2    usage error; a file that cannot be read, or of which nothing could be measured;
       a table, log, report or display that could not be written
  130  stopped by Ctrl-C (143: by a termination request, 129: by a hang-up); the table
       and the report hold what there was

Example:
  qatester --checks valid,frame-rate --json report.json programme.mov)";

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " [options] FILE...\n";
  }
};

std::string knownChecks() {
  std::string names;
  for (const Check& check : allChecks()) {
    names += (names.empty() ? "" : ", ") + std::string(check.name);
  }
  return names;
}

std::string checkList() {
  std::size_t width = 0;
  for (const Check& check : allChecks()) {
    width = std::max(width, std::strlen(check.name));
  }
  std::string text;
  for (const Check& check : allChecks()) {
    std::string name = check.name;
    name.resize(width + 2, ' ');
    text += name + check.help + "\n";
  }
  return text;
}

std::string versions() {
  return std::string("qatester ") + getQATesterVersion() + "\n" + getQATesterLibraryVersions() +
         "nlohmann-json " + std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
         std::to_string(NLOHMANN_JSON_VERSION_PATCH) + "\n" + "CLI11 " + CLI11_VERSION + "\n";
}

std::vector<const Check*> parseChecks(const std::string& list) {
  std::vector<const Check*> checks;
  for (const std::string& piece : CLI::detail::split(list, ',')) {
    const std::string name = CLI::detail::trim_copy(piece);
    const Check* check = findCheck(name);
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

std::vector<const Check*> everyCheck() {
  std::vector<const Check*> checks;
  for (const Check& check : allChecks()) {
    checks.push_back(&check);
  }
  return checks;
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
  bool listChecks = false;
  bool version = false;

  const CLI::Validator named(
      [](const std::string& text) { return text.empty() ? "empty file name" : std::string(); }, "");

  CLI::App app{"Automated QA tests of finished media files", "qatester"};
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kFooter);
  app.set_help_flag("-h,--help", "Print this help");
  app.add_option("FILE", options.files, "Media files to test")->type_name("");
  app.add_option("--checks", checks, "Checks to run, comma-separated, in this order (default: all)")
      ->type_name("LIST");
  app.add_option("--settings", options.settings, "Settings file for the checks")
      ->check(named)
      ->type_name("FILE");
  app.add_option("--log", options.log, "Log file to append to")->check(named)->type_name("FILE");
  app.add_option("--json", options.json, "Write a JSON report; - is standard output")
      ->check(named)
      ->type_name("FILE");
  addChoice(app, "--pauses", pauses, kPauses,
            "Pauses of fixed length, or until ready to go on (default: ready)");
  addChoice(app, "--lookup", lookup, kLookups,
            "Built-in defaults always, or the settings file's values (default: stored)");
  app.add_flag("--visual", options.visual,
               "Displays of the checks in windows (default: as the settings say)");
  app.add_option("--displays", options.displays,
                 "Displays of the checks as picture files in this folder")
      ->check(named)
      ->type_name("DIR");
  app.add_flag("--list-checks", listChecks, "Print the names of the checks");
  app.add_flag("--version", version, "Print the version, also of the libraries");
  app.add_flag("-q,--quiet", options.quiet, "No table and no progress");
  app.add_flag("-v,--verbose", options.verbose, "Log lines on standard error as they come");

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
  try {
    options.checks = app.count("--checks") > 0 ? parseChecks(checks) : everyCheck();
  } catch (const std::invalid_argument& error) {
    return usageError(error.what());
  }
  if (options.files.empty()) {
    return usageError("no file given");
  }
  if (options.visual && !options.displays.empty()) {
    return usageError("--visual and --displays exclude each other: windows or picture files");
  }
  options.pauses = kPauses.at(pauses);
  options.lookup = kLookups.at(lookup);
  if (options.json == "/dev/stdout") {
    options.json = "-";
  }
  return options;
}

}  // namespace cli
