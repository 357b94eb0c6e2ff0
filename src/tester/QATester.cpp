#include "tester/QATester.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "media/OxWrap.h"
#include "tester/CheckContext.h"
#include "tester/EnumTexts.h"
#include "tester/ProgrammeRun.h"
#include "tester/QAProfile.h"
#include "tester/StreamSetup.h"
#include "visual/WindowSystem.h"

namespace {

using Kind = QASetting::Kind;

constexpr QASetting kSettings[] = {
    {"QATesterSlateSeconds", "5", Kind::whole, 0, QASetting::kMost, "s",
     "leader at the start of the file that most checks leave out"},
    {"QATesterVisual", "0", Kind::whole, QASetting::kLeast, QASetting::kMost, "",
     "displays of the checks in windows: above 0 on"},
    {"QATesterConsoleOutput", "1", Kind::whole, QASetting::kLeast, QASetting::kMost, "",
     "log lines on standard output: above 0 on"},
    {"QATesterFileOutput", "1", Kind::whole, QASetting::kLeast, QASetting::kMost, "",
     "log lines in the log file: above 0 on"},
    {"EventsPerCheck", "1000", Kind::whole, 1, 1000000, "",
     "events of a programme check that are kept, the worst of them"},
    {"Programmes", "", Kind::text, 0, 0, "",
     "audio streams that belong together, counted from 1: 1+2; 3+4; 5-10:5.1; 11. Empty: as the "
     "file declares, otherwise tracks in pairs"},
};
constexpr const QASetting& kSlateSeconds = kSettings[0];
constexpr const QASetting& kVisual = kSettings[1];
constexpr const QASetting& kConsoleOutput = kSettings[2];
constexpr const QASetting& kFileOutput = kSettings[3];
constexpr const QASetting& kEventsPerCheck = kSettings[4];

constexpr const char* kSeverityKey = "Severity.";

/// The lines of a settings file that stands for a profile.
std::vector<std::pair<std::string, std::string>> entriesOf(std::istream& text) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (std::string line; std::getline(text, line);) {
    const std::size_t middle = line.find('=');
    if (!line.empty() && line[0] != '#' && middle != std::string::npos &&
        line.find('=', middle + 1) == std::string::npos) {
      entries.emplace_back(line.substr(0, middle), line.substr(middle + 1));
    }
  }
  return entries;
}

/// By its name or, of a settings file of the client's own, by its path.
std::vector<std::pair<std::string, std::string>> profileEntries(const std::string& profile) {
  if (const QAProfile* found = findProfile(profile)) {
    std::istringstream text(found->text);
    return entriesOf(text);
  }
  std::ifstream file(profile);
  if (!file.is_open()) {
    throw std::invalid_argument("unknown profile '" + profile + "'");
  }
  return entriesOf(file);
}

std::string orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

std::string todaysDate() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday);
  return text;
}

std::string onOff(const char* label, bool on) {
  return std::string(label) + (on ? "on" : "off");
}

bool areVisualisationsOn(QADisplays displays, int setting) {
  switch (displays) {
    case QADisplays::asSet:
      return setting > 0;
    case QADisplays::nowhere:
      return false;
    default:
      return true;
  }
}

/// A new buffer of `size` characters for a client, who gives it back with `QATester::release`.
char* handOutText(const char* text, std::size_t size) {
  char* buffer = new char[size]();
  std::strncpy(buffer, text, size - 1);
  return buffer;
}

}  // namespace

QATester::QATester(const char* fileName, QAListener* listener, const char* settingsFile,
                   const char* logFile)
    : QATester(fileName, listener, settingsFile, logFile, QATesterOptions{}) {}

QATester::QATester(const char* fileName, QAListener* listener, const char* settingsFile,
                   const char* logFile, const QATesterOptions& options)
    : fileName_(orEmpty(fileName)), listener_(listener), options_(options) {
  const std::string settingsName = orEmpty(settingsFile);
  const std::string logName = orEmpty(logFile);
  if (!logName.empty() || options_.console) {
    logger_ = std::make_unique<Logger>(logName.c_str());
    logger_->SetConsole(options_.console);
    logger_->SetTrouble(
        [this](const std::string& text) { tellTrouble(QATrouble::Kind::log, text); });
  }
  log("\n\t\t--- QATester ---\n\t\t----------------");
  log("Log File:\t\t" + logName);
  log("Loading Config:\t" + settingsName);
  settings_ = std::make_unique<Settings>(
      settingsName.c_str(), logger_.get(), options_.lookup,
      [this](const std::string& text) { tellTrouble(QATrouble::Kind::settings, text); });
  if (!options_.profile.empty()) {
    settings_->SetFallbacks(profileEntries(options_.profile));
  }
  settings_->SetOverrides(options_.settings);
  log("Testing File:\t" + fileName_);
  log("Test Date:\t\t" + todaysDate());

  const auto number = [this](const QASetting& row) {
    return qatester::wholeSetting(*settings_, row);
  };
  slateSeconds_ = number(kSlateSeconds);
  visualisations_ = areVisualisationsOn(options_.displays, number(kVisual));
  toConsole_ = number(kConsoleOutput) > 0;
  const bool toFile = number(kFileOutput) > 0;
  displays_ = makeDisplays([this](const std::string& problem) { complainOfDisplay(problem); });
  log(onOff("Visualizations:\t", visualisations_));
  log(onOff("Verbose console:\t", toConsole_));
  log(onOff("Verbose file:\t", toFile));
  if (logger_ != nullptr) {
    logger_->SetOutput(toFile, toConsole_);
  }
  const bool toWindows =
      options_.displays == QADisplays::asSet || options_.displays == QADisplays::windows;
  if (options_.trouble && visualisations_ && toWindows && !canShowWindows()) {
    tellTrouble(QATrouble::Kind::noWindows, "no window system is available: displays are skipped");
  }
}

std::unique_ptr<qatester::Displays> QATester::makeDisplays(
    std::function<void(const std::string& problem)> complain) const {
  return std::make_unique<qatester::Displays>(options_.displays, visualisations_,
                                              options_.displayFolder, std::move(complain),
                                              options_.pauses, options_.picture);
}

void QATester::log(const std::string& line) const {
  if (logger_ != nullptr) {
    logger_->Log(line.c_str());
  }
}

void QATester::complainOfDisplay(const std::string& problem) const {
  const std::string line = "displays: " + problem;
  log(line);
  if (!toConsole_ && options_.console) {
    // Said even with the console output off: a picture is lost.
    options_.console(logger_->GetTimeStamp() + " " + line + "\n");
  }
  tellTrouble(QATrouble::Kind::displays, line);
}

void QATester::tellTrouble(QATrouble::Kind kind, const std::string& text) const {
  if (options_.trouble) {
    options_.trouble({kind, text});
  }
}

QATester::~QATester() {
  settings_.reset();
  logger_.reset();
}

qatester::CheckContext QATester::context() const {
  return {fileName_,  listener_,     logger_.get(), settings_.get(),
          *displays_, slateSeconds_, options_};
}

QASeverity QATester::severityOf(const QACheck& check) const {
  const bool judgesAsNamed = options_.profile.empty() && check.family == QAFamily::classic;
  const QASeverity usual = judgesAsNamed ? QASeverity::fail : check.severity;
  const std::string key = std::string(kSeverityKey) + check.name;
  const std::unique_ptr<const char[]> text(
      settings_->GetValueOf(key.c_str(), getSeverityText(usual)));
  constexpr QASeverity kAll[] = {QASeverity::off, QASeverity::info, QASeverity::warn,
                                 QASeverity::fail};
  const auto* found = std::find_if(std::begin(kAll), std::end(kAll), [&](QASeverity severity) {
    return std::string_view(text.get()) == getSeverityText(severity);
  });
  return found != std::end(kAll) ? *found : usual;
}

std::string QATester::settingOf(const QASetting& setting) const {
  if (setting.kind == QASetting::Kind::whole) {
    return std::to_string(qatester::wholeSetting(*settings_, setting));
  }
  if (setting.kind == QASetting::Kind::text) {
    return qatester::textSetting(*settings_, setting);
  }
  char text[32];
  // As many digits as lead back to the same number.
  const auto end =
      std::to_chars(std::begin(text), std::end(text), qatester::realSetting(*settings_, setting));
  return {text, end.ptr};
}

const QAFileFacts& QATester::fileFacts() const {
  return fileFacts_;
}

QA_StreamSetup QATester::getAudioStreamSetup(OxWrap* wrap) {
  return qatester::streamSetupOf(wrap != nullptr ? wrap->getNumberOfAudioStreams() : 0);
}

char* QATester::getStreamSetupText(QA_StreamSetup setup) {
  constexpr std::size_t kSize = 50;
  return handOutText(qatester::streamSetupText(setup), kSize);
}

char* QATester::getFrameTypeText(QA_FrameType type) {
  constexpr std::size_t kSize = 20;
  return handOutText(qatester::frameTypeText(type), kSize);
}

char* QATester::getFieldTypeText(QA_FieldType type) {
  constexpr std::size_t kSize = 10;
  return handOutText(qatester::fieldTypeText(type), kSize);
}

void QATester::release(void** buffer) {
  if (buffer == nullptr) {
    return;
  }
  delete[] static_cast<char*>(*buffer);
  *buffer = nullptr;
}

bool QATester::canShowWindows() {
  return qatester::windowSystemAvailable();
}

int qatester::eventsPerCheck(const CheckContext& context) {
  return context.whole(kEventsPerCheck);
}

std::span<const QASetting> testerSettings() {
  return kSettings;
}
