#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tester/ProgrammeRun.h"

namespace qatester {

/// From where to where the pictures, or one of the audio streams, were found to go.
struct FoundStretch {
  std::string name;  ///< "picture", or "audio 1" and so on
  bool isPicture = false;
  /// Seconds from the file's start; empty: nothing came, or it carries no times.
  std::optional<double> start;
  std::optional<double> end;
  /// What it lasts, where it carries no times.
  double lasts = 0.0;
  /// Where the container says that it ends; empty: it does not say.
  std::optional<double> declaredEnd;
};

struct DeclaredLength {
  /// Where the whole file ends; empty: it does not say, or by streams that are not looked at.
  std::optional<double> seconds;
  double toleranceSeconds = 1.0;
};

struct LengthVerdict {
  std::vector<QAEvent> events;
  std::vector<std::string> words;
};

/// Judges what was found against what is declared, and sound against pictures.
LengthVerdict judgeLength(const std::vector<FoundStretch>& found, const DeclaredLength& declared);

class LengthMeasurement final : public ProgrammeMeasurement {
 public:
  explicit LengthMeasurement(double toleranceSeconds) : tolerance_(toleranceSeconds) {}

  using ProgrammeMeasurement::take;
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const override { return {.pictures = true, .sound = true}; }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammePicture& picture) override;
  void take(const ProgrammeBlock& block) override;
  void describe(QACheckOutcome& outcome) const override;

 private:
  FoundStretch& pictures() { return found_.front(); }

  double tolerance_;
  DeclaredLength declared_;
  bool hasPictures_ = false;
  double frameSeconds_ = 0.0;
  /// The pictures first where there are any, then the audio streams.
  std::vector<FoundStretch> found_;
};

}  // namespace qatester
