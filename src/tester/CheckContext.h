#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "tester/QACheck.h"
#include "tester/QAListener.h"
#include "tester/QATesterOptions.h"
#include "visual/Displays.h"

namespace qatester {

/// A key's value as a whole number, by `atoi`, clamped to the row's range.
int wholeSetting(Settings& settings, const QASetting& row);

/// The same by `atof`, in single precision.
float realSetting(Settings& settings, const QASetting& row);

/// The same as text, without blanks around it.
std::string textSetting(Settings& settings, const QASetting& row);

/// The pieces of a list with commas, without blanks around them; empty ones are left out.
std::vector<std::string> listSetting(Settings& settings, const QASetting& row);

/// The log lines of one check of several that run at once, and what it has to complain of. They are
/// held, each line with the time at which it came, until those of the checks before are out.
class HeldLog {
 public:
  /// A null logger writes nothing.
  HeldLog(Logger* logger, std::function<void(const std::string& problem)> complain)
      : logger_(logger), complain_(std::move(complain)) {}

  void log(const std::string& message);
  void complain(const std::string& problem);

  /// Lets out what is held, and from now on all as it comes.
  void release();

 private:
  struct Entry {
    std::string text;
    std::string stamp;  ///< empty: a complaint
  };

  Logger* logger_;
  std::function<void(const std::string&)> complain_;
  bool held_ = true;
  std::vector<Entry> entries_;
};

/// What a check sees of its tester. Everything belongs to the tester and outlives the check.
struct CheckContext {
  const std::string& fileName;
  QAListener* listener;
  Logger* logger;
  Settings* settings;
  Displays& displays;
  int slateSeconds;
  const QATesterOptions& options;
  /// Where log lines go instead of to the logger; null: nowhere else.
  HeldLog* heldLog = nullptr;
  /// Takes the series of classic checks; null: nobody does, as of a check's own function.
  QAMeasurementSink* classicSeries = nullptr;

  void log(const std::string& message) const {
    if (heldLog != nullptr) {
      heldLog->log(message);
    } else if (logger != nullptr) {
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
  bool stopped() const { return options.stop.stop_requested(); }
  bool untilReady() const { return options.pauses == QAPauses::untilReady; }

  int whole(const QASetting& row) const { return wholeSetting(*settings, row); }
  float real(const QASetting& row) const { return realSetting(*settings, row); }
  std::string text(const QASetting& row) const { return textSetting(*settings, row); }
  std::vector<std::string> list(const QASetting& row) const { return listSetting(*settings, row); }
};

/// A row's number, as people write it.
double numberSetting(const CheckContext& context, const QASetting& row);

}  // namespace qatester
