#pragma once

#include <functional>
#include <string>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "tester/QAListener.h"
#include "tester/QATesterOptions.h"
#include "visual/Displays.h"

namespace qatester {

/// A key's value as a whole number, by `atoi`.
int intSetting(Settings& settings, const char* key, const char* defaultValue);

/// The same by `atof`, in single precision.
float floatSetting(Settings& settings, const char* key, const char* defaultValue);

/// What a check sees of its tester. Everything belongs to the tester and outlives the check.
struct CheckContext {
  const std::string& fileName;
  QAListener* listener;
  Logger* logger;
  Settings* settings;
  Displays& displays;
  int slateSeconds;
  const QATesterOptions& options;

  void log(const std::string& message) const {
    if (logger != nullptr) {
      logger->Log(message.c_str());
    }
  }
  void message(const std::string& text) const {
    if (listener != nullptr) {
      listener->onMessage(text);
    }
  }
  void failure() const {
    if (listener != nullptr) {
      listener->onFailure();
    }
  }
  void finished(const QACheckOutcome& outcome) const {
    if (options.outcome) {
      options.outcome(outcome);
    }
  }
  bool stopped() const { return options.stop.stop_requested(); }

  int intSetting(const char* key, const char* defaultValue) const {
    return qatester::intSetting(*settings, key, defaultValue);
  }
  float floatSetting(const char* key, const char* defaultValue) const {
    return qatester::floatSetting(*settings, key, defaultValue);
  }
};

/// Sends the percent of a running check when it changes. 0 and 100 are never sent.
class Progress {
 public:
  using Slot = void (QAListener::*)(float);

  Progress(QAListener* listener, Slot slot, int budget)
      : listener_(listener), slot_(slot), budget_(budget) {}

  /// The frame or block of this index, below the budget, has been measured.
  void measured(int index);

 private:
  QAListener* listener_;
  Slot slot_;
  int budget_;
  int lastPercent_ = 0;
};

}  // namespace qatester
