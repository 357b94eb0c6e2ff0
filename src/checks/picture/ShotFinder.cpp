#include "checks/picture/ShotFinder.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace qatester {

namespace {

/// Thumbs that change less are alike, in levels.
constexpr float kLeastChange = 2.0F;

/// A new shot has little in common with the one before, wherever it lies.
constexpr float kUnlike = 0.38F;
constexpr float kVeryUnlike = 0.6F;
constexpr float kLeastDistance = 4.0F;
/// A picture without content begins or ends with such a step.
constexpr float kStepFromFlat = 8.0F;
/// Changes so large, and so much larger than those beside them, need to be less unlike.
constexpr float kSomewhatUnlike = 0.2F;
constexpr float kLargeChange = 40.0F;
constexpr float kChangedCells = 0.6F;
constexpr float kPartUnlike = 0.3F;
constexpr float kPartChange = 20.0F;
constexpr float kPartCells = 0.4F;
/// Two changes alike that add up, where one field of a picture is of either shot: it is the mean of
/// both.
constexpr float kFieldsUnlike = 0.45F;
constexpr float kFieldsChange = 10.0F;
constexpr double kFieldsResidual = 0.05;
/// Of Cb and Cr, where luma hardly changes.
constexpr float kColourChange = 10.0F;
constexpr int kColourCell = 8;

constexpr float kFlashChange = 20.0F;
/// How near the picture after a flash is to the one before, against the change.
constexpr float kReturned = 0.35F;
constexpr float kNearer = 0.5F;
constexpr int64_t kLongestFlash = 4;

/// Lengths at which gradual changes are looked for, in pictures.
constexpr std::array<int64_t, 9> kWindows = {4, 6, 8, 12, 16, 24, 32, 48, 64};
constexpr float kLeastGradual = 4.0F;
constexpr float kFlatGradual = 16.0F;
constexpr double kOffTheLine = 0.2;
constexpr int64_t kFadePart = 2;
/// A dissolve or a fade takes most of the window that it was found in.
constexpr int64_t kShrunk = 2;
/// Thumbs that are kept for them.
constexpr int64_t kKept = 160;

float colourChangeOf(const ChromaGrid& one, const ChromaGrid& other) {
  if (!one.isThere || !other.isThere) {
    return 0.0F;
  }
  int sum = 0;
  for (std::size_t i = 0; i < one.blue.size(); ++i) {
    sum += std::abs(one.blue[i] - other.blue[i]) + std::abs(one.red[i] - other.red[i]);
  }
  return static_cast<float>(sum) / static_cast<float>(one.blue.size());
}

float shareOfChangedCells(const Thumb& one, const Thumb& other, int least) {
  std::size_t changed = 0;
  for (std::size_t i = 0; i < one.cells.size(); ++i) {
    changed += std::abs(one.cells[i] - other.cells[i]) > least ? 1U : 0U;
  }
  return static_cast<float>(changed) / static_cast<float>(one.cells.size());
}

double meanOf(const Thumb& thumb) {
  double sum = 0.0;
  for (const uint8_t cell : thumb.cells) {
    sum += cell;
  }
  return sum / static_cast<double>(thumb.cells.size());
}

/// Where a thumb stands on the straight way from one to another, and how far it is off that way.
struct OnTheWay {
  double part;      ///< 0 at the one, 1 at the other
  double residual;  ///< squared, against the length of the way
};

OnTheWay placeOf(const Thumb& thumb, const Thumb& from, const Thumb& to) {
  int64_t products = 0;
  int64_t squares = 0;
  int64_t lengths = 0;
  for (std::size_t i = 0; i < thumb.cells.size(); ++i) {
    const int way = to.cells[i] - from.cells[i];
    const int gone = thumb.cells[i] - from.cells[i];
    products += int64_t{way} * gone;
    squares += int64_t{gone} * gone;
    lengths += int64_t{way} * way;
  }
  if (lengths == 0) {
    return {0.0, 1.0};
  }
  const double length = static_cast<double>(lengths);
  const double part = static_cast<double>(products) / length;
  return {part, static_cast<double>(squares) / length - part * part};
}

}  // namespace

const ShotFinder::Entry* ShotFinder::entry(int64_t number) const {
  if (entries_.empty() || number < entries_.front().number || number >= added_) {
    return nullptr;
  }
  return &entries_[static_cast<std::size_t>(number - entries_.front().number)];
}

float ShotFinder::changeAt(int64_t number) const {
  const Entry* its = entry(number);
  return its != nullptr ? its->change : 0.0F;
}

template <typename Value>
float ShotFinder::secondLargest(int64_t number, const Value& value) const {
  std::array<float, 4> values{};
  std::size_t count = 0;
  for (const int64_t offset : {-2, -1, 1, 2}) {
    const Entry* its = entry(number + offset);
    // What moves at the end goes on moving.
    its = its == nullptr && offset == 2 ? entry(number + 1) : its;
    values[count++] = its != nullptr ? value(*its) : 0.0F;
  }
  std::nth_element(values.begin(), values.begin() + 1, values.end(), std::greater<>());
  return values[1];
}

void ShotFinder::add(Thumb thumb, const ChromaGrid& chroma, float change) {
  Entry next;
  next.number = added_;
  next.isFlat = isFlat(thumb);
  next.chroma = chroma;
  next.pixelChange = change;
  const Entry* previous = entry(added_ - 1);
  next.hasPrevious = previous != nullptr && previous->thumb.hasSizeOf(thumb);
  if (next.hasPrevious) {
    next.change = distanceOf(previous->thumb, thumb);
    next.colourChange = colourChangeOf(previous->chroma, chroma);
    if (next.change >= kLeastChange) {
      next.likeness = compareShifted(previous->thumb, thumb);
    }
  }
  next.thumb = std::move(thumb);
  entries_.push_back(std::move(next));
  ++added_;
  if (added_ > kDelay) {
    decideNext();
  }
  while (entries_.front().number < decided_ - kKept) {
    entries_.pop_front();
  }
}

void ShotFinder::finish() {
  while (decided_ < added_) {
    decideNext();
  }
  closeWindow();
}

std::vector<PictureDecision> ShotFinder::takeDecisions() {
  return std::exchange(decisions_, {});
}

PictureDistance ShotFinder::distanceTo(const Entry& its) {
  if (!its.hasPrevious) {
    return {};
  }
  PictureDistance distance{.change = its.change};
  if (its.chroma.isThere) {
    distance.colourChange = its.colourChange;
  }
  if (its.change >= kLeastChange) {
    distance.unlike = its.likeness.unlike;
  }
  return distance;
}

void ShotFinder::decideNext() {
  const Entry& its = *entry(decided_);
  const PictureKind kind = kindOf(its);
  decisions_.push_back({its.number, kind, distanceTo(its)});
  if (kind != PictureKind::goesOn || its.number == 0) {
    closeWindow();
    shotBegin_ = its.number;
  } else {
    lookForWindow(its.number);
  }
  ++decided_;
}

PictureKind ShotFinder::kindOf(const Entry& its) {
  if (its.number == 0) {
    return PictureKind::goesOn;
  }
  if (its.number < flashEnd_) {
    return PictureKind::flash;
  }
  if (its.number == flashEnd_) {
    return PictureKind::flashEnd;
  }
  if (its.number == fieldsCutAt_) {
    return PictureKind::goesOn;
  }
  if (!its.hasPrevious) {
    return PictureKind::cut;
  }
  const auto change = [](const Entry& other) { return other.change; };
  const bool isBetweenFields = isCutBetweenFields(its);
  const bool isNewShot = isCut(its) || isBetweenFields || isCutOfColour(its);
  const bool isLarge =
      its.change >= kFlashChange && its.change >= 2.0F * secondLargest(its.number, change);
  if (isNewShot || isLarge) {
    if (const std::optional<int64_t> end = flashEnd(its)) {
      flashEnd_ = *end;
      return PictureKind::flash;
    }
  }
  if (isNewShot && isBetweenFields) {
    fieldsCutAt_ = its.number + 1;
  }
  return isNewShot ? PictureKind::cut : PictureKind::goesOn;
}

bool ShotFinder::isCut(const Entry& its) const {
  const Entry& before = *entry(its.number - 1);
  const float secondChange =
      secondLargest(its.number, [](const Entry& other) { return other.change; });
  if (its.isFlat || before.isFlat) {
    return its.change >= kStepFromFlat && its.change >= 2.0F * secondChange;
  }
  const float secondUnlike =
      secondLargest(its.number, [](const Entry& other) { return other.likeness.unlike; });
  const float unlike = its.likeness.unlike;
  if (unlike >= kUnlike && its.likeness.distance >= kLeastDistance) {
    const bool standsOut = unlike >= 2.0F * secondUnlike &&
                           (unlike >= kVeryUnlike || its.change >= 1.3F * secondChange);
    if (standsOut || (unlike >= kVeryUnlike && unlike >= 1.6F * secondUnlike)) {
      return true;
    }
  }
  if (unlike < kSomewhatUnlike) {
    return false;
  }
  const float changed = shareOfChangedCells(before.thumb, its.thumb, 3);
  // A part of the picture may stand still.
  const bool isOfPart = unlike >= kPartUnlike && its.change >= kPartChange &&
                        changed >= kPartCells && its.change >= 8.0F * secondChange &&
                        unlike >= 8.0F * secondUnlike;
  return isOfPart || (its.change >= kLargeChange && its.change >= 3.0F * secondChange) ||
         (its.change >= kStepFromFlat && its.change >= 8.0F * secondChange &&
          unlike >= 4.0F * secondUnlike && changed >= kChangedCells);
}

bool ShotFinder::isCutBetweenFields(const Entry& its) const {
  const Entry* next = entry(its.number + 1);
  if (next == nullptr || !next->hasPrevious) {
    return false;
  }
  const float larger = std::max(its.change, next->change);
  const float beside = std::max(changeAt(its.number - 1), changeAt(its.number + 2));
  if (std::min(its.change, next->change) < 0.75F * larger || its.change < 1.3F * beside) {
    return false;
  }
  const Thumb& before = entry(its.number - 1)->thumb;
  const float across = distanceOf(before, next->thumb);
  return across >= kFieldsChange && across >= 0.9F * (its.change + next->change) &&
         placeOf(its.thumb, before, next->thumb).residual <= kFieldsResidual &&
         compareShifted(before, next->thumb).unlike >= kFieldsUnlike;
}

bool ShotFinder::isCutOfColour(const Entry& its) const {
  const float second =
      secondLargest(its.number, [](const Entry& other) { return other.colourChange; });
  if (its.colourChange < kColourChange || its.colourChange < 3.0F * second ||
      its.change >= kStepFromFlat) {
    return false;
  }
  const ChromaGrid& before = entry(its.number - 1)->chroma;
  std::size_t changed = 0;
  for (std::size_t i = 0; i < before.blue.size(); ++i) {
    const int change =
        std::abs(its.chroma.blue[i] - before.blue[i]) + std::abs(its.chroma.red[i] - before.red[i]);
    changed += change > kColourCell ? 1U : 0U;
  }
  return static_cast<float>(changed) >= kChangedCells * static_cast<float>(before.blue.size());
}

bool ShotFinder::hasReturned(const Entry& flash, const Entry& before, const Entry& after) {
  // What moves in between goes on moving.
  const float moved = before.colourChange * static_cast<float>(after.number - before.number);
  if (colourChangeOf(before.chroma, after.chroma) >
      std::max({kReturned * flash.colourChange, kColourChange / 2.0F, moved})) {
    return false;
  }
  if (before.isFlat) {
    return distanceOf(before.thumb, after.thumb) <= kReturned * flash.change;
  }
  // A picture of a pan lies on the one before, moved, and is ever farther off: no flash does.
  if (distanceOf(before.thumb, after.thumb) > kNearer * flash.change) {
    return false;
  }
  const Likeness likeness = compareShifted(before.thumb, after.thumb);
  return likeness.distance <= kReturned * flash.likeness.distance && likeness.unlike < kReturned;
}

std::optional<int64_t> ShotFinder::flashEnd(const Entry& its) const {
  const Entry& before = *entry(its.number - 1);
  for (int64_t number = its.number + 1; number <= its.number + kLongestFlash; ++number) {
    const Entry* after = entry(number);
    if (after == nullptr || !after->thumb.hasSizeOf(before.thumb)) {
      return std::nullopt;
    }
    if (hasReturned(its, before, *after)) {
      return number;
    }
  }
  return std::nullopt;
}

bool ShotFinder::isBetter(const Window& one, const Window& other) {
  using Kind = GradualChange::Kind;
  const bool isDissolve = one.kind == Kind::dissolve;
  if (isDissolve != (other.kind == Kind::dissolve)) {
    // The largest part of a fade looks like a dissolve to a dark picture.
    return isDissolve ? one.length() > kFadePart * other.length()
                      : kFadePart * one.length() >= other.length();
  }
  return one.length() > other.length();
}

void ShotFinder::lookForWindow(int64_t last) {
  if (window_.has_value() && last - kWindows.back() > windowsEnd_) {
    closeWindow();
  }
  const Entry& end = *entry(last);
  float changes = 0.0F;
  int64_t from = last;
  for (const int64_t length : kWindows) {
    const int64_t first = last - length;
    if (first < shotBegin_) {
      return;
    }
    for (; from > first; --from) {
      changes += changeAt(from);
    }
    // The way there and back is no shorter.
    if (changes < kLeastGradual) {
      continue;
    }
    const Entry& begin = *entry(first);
    const std::optional<GradualChange::Kind> kind = kindOfWindow(begin, end);
    if (!kind.has_value() || !isGradual(begin, end)) {
      continue;
    }
    if (window_.has_value() && first > windowsEnd_) {
      closeWindow();
    }
    const Window found{first, last, *kind};
    if (!window_.has_value() || isBetter(found, *window_)) {
      window_ = found;
    }
    windowsEnd_ = last;
  }
}

std::optional<GradualChange::Kind> ShotFinder::kindOfWindow(const Entry& first,
                                                            const Entry& last) const {
  using Kind = GradualChange::Kind;
  const float distance = distanceOf(first.thumb, last.thumb);
  if (distance < kLeastGradual) {
    return std::nullopt;
  }
  if (first.isFlat && last.isFlat) {
    if (distance < kFlatGradual) {
      return std::nullopt;
    }
    return meanOf(last.thumb) < meanOf(first.thumb) ? Kind::fadeOut : Kind::fadeIn;
  }
  if (first.isFlat || last.isFlat) {
    return last.isFlat ? Kind::fadeOut : Kind::fadeIn;
  }
  if (compareShifted(first.thumb, last.thumb).unlike < kUnlike) {
    return std::nullopt;
  }
  return Kind::dissolve;
}

bool ShotFinder::isGradual(const Entry& first, const Entry& last) const {
  const int64_t length = last.number - first.number;
  const double mostResidual = length >= 16 && length <= 32 ? 0.18 : 0.12;
  for (const int64_t quarter : {2, 1, 3}) {
    const int64_t number = first.number + length * quarter / 4;
    const OnTheWay place = placeOf(entry(number)->thumb, first.thumb, last.thumb);
    const double wanted = static_cast<double>(number - first.number) / static_cast<double>(length);
    if (std::abs(place.part - wanted) > kOffTheLine || place.residual > mostResidual) {
      return false;
    }
  }
  if (length > 8) {
    return true;
  }
  // Titles that roll change many pixels and few cells.
  float cells = 0.0F;
  float pixels = 0.0F;
  for (int64_t number = first.number + 1; number <= last.number; ++number) {
    cells += entry(number)->change;
    pixels += entry(number)->pixelChange;
  }
  return cells >= 0.7F * pixels;
}

void ShotFinder::closeWindow() {
  if (!window_.has_value()) {
    return;
  }
  const Window window = *std::exchange(window_, std::nullopt);
  const Entry* first = entry(window.first);
  const Entry* last = entry(window.last);
  GradualChange change{.kind = window.kind, .first = window.first, .last = window.last};
  if (first != nullptr && last != nullptr) {
    // The ends are where it stops moving.
    const double least = 1.0 / static_cast<double>(window.length());
    const auto moves = [&](int64_t from, int64_t to) {
      const Entry* one = entry(from);
      const Entry* other = entry(to);
      return one != nullptr && other != nullptr && from >= shotBegin_ && to < decided_ &&
             placeOf(other->thumb, first->thumb, last->thumb).part -
                     placeOf(one->thumb, first->thumb, last->thumb).part >
                 least;
    };
    change.first = change.last = (window.first + window.last) / 2;
    while (moves(change.last, change.last + 2)) {
      ++change.last;
    }
    change.last += moves(change.last - 1, change.last + 1) ? 1 : 0;
    while (moves(change.first - 2, change.first)) {
      --change.first;
    }
    change.first -= moves(change.first - 1, change.first + 1) ? 1 : 0;
    // A dissolve changes all the way. A shot that moves may happen to lie on the line for a moment.
    if (kShrunk * (change.last - change.first) < window.length()) {
      return;
    }
  }
  changes_.push_back(change);
}

}  // namespace qatester
