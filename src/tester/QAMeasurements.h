#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// A figure that a series has in each of its rows.
struct QASeriesColumn {
  std::string key;   ///< such as "momentaryLufs"
  std::string unit;  ///< such as "LUFS"; empty for code values and for numbers without a unit
  /// Of a channel: "L", "R", "C", "LFE", "Ls", "Rs" or the number of the track; of a classic check
  /// its number in the stream, counted from 0; empty otherwise.
  std::string channel = {};
};

/// What a check measures over time: rows with the same figures.
struct QASeries {
  /// What it has a row for.
  enum class Per {
    picture,  ///< each picture of the file, counted in the order in which they are shown
    sound,    ///< each 0.1 s of a programme's sound, counted from its start
    /// Each picture that a classic check measures, counted from the first one that it does.
    classicFrame,
    /// The same of blocks of sound, of which the streams that a check reads have one each. Their
    /// times are by the count of the samples before them.
    classicBlock,
  };

  std::string check;       ///< its name in `allChecks()`
  Per per = Per::picture;  ///< what it has a row for
  /// Which sound of the file it is of, as the check names it, such as "stream 2 (fra)"; empty where
  /// there is only one or the check looks at all together, and of pictures.
  std::string part = {};
  std::vector<QASeriesColumn> columns = {};  ///< the figures of each row, in this order
  /// Where its sound is that of a single stream: which, counted from 0 among the audio streams, and
  /// how many of its channels that are, from the first one in their order. Of programme checks
  /// alone.
  std::optional<int> stream = {};
  int channels = 0;  ///< 0 where there is no such stream
};

/// A row of a series.
struct QASeriesRow {
  int64_t index = 0;  ///< of the picture, or of the 0.1 s of this sound, counted from 0
  /// When it begins, in seconds of presentation from the start of the file; empty: not known.
  std::optional<double> seconds = {};
  /// Of that time: by the file's own timecode, otherwise from 00:00:00:00. Empty without a time,
  /// and in a file without pictures.
  std::string timecode = {};
  /// As many as there are columns; NaN: there is none here.
  std::span<const double> values = {};
};

/// Takes what checks measure while they measure it. Rows of a series come in the order of time and
/// one by one, on the threads that measure: those of different series may come at once. What a call
/// throws ends the check whose series it is.
class QAMeasurementSink {
 public:
  QAMeasurementSink() = default;
  QAMeasurementSink(const QAMeasurementSink&) = delete;
  QAMeasurementSink& operator=(const QAMeasurementSink&) = delete;
  virtual ~QAMeasurementSink() = default;

  /// Before its first row. The series stays where it is until the outcome of its check is there. A
  /// check may have several, and may begin a new one for the same sound when its channels change.
  virtual void begin(const QASeries& series) = 0;

  /// The row's values are valid for this call alone.
  virtual void take(const QASeries& series, const QASeriesRow& row) = 0;
};
