#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "tester/QAEnums.h"

/// What `QATester::checkFrameRate` found; all zero when the check could not run.
struct QA_FrameRate {
  /// The two rates, each rounded to two decimals, are equal.
  bool passed = false;
  /// Frames per second that the stream declares, rounded to two decimals.
  float declaredFps = 0.0F;
  /// Mean over the budgeted frames of (index + 1) / time, rounded to two decimals.
  float measuredFps = 0.0F;
};

/// What `QATester::checkFieldDominance` found; both unknown when the check could not run.
struct QA_FieldDominance {
  /// Interlaced, progressive or, where the flags do not agree, unknown.
  QA_FrameType frameType = QA_FRAME_TYPE_UNKNOWN;
  /// The field that comes first; unknown unless the frames are interlaced.
  QA_FieldType fieldType = QA_FIELD_TYPE_UNKNOWN;
};

/// What `QATester::checkFramePullDown` found; all zero when the check could not run.
struct QA_PullDown {
  /// The cadence, 2:3 or 2:2: pictures of film last for this many fields in turn.
  int cadenceFirst = 0;
  int cadenceSecond = 0;  ///< the second number of the cadence
  /// The share of the groups of five frames in the budget that carry the cadence.
  float confidence = 0.0F;
  /// The confidence is more than 0.6.
  bool detected = false;
};

/// What `QATester::checkChroma` found: the extremes of all pixels of all measured frames. R, G and
/// B are BT.601 studio-range values, unclamped; Y is luma as stored. A record that saw no pixel has
/// its maxima at INT_MIN and its minima at INT_MAX.
struct QA_ChromaLevel {
  /// Every extreme lies strictly inside its limits.
  bool passed = false;
  int32_t rMax = std::numeric_limits<int32_t>::min();  ///< the highest R
  int32_t rMin = std::numeric_limits<int32_t>::max();  ///< the lowest R
  int32_t gMax = std::numeric_limits<int32_t>::min();  ///< the highest G
  int32_t gMin = std::numeric_limits<int32_t>::max();  ///< the lowest G
  int32_t bMax = std::numeric_limits<int32_t>::min();  ///< the highest B
  int32_t bMin = std::numeric_limits<int32_t>::max();  ///< the lowest B
  int32_t yMax = std::numeric_limits<int32_t>::min();  ///< the highest Y
  int32_t yMin = std::numeric_limits<int32_t>::max();  ///< the lowest Y
};

/// What `QATester::checkGamut` found: as `QA_ChromaLevel`, without luma.
struct QA_GamutLevel {
  /// Every extreme lies strictly inside its limits.
  bool passed = false;
  int32_t rMax = std::numeric_limits<int32_t>::min();  ///< the highest R
  int32_t rMin = std::numeric_limits<int32_t>::max();  ///< the lowest R
  int32_t gMax = std::numeric_limits<int32_t>::min();  ///< the highest G
  int32_t gMin = std::numeric_limits<int32_t>::max();  ///< the lowest G
  int32_t bMax = std::numeric_limits<int32_t>::min();  ///< the highest B
  int32_t bMin = std::numeric_limits<int32_t>::max();  ///< the lowest B
};

/// The levels of one channel: 20 log10 of the magnitude in code values, less the dynamic range of
/// the samples' format, in dB. A full-scale 16-bit sample reads -7.78, a value of 1 reads -98.09.
struct QA_ChannelLevel {
  /// Of the samples measured last, in dB.
  float dynamicRange = 0.0F;
  /// The highest of the last blocks, from the last one on whose first value is not zero, in dB. 0
  /// when all values were zero.
  float maxLevel = 0.0F;
  /// The lowest of the same blocks.
  float minLevel = 0.0F;
  uint32_t audioStreamNumber = 0;  ///< counted from 0 among the audio streams
  uint32_t channelNumber = 0;      ///< counted from 0 in its stream
  /// `maxLevel` lies strictly between the thresholds.
  bool passed = false;
};

/// What `QATester::checkAudioLevels` found. The array is the receiver's, made with `new[]`.
struct QA_AudioLevels {
  /// One entry for each of `channels` channels of each of `streams` streams, in this order.
  QA_AudioLevels(unsigned int streams, unsigned int channels, QA_StreamSetup setup)
      : levels(new QA_ChannelLevel[static_cast<std::size_t>(streams) * channels]),
        count(streams * channels),
        setup(setup) {
    for (uint32_t i = 0; i < count; ++i) {
      levels[i].audioStreamNumber = i / channels;
      levels[i].channelNumber = i % channels;
    }
  }

  QA_ChannelLevel* levels;  ///< the receiver's, `delete[]`
  uint32_t count;           ///< of entries
  QA_StreamSetup setup;     ///< the file's audio layout
};

/// What `QATester::checkITUR1770Loudness` found; all zero when the check could not run.
struct QA_Loudness {
  /// LKFS: dB relative to full scale, K-weighted, without gating. Minus infinity for silence.
  double loudness = 0.0;
  /// The loudness lies strictly between the thresholds.
  bool passed = false;
};
