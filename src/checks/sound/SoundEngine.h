#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "checks/sound/SoundMeasurement.h"

namespace qatester {

/// The setting of the tester by which programmes are put together; see `findSoundProgrammes`.
inline constexpr const char* kProgrammesKey = "Programmes";

/// Puts the programmes of a file together, cuts them into cells, and computes once for all
/// measurements what they need.
class SoundEngine final : public SharedConsumer {
 public:
  /// `setting`: see `findSoundProgrammes`.
  explicit SoundEngine(std::string setting);
  ~SoundEngine() override;
  SoundEngine(const SoundEngine&) = delete;
  SoundEngine& operator=(const SoundEngine&) = delete;

  /// A `SoundMeasurement`.
  void add(ProgrammeMeasurement& measurement) override;
  std::exception_ptr errorOf(const ProgrammeMeasurement& measurement) const override;

  using SharedConsumer::take;
  ProgrammeWants wants() const override { return {.sound = true}; }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammeBlock& block) override;
  void end(const ProgrammeEnd& end) override;

 private:
  class Listeners;
  class Feed;

  std::string setting_;
  std::unique_ptr<Listeners> listeners_;
  std::vector<std::unique_ptr<Feed>> feeds_;  ///< one a programme
};

}  // namespace qatester
