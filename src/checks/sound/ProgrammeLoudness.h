#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "checks/sound/LoudnessMeter.h"
#include "checks/sound/SoundMeasurement.h"
#include "checks/sound/SoundRows.h"

namespace qatester {

/// The loudness of a programme, as measured.
struct ProgrammeLoudness {
  SoundProgramme programme;
  std::string name;  ///< empty: it is the only one
  double seconds = 0.0;
  double startSeconds = 0.0;
  double endSeconds = 0.0;
  std::optional<double> integrated;
  std::optional<double> range;
  std::optional<LoudnessMeter::Maximum> maxMomentary;
  std::optional<LoudnessMeter::Maximum> maxShortTerm;
  double truePeak = 0.0;  ///< full scale is 1
  /// Of two tracks that are taken for a pair, each alone.
  std::vector<std::optional<double>> tracks;
  int sampleRate = 0;
  int64_t badSamples = 0;
};

struct LoudnessDemands {
  double target = -23.0;    ///< LUFS
  double tolerance = 0.5;   ///< LU
  bool monoIsDual = false;  ///< a mono programme is judged as played by two loudspeakers
};

/// Values, limits, events and a summary of the programmes of a file.
void describeLoudness(const std::vector<ProgrammeLoudness>& programmes,
                      const LoudnessDemands& demands, QACheckOutcome& outcome);

/// Why none of them has a loudness; empty: one has.
std::string whyNoLoudness(const std::vector<ProgrammeLoudness>& programmes);

class ProgrammeLoudnessMeasurement final : public SoundMeasurement {
 public:
  explicit ProgrammeLoudnessMeasurement(const LoudnessDemands& demands) : demands_(demands) {}

  SoundNeeds needs() const override { return {.weighting = true, .truePeak = true}; }
  using SoundMeasurement::take;
  void take(const SoundCell& cell) override;
  void describe(QACheckOutcome& outcome) const override;
  std::string whyNothing() const override;

 private:
  struct Meters {
    LoudnessMeter whole;
    std::vector<LoudnessMeter> tracks;
    float truePeak = 0.0F;
    SoundRows series;
  };

  void beginSound(const ProgrammeFacts& facts) override;
  void change(const SoundSection& section) override;
  std::vector<ProgrammeLoudness> measured() const;

  LoudnessDemands demands_;
  std::vector<Meters> meters_;
};

}  // namespace qatester
