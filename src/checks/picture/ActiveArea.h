#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "checks/picture/LumaKernels.h"
#include "checks/picture/PictureNumbers.h"

namespace qatester {

/// Pixels at the edges of a picture that are no content.
struct Margins {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  friend bool operator==(const Margins&, const Margins&) = default;
};

/// The margins of one picture, by the sums of its lines; empty where the picture does not show
/// them: too little of it is light.
std::optional<Margins> marginsOf(const LineSums& lines, double blackShare);

/// A picture that was looked at for its margins.
struct AreaSample {
  Margins margins;
  Thumb thumb;
};

/// The margins of a shot of this size: what its pictures have in common, less margins that are dark
/// scenery.
std::optional<Margins> marginsOfShot(const std::vector<AreaSample>& samples, int width, int height);

/// Pictures of one size and one active area.
struct ActiveArea {
  int64_t first = 0;
  int64_t end = 0;  ///< exclusive
  int width = 0;    ///< of the picture
  int height = 0;
  Margins margins;

  int activeWidth() const { return width - margins.left - margins.right; }
  int activeHeight() const { return height - margins.top - margins.bottom; }
};

/// Joins shots, in order: empty margins are unknown, and those of the shots beside them. A shot
/// with less content than the ones before may be dark, and is another area only when it lasts, with
/// those that follow, for `darkLimit` pictures.
class ActiveAreas {
 public:
  explicit ActiveAreas(int64_t darkLimit) : darkLimit_(darkLimit) {}

  void add(int64_t first, int64_t end, int width, int height,
           const std::optional<Margins>& margins);
  const std::vector<ActiveArea>& areas() const { return areas_; }

 private:
  int64_t darkLimit_;
  std::vector<ActiveArea> areas_;
  bool isKnown_ = false;  ///< the margins of the last area
  std::optional<ActiveArea> smaller_;
};

}  // namespace qatester
