#include "tester/QATester.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "media/OxWrap.h"
#include "tester/CheckContext.h"
#include "tester/Reasons.h"
#include "tester/StreamSetup.h"
#include "visual/WindowSystem.h"

namespace {

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
  }
  const auto log = [this](const std::string& line) {
    if (logger_ != nullptr) {
      logger_->Log(line.c_str());
    }
  };
  log("\n\t\t--- QATester ---\n\t\t----------------");
  log("Log File:\t\t" + logName);
  log("Loading Config:\t" + settingsName);
  settings_ = std::make_unique<Settings>(settingsName.c_str(), logger_.get(), options_.lookup);
  log("Testing File:\t" + fileName_);
  log("Test Date:\t\t" + todaysDate());

  const auto number = [this](const char* key, const char* defaultValue) {
    return qatester::intSetting(*settings_, key, defaultValue);
  };
  slateSeconds_ = std::max(0, number("QATesterSlateSeconds", "5"));
  const bool visualisations = areVisualisationsOn(options_.displays, number("QATesterVisual", "0"));
  const bool toConsole = number("QATesterConsoleOutput", "1") > 0;
  const bool toFile = number("QATesterFileOutput", "1") > 0;
  displays_ = std::make_unique<qatester::Displays>(
      options_.displays, visualisations, options_.displayFolder,
      [this, log, toConsole](const std::string& problem) {
        const std::string line = "displays: " + problem;
        log(line);
        if (!toConsole && options_.console) {
          // Told even with the console output off: a picture is lost.
          options_.console(logger_->GetTimeStamp() + " " + line + "\n");
        }
      },
      options_.pauses == QAPauses::untilReady ? qatester::tryToMakeCanvas : qatester::makeCanvas);
  log(onOff("Visualizations:\t", visualisations));
  log(onOff("Verbose console:\t", toConsole));
  log(onOff("Verbose file:\t", toFile));
  if (logger_ != nullptr) {
    logger_->SetOutput(toFile, toConsole);
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

bool QATester::isValidFile() {
  const qatester::CheckContext check = context();
  QACheckOutcome outcome;
  outcome.check = "QATester";
  const auto refuse = [&](const std::string& logLine, const std::string& message,
                          const std::string& reason) {
    check.log(logLine);
    if (!message.empty()) {
      check.message(message);
    }
    outcome.reason = reason;
    check.finished(outcome);
    return false;
  };

  OxWrap wrap(fileName_, {options_.pauses, options_.stop});
  if (wrap.formatContext == nullptr) {
    return refuse("QATester can't open the file '" + fileName_ + ".", "",
                  qatester::unopenedReason(wrap));
  }
  outcome.opened = true;
  outcome.measured = true;
  if (options_.pauses == QAPauses::untilReady) {
    wrap.bufferOnly({});  // nothing will be drained, so there is nothing to wait for
  }
  wrap.startBuffering();
  if (wrap.getAudioStream(0) == nullptr) {
    return refuse("QATester: No audio stream.", "QATester: No Audio Stream.",
                  qatester::streamSetupReason(0));
  }
  if (getAudioStreamSetup(&wrap) == QA_STREAM_SETUP_UNSUPPORTED) {
    return refuse("QATester: Unsupported stream layout, bailing out.",
                  "QATester: Unsupported stream setup",
                  qatester::streamSetupReason(wrap.getNumberOfAudioStreams()));
  }
  OxVideoStream* video = wrap.getVideoStream();
  if (video == nullptr) {
    return refuse("QATester: No video stream.", "QATester: No video stream.", "no video stream");
  }
  if (video->getPixelFormat() == "Other") {
    check.log("QATester: Detected unsupported pixel format.");
    check.failure();
    outcome.reason = qatester::pixelFormatReason(*video);
    check.finished(outcome);
    return false;
  }
  check.finished(outcome);
  return true;
}

bool QATester::checkDropNoDrop() {
  return false;
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
  switch (type) {
    case QA_FRAME_TYPE_INTERLACED:
      return handOutText("Interlaced", kSize);
    case QA_FRAME_TYPE_PROGRESSIVE:
      return handOutText("Progressive", kSize);
    default:
      return handOutText("Unknown", kSize);
  }
}

char* QATester::getFieldTypeText(QA_FieldType type) {
  constexpr std::size_t kSize = 10;
  switch (type) {
    case QA_FIELD_TYPE_LOWER:
      return handOutText("Lower", kSize);
    case QA_FIELD_TYPE_UPPER:
      return handOutText("Upper", kSize);
    default:
      return handOutText("Unknown", kSize);
  }
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
