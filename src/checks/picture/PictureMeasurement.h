#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "checks/picture/PictureNumbers.h"
#include "checks/picture/ShotFinder.h"
#include "tester/ProgrammeRun.h"

namespace qatester {

// The pictures of a file in numbers, which all checks of the picture look at together.

/// What a file says of the fields of a picture.
enum class FieldFlag : uint8_t { progressive, topFirst, bottomFirst };

/// A picture, and what stands between it and the one before.
struct PictureRecord {
  int64_t number = 0;
  int width = 0;
  int height = 0;
  bool isFullRange = false;
  bool isDamaged = false;
  /// Of another size than the picture before, or the first: numbers of change are 0.
  bool isFirstOfSize = false;
  FieldFlag flagged = FieldFlag::progressive;
  PictureKind kind = PictureKind::goesOn;
  PictureDistance distance = {};
  PictureNumbers numbers = {};
  Thumb thumb = {};
  bool isFlat = false;  ///< nothing can be recognised in it
  ChromaGrid chroma = {};
  /// Of the pixels, those that are no lighter than what counts as black: 0 to 1. At most
  /// `PictureNeeds::blackShare` without being counted where the picture is too bright for more.
  double blackShare = 0.0;
  /// Of some pictures, for measurements that ask for them.
  std::optional<LineSums> lines = {};

  /// A sum of all pixels, a pixel.
  double perPixel(uint64_t sum) const {
    return static_cast<double>(sum) / (static_cast<double>(width) * height);
  }
};

/// When pictures are shown, in seconds from the file's start.
class PictureTimes {
 public:
  /// The next picture; empty: it has no time, and follows at the usual distance.
  void add(std::optional<double> seconds);

  int64_t count() const { return static_cast<int64_t>(seconds_.size()); }
  /// Pictures in a second: as declared, otherwise as they came.
  double rate() const;
  void declareRate(double rate) { declaredRate_ = rate; }
  /// Of the picture after the last one as well.
  double seconds(int64_t number) const;

 private:
  std::vector<double> seconds_;
  double declaredRate_ = 0.0;
};

struct PictureNeeds {
  /// Up to which share of the range a pixel is black, and how many of them make a black picture.
  double blackLuma = 0.1;
  double blackShare = 0.98;
  /// Sums of rows and columns, of some pictures.
  bool lines = false;
};

/// What is known when all pictures have come.
struct PictureSummary {
  std::vector<GradualChange> gradualChanges;
};

/// A check that looks at the luma of all pictures of a file, in order.
class PictureMeasurement : public ProgrammeMeasurement {
 public:
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const final { return {.pictures = true, .packets = true}; }
  MakeShared sharedBy() const final;
  std::string whyNothing() const override;
  /// The worst one, or else the first.
  std::vector<int64_t> picturesOf(const QAEvent& event) const override;

  virtual PictureNeeds needs() const { return {}; }

  // What the engine calls.
  void start(const ProgrammeFacts& facts, std::shared_ptr<const PictureTimes> times);
  virtual void take(const PictureRecord& record) = 0;
  void finish(const PictureSummary& summary, const std::string& problem);

 protected:
  using ProgrammeMeasurement::begin;
  using ProgrammeMeasurement::take;

  virtual void beginPictures(const ProgrammeFacts&) {}
  virtual void endPictures(const PictureSummary&) {}

  const PictureTimes& times() const { return *times_; }

  /// The last picture before an event, and its own last one, or its first one where it has no end.
  static std::vector<int64_t> neighboursOf(const QAEvent& event);

  /// An event of pictures, the end exclusive.
  QAEvent eventOf(int64_t first, int64_t end, const char* what) const;

 private:
  std::shared_ptr<const PictureTimes> times_ = std::make_shared<PictureTimes>();
  std::string problem_;
};

}  // namespace qatester
