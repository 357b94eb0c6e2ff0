#pragma once

#include <limits>
#include <memory>
#include <span>
#include <string_view>

#include "foundation/Export.h"
#include "tester/QACheckOutcome.h"

namespace qatester {
class CheckRun;
struct CheckContext;
}  // namespace qatester

/// The families of checks.
enum class QAFamily {
  classic,    ///< sample a stretch of the file
  programme,  ///< look at every picture and every sample
};

/// "classic" or "programme".
QATESTER_API const char* getFamilyText(QAFamily family);

/// What a check looks at.
enum class QANeeds {
  nothing,    ///< not even the file
  container,  ///< what the file says of itself
  pictures,   ///< decoded pictures
  sound,      ///< decoded sound
};

/// A setting, by which a line `key=value` of a settings file goes.
struct QASetting {
  /// What its values are.
  enum class Kind {
    whole,  ///< whole numbers
    real,   ///< numbers
    text,   ///< texts
  };

  /// As it stands in the settings file.
  const char* key;
  /// As text. Empty counts as 0.
  const char* defaultValue;
  Kind kind;  ///< of its values
  /// The least value: one below is taken as this. Texts have none.
  double min;
  /// The largest value, likewise.
  double max;
  /// Such as "frames" or "dB"; empty for code values.
  const char* unit;
  /// What it sets, in a few words.
  const char* meaning;

  /// The `max` of numbers that have none; negated, their `min`.
  static constexpr double kNoLimit = std::numeric_limits<double>::infinity();
  /// The least whole number.
  static constexpr double kLeast = std::numeric_limits<int>::min();
  /// The largest whole number.
  static constexpr double kMost = std::numeric_limits<int>::max();
};

/// A check: one row of the list.
struct QACheck {
  /// In command lines and reports, such as "frame-rate".
  const char* name;
  /// In the log, such as "QAFramerate".
  const char* tag;
  QAFamily family;  ///< classic or programme
  /// What it answers, in a few words.
  const char* question;
  QANeeds needs;  ///< what it looks at
  /// False: its outcome says nothing about the file.
  bool saysSomething;
  /// What it counts for in the profile "general". Of classic checks that are named, or run without
  /// a profile, a broken limit is a failure.
  QASeverity severity = QASeverity::info;
  /// By which it goes, beside those of the tester.
  std::span<const QASetting> settings;
  /// Titles of its displays; empty where it has none.
  std::span<const char* const> displays;
  /// The values by which a client may put files in order: keys of numbers among the outcome's
  /// `values`, or "LIST.KEY" of those in the records of a list, such as
  /// "programmes.integratedLufs".
  std::span<const char* const> figures = {};

  /// Makes a run of it; inside the library.
  std::unique_ptr<qatester::CheckRun> (*make)(const qatester::CheckContext& context);
};

/// All checks, in the order in which clients run them by default.
QATESTER_API std::span<const QACheck* const> allChecks();

/// Null when no check has this name.
QATESTER_API const QACheck* findCheck(std::string_view name);

/// The settings of the tester itself, beside those of its checks.
QATESTER_API std::span<const QASetting> testerSettings();
