#pragma once

#include <array>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/LoggedTester.h"
#include "tester/QATester.h"

/// The chroma and the gamut check, for tests that hold for both, and what pixels should give,
/// worked out one by one.
namespace qatest {

struct ChromaCheck {
  using Level = QA_ChromaLevel;
  static constexpr const char* kTag = "QAChroma";
  static constexpr const char* kSlot = "chroma";
  static constexpr const char* kBudgetKey = "ChromaFrameChecks";
  static constexpr const char* kMinKey = "ChromaRGBMin";
  static constexpr const char* kMaxKey = "ChromaRGBMax";
  static constexpr const char* kNoVideoMessage = "QAChroma: No video stream";
  static constexpr std::array kDisplays{"Diamond-Display"};

  static Level run(QATester& tester) { return tester.checkChroma(); }
};

struct GamutCheck {
  using Level = QA_GamutLevel;
  static constexpr const char* kTag = "QAGamut";
  static constexpr const char* kSlot = "gamut";
  static constexpr const char* kBudgetKey = "GamutFrameChecks";
  static constexpr const char* kMinKey = "GamutMin";
  static constexpr const char* kMaxKey = "GamutMax";
  static constexpr const char* kNoVideoMessage = "QAGamut: No video stream.";
  static constexpr std::array kDisplays{"CIE1931-Display", "YCbCr-Display"};

  static Level run(QATester& tester) { return tester.checkGamut(); }
};

/// Maximum and minimum of R, G, B and (chroma) Y, in the order of the record.
std::vector<int> extremesOf(const QA_ChromaLevel& level);
std::vector<int> extremesOf(const QA_GamutLevel& level);

struct Colour {
  int y;
  int u;
  int v;
};

/// Luma, then R, G and B, by the definition: single precision, left to right, cut off.
struct Converted {
  int y;
  int r;
  int g;
  int b;
};
Converted convert(const Colour& colour);

/// Adds up extremes, a pixel at a time.
class Expected {
 public:
  void add(const Colour& colour);

  /// What `extremesOf` gives of the check's record.
  template <typename Check>
  std::vector<int> extremes() const {
    std::vector<int> all = extremesOf(seen_);
    all.resize(extremesOf(typename Check::Level{}).size());  // gamut has no luma, which is last
    return all;
  }

 private:
  QA_ChromaLevel seen_;
};

/// What the frames [first, first + count) of a lossless clip should give.
Expected expectedOf(const VideoSpec& video, int first, int count);

/// A lossless clip in one colour.
VideoSpec plain(const Colour& colour, int frames = 50);

/// Settings of a check that drops one frame and then measures `budget`.
template <typename Check>
std::string quick(int budget) {
  return std::string("QATesterSlateSeconds=0\n") + Check::kBudgetKey + "=" +
         std::to_string(budget) + "\n";
}

template <typename Check>
typename Check::Level check(LoggedTester& tester) {
  return tester.run([](QATester& t) { return Check::run(t); });
}

}  // namespace qatest
