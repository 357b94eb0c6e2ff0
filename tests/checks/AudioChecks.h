#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/LoggedTester.h"
#include "support/QuickSound.h"
#include "support/Values.h"
#include "tester/QATester.h"

/// The four audio checks, for tests that hold for all of them, and what sounds should give, worked
/// out by the definition, one value after the other.
namespace qatest {

struct DeleteLevels {
  void operator()(QA_AudioLevels* record) const {
    delete[] record->levels;
    delete record;
  }
};
using LevelsRecord = std::unique_ptr<QA_AudioLevels, DeleteLevels>;

LevelsRecord checkLevels(LoggedTester& tester);
QA_Loudness checkLoudness(LoggedTester& tester);
bool checkMono(LoggedTester& tester);
bool checkPhase(LoggedTester& tester);

/// One of the four.
struct AudioCheck {
  const char* tag;
  const char* slot;
  const char* budgetKey;
  /// The result as numbers, a verdict being 0 or 1; nothing where there is no record.
  std::vector<double> (*run)(QATester& tester);
  std::vector<double> couldNotRun;
};

const std::vector<AudioCheck>& audioChecks();

std::vector<double> run(const AudioCheck& check, LoggedTester& tester);

/// Settings of a check that measures `budget` blocks behind a slate.
std::string quick(const AudioCheck& check, int budget, int slateSeconds = 0);

/// The percents that a check of this budget sends, when it measures as much.
std::vector<float> percentsOf(int budget);

// Sounds.

/// 8-bit samples by their bytes, 0 to 255.
SampleFunction bytes(CodeFunction byte);

/// Noise over the whole range of `bits`; another for each seed.
int64_t noise(int seed, int64_t index, int bits = 16);

/// Makes each packet from the second on hold `instants` only; `bytes` are those of an instant.
PacketEdit cutLaterPackets(int instants, int bytes);

// What a file holds, block by block as its streams deliver them.

struct SoundBlock {
  int format = 0;
  int channels = 0;
  /// Of all channels, interleaved; bytes as stored. 0 in formats that are not 8-, 16- or 32-bit
  /// integers.
  std::vector<int32_t> values;
};

struct SoundStream {
  int channels = 0;
  int rate = 0;     ///< Hz
  int seconds = 0;  ///< that the file declares
  std::vector<SoundBlock> blocks;
};

using Sound = std::vector<SoundStream>;

Sound soundOf(const std::string& file);

// What the checks should find.

struct Terms {
  int cycles;
  int slateSeconds = 0;
};

/// The entries of the record, judged by the default thresholds.
std::vector<QA_ChannelLevel> expectedLevels(const Sound& sound, const Terms& terms);

/// 0 where the check cannot run.
double expectedLoudness(const Sound& sound, const Terms& terms);

struct ExpectedMono {
  int compared = 0;
  int matching = 0;
  bool passed = false;
};
ExpectedMono expectedMono(const Sound& sound, const Terms& terms, float tolerance = 0.01F,
                          float threshold = 0.01F);

struct ExpectedPhase {
  int compared = 0;
  float meanLag = std::numeric_limits<float>::quiet_NaN();
  bool passed = false;
};
ExpectedPhase expectedPhase(const Sound& sound, const Terms& terms, int threshold = 200);

/// The level of a magnitude in dB.
float levelOf(int64_t magnitude, float dynamicRange = 98.0906F);

/// Runs all four on a file behind a slate of 1 s, and compares what they find.
void expectTheDefinitionToHold(const std::string& file);

void expectSameLevels(const QA_AudioLevels& record, const std::vector<QA_ChannelLevel>& expected);

}  // namespace qatest
