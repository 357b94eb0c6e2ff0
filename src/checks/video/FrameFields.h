#pragma once

#include "foundation/Export.h"
#include "visual/Visual.h"

/// A picture and its two fields, as OpenCV images of 8-bit blue, green, red, which it owns.
struct QATESTER_API FrameFields {
  IplImage* top = nullptr;     ///< rows 0, 2, 4, ...
  IplImage* bottom = nullptr;  ///< rows 1, 3, 5, ...
  IplImage* frame = nullptr;   ///< the picture

  FrameFields() = default;
  ~FrameFields();
  FrameFields(const FrameFields&) = delete;
  FrameFields& operator=(const FrameFields&) = delete;

  /// Makes the two fields of a picture, of half its height each, rounded down: the last row of an
  /// odd number is left out. They are the caller's; null unless `frame` is a picture of 8-bit blue,
  /// green, red. Does nothing without a place for each.
  static void split(IplImage* frame, IplImage** top, IplImage** bottom);
};

/// Whether more than `threshold` of the pixels of `a` are no brighter than those of `b`, in grey.
/// Pixels that are brighter in `b` do not count: clients rely on the one-sided comparison. Images
/// have 8-bit channels, three (blue, green, red) or one. False for images of different or no size,
/// of another kind, and without an image.
QATESTER_API bool compareFields(IplImage* a, IplImage* b, float threshold);
