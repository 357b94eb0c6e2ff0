#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/LoggedTester.h"
#include "support/Values.h"
#include "tester/QATester.h"

/// The checks that measure converted pictures (pulldown, tearing, transitions), for tests that hold
/// for all of them, and what a file should give, worked out by the definition, one pixel after the
/// other.
namespace qatest {

/// One of the three.
struct PictureCheck {
  const char* tag;
  const char* slot;
  const char* budgetKey;
  bool logsCompletion;
  /// Progress is reported with each picture whose number, from 1, is a multiple of this.
  int progressStep;
  /// The result as numbers, a verdict being 0 or 1.
  std::vector<double> (*run)(QATester& tester);
  std::vector<double> couldNotRun;
  /// The result of a budget of 0 or less.
  std::vector<double> nothingMeasured;
};

const std::vector<PictureCheck>& pictureChecks();

std::vector<double> run(const PictureCheck& check, LoggedTester& tester);

QA_PullDown checkPulldown(LoggedTester& tester);
bool checkTearing(LoggedTester& tester);
int checkTransitions(LoggedTester& tester);

/// The numbers of a pulldown record.
std::vector<double> numbersOf(const QA_PullDown& record);

/// Settings of a check that measures `budget` pictures behind a slate.
std::string quick(const PictureCheck& check, int budget, int slateSeconds = 0);
/// The same for all of them.
std::string quickPictures(int budget, int slateSeconds = 0);

/// The percents of a budget that is measured in full.
std::vector<float> percentsOf(int budget, int progressStep = 1);

// Clips.

/// Whether a pixel of a frame is white.
using IsWhite = std::function<bool(int x, int y, int frame)>;

/// A lossless clip of black and white pixels, which are 0 and 255 when they are converted.
VideoSpec blackAndWhite(int frames, int width, int height, IsWhite isWhite);

/// Noise in every component; some of it stands still from one frame to the next.
uint8_t noisePixel(int component, int x, int y, int frame);

struct SizePart {
  int width;
  int frames;
  PixelFunction pixel;  ///< frames count from 0 in each part
};

/// A transport stream at 25 frames a second whose width changes from part to part.
std::string clipOfSizes(const TempDir& dir, const std::string& name,
                        const std::vector<SizePart>& parts);

/// A file that FFmpeg's command makes of these arguments. Throws when it cannot.
std::string filteredClip(const TempDir& dir, const std::string& name,
                         const std::vector<std::string>& arguments);

// What a file holds.

struct PackedPicture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;  ///< blue, green, red, without gaps between rows
  double time = 0.0;           ///< seconds
};

struct Footage {
  bool readable = false;  ///< there is video in a pixel format that can be measured
  float fps = 0.0F;
  double seconds = 0.0;  ///< that the container declares
  int slateSeconds = 0;
  std::vector<PackedPicture> pictures;  ///< behind the slate
};

/// With at most `most` pictures.
Footage footageOf(const std::string& file, int slateSeconds, int most);

/// The budget of pulldown and transitions.
int boundedBudget(const Footage& footage, int budget);
/// The budget of tearing.
int boundedTearingBudget(const Footage& footage, int budget);

/// An image whose rows have a length that is a multiple of four bytes.
struct RowImage {
  RowImage(int width, int height, int channels);

  uint8_t& at(int x, int y, int channel = 0) { return bytes[offset(x, y, channel)]; }
  uint8_t at(int x, int y, int channel = 0) const { return bytes[offset(x, y, channel)]; }

  int width;
  int height;
  int channels;
  int widthStep;
  std::vector<uint8_t> bytes;

 private:
  std::size_t offset(int x, int y, int channel) const {
    return static_cast<std::size_t>(y * widthStep + x * channels + channel);
  }
};

/// The bytes of a picture, copied as one run; the image is 0 where the run is too short.
RowImage imageOf(const PackedPicture& picture);

// What the checks should find in the first pictures, as many as the bounded budget.

struct ExpectedPulldown {
  int groups = 0;
  int groups23 = 0;
  int groups22 = 0;
  QA_PullDown record;
};
ExpectedPulldown expectedPulldown(const Footage& footage, int budget);

struct ExpectedTearing {
  /// Of each picture; 0 of one that there is nothing to compare with.
  std::vector<int> percents;
  /// What is torn of each picture: the places that are 255.
  std::vector<RowImage> torn;
  double meanShare = 0.0;
  bool passed = false;
};
ExpectedTearing expectedTearing(const Footage& footage, int budget, float threshold = 0.1F);

struct ExpectedTransitions {
  /// Of each picture; -1 of one that has none, as its neighbours are missing.
  std::vector<int> levels;
  std::vector<int> jumps;
  std::vector<double> seconds;
  int count = 0;
};
ExpectedTransitions expectedTransitions(const Footage& footage, int budget,
                                        float percentChange = 0.1F);

/// Runs all three on a file with this budget and slate, and compares what they find, figures
/// included.
void expectTheDefinitionToHold(const std::string& file, int budget, int slateSeconds = 0);

}  // namespace qatest
