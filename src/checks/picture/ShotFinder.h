#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "checks/picture/PictureNumbers.h"

namespace qatester {

/// What stands between a picture and the one before it.
enum class PictureKind : uint8_t {
  goesOn,
  cut,       ///< a new shot begins
  flash,     ///< a flash or a foreign picture: after a few pictures the shot goes on
  flashEnd,  ///< the shot goes on after a flash
};

/// How far a picture is from the one before, by their thumbs. Levels are 8-bit codes. What is not
/// there is not known: a first picture has none before it, and pictures alike are not compared
/// wherever the one lies on the other.
struct PictureDistance {
  std::optional<float> change = {};        ///< mean difference of the luma of a cell
  std::optional<float> colourChange = {};  ///< of Cb and Cr together
  std::optional<float> unlike = {};        ///< see `Likeness`
};

/// Where shots begin, and flashes: decided some pictures later.
struct PictureDecision {
  int64_t number = 0;
  PictureKind kind = PictureKind::goesOn;
  PictureDistance distance = {};
};

/// A change from one picture to another over several.
struct GradualChange {
  enum class Kind : uint8_t { dissolve, fadeOut, fadeIn };
  Kind kind = Kind::dissolve;
  int64_t first = 0;  ///< the last picture of the old
  int64_t last = 0;   ///< the first picture of the new
};

/// Finds cuts, flashes, fades and dissolves by thumbs of the pictures.
class ShotFinder {
 public:
  /// So many pictures later a picture is decided.
  static constexpr int kDelay = 5;

  /// The next picture; a cut where its size is another. `change` is that of its pixels.
  void add(Thumb thumb, const ChromaGrid& chroma, float change);

  /// No picture follows.
  void finish();

  /// Those that have been decided since the last call, in order.
  std::vector<PictureDecision> takeDecisions();

  /// Those that are complete, in the order of their ends; all of them after `finish`.
  const std::vector<GradualChange>& gradualChanges() const { return changes_; }

 private:
  struct Entry {
    int64_t number = 0;
    Thumb thumb;
    ChromaGrid chroma;
    bool isFlat = false;
    bool hasPrevious = false;   ///< of the same size
    float pixelChange = 0.0F;   ///< of the picture
    float change = 0.0F;        ///< of the thumb
    float colourChange = 0.0F;  ///< of the chroma grid
    Likeness likeness;          ///< against the one before; only where the thumb changes
  };

  /// A stretch that looks like a gradual change.
  struct Window {
    int64_t first;
    int64_t last;
    GradualChange::Kind kind;

    int64_t length() const { return last - first; }
  };

  static PictureDistance distanceTo(const Entry& its);

  const Entry* entry(int64_t number) const;
  /// 0 where there is no such picture.
  float changeAt(int64_t number) const;
  /// The second largest of two pictures on either side: one large neighbour is allowed.
  template <typename Value>
  float secondLargest(int64_t number, const Value& value) const;

  void decideNext();
  PictureKind kindOf(const Entry& its);
  bool isCut(const Entry& its) const;
  bool isCutBetweenFields(const Entry& its) const;
  bool isCutOfColour(const Entry& its) const;
  /// Whether a picture shows what was there before a flash.
  static bool hasReturned(const Entry& flash, const Entry& before, const Entry& after);
  /// The first picture after the flash that begins here.
  std::optional<int64_t> flashEnd(const Entry& its) const;

  void lookForWindow(int64_t last);
  /// Of two windows that overlap.
  static bool isBetter(const Window& one, const Window& other);
  std::optional<GradualChange::Kind> kindOfWindow(const Entry& first, const Entry& last) const;
  bool isGradual(const Entry& first, const Entry& last) const;
  void closeWindow();

  std::deque<Entry> entries_;
  int64_t added_ = 0;
  int64_t decided_ = 0;
  int64_t flashEnd_ = -1;     ///< of the flash that has begun
  int64_t fieldsCutAt_ = -1;  ///< the second picture of a cut between fields
  int64_t shotBegin_ = 0;
  std::optional<Window> window_;
  int64_t windowsEnd_ = -1;
  std::vector<PictureDecision> decisions_;
  std::vector<GradualChange> changes_;
};

}  // namespace qatester
