// What checks measure over time, as a sink gets it.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/MadePictures.h"
#include "support/Outcomes.h"
#include "support/RecordedSeries.h"
#include "support/SoundBlocks.h"

namespace {

using qatest::measurePictures;
using qatest::measureSound;
using qatest::RecordedSeries;
using qatest::SoundStream;

constexpr double kHalf = -6.0206;  // dB

/// A tone of an amplitude in each channel. `phase` is that of its first sample.
SoundStream tone(double hertz, std::vector<double> amplitudes, double seconds, double phase = 0.0) {
  SoundStream stream;
  stream.channels = static_cast<int>(amplitudes.size());
  stream.samples = std::llround(48000 * seconds);
  stream.names = amplitudes.size() == 2 ? std::vector<std::string>{"FL", "FR"}
                                        : std::vector<std::string>{"FC"};
  stream.value = [=](int channel, int64_t sample) {
    return amplitudes[static_cast<std::size_t>(channel)] *
           std::sin(2.0 * std::numbers::pi * hertz * static_cast<double>(sample) / 48000.0 + phase);
  };
  return stream;
}

std::vector<std::string> columnsOf(const QASeries& series) {
  std::vector<std::string> texts;
  for (const QASeriesColumn& column : series.columns) {
    texts.push_back(column.key + " " + column.unit + " " + column.channel);
  }
  return texts;
}

TEST(Series, OfPicturesHaveARowEach) {
  qatest::MadePictures made;
  made.count = 5;
  made.luma = [](int, int, int64_t number) { return static_cast<int>(20 + 10 * number); };
  RecordedSeries series;
  measurePictures("black", {}, made, &series);
  measurePictures("freeze", {}, made, &series);
  ASSERT_EQ(series.all.size(), 2U);
  EXPECT_EQ(series.all[0].series.check, "black");
  EXPECT_EQ(columnsOf(series.all[0].series), (std::vector<std::string>{"meanLuma  "}));
  EXPECT_EQ(columnsOf(series.all[1].series),
            (std::vector<std::string>{"meanChange  ", "largestChange  "}));
  for (const auto& recorded : series.all) {
    EXPECT_EQ(recorded.series.per, QASeries::Per::picture);
    ASSERT_EQ(recorded.rows.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
      EXPECT_EQ(recorded.rows[i].index, static_cast<int64_t>(i));
      EXPECT_DOUBLE_EQ(recorded.rows[i].seconds.value(), static_cast<double>(i) / 25.0);
      EXPECT_EQ(recorded.rows[i].timecode, "00:00:00:0" + std::to_string(i));
    }
  }
  for (std::size_t i = 0; i < 5; ++i) {
    const double change = i == 0 ? 0.0 : 10.0;  // the first one has none before it
    EXPECT_EQ(series.all[0].rows[i].values,
              std::vector<double>{20.0 + 10.0 * static_cast<double>(i)});
    EXPECT_EQ(series.all[1].rows[i].values, (std::vector<double>{change, change}));
  }
}

/// The rows of the only series of a check of pictures.
std::vector<RecordedSeries::Row> rowsOf(const std::string& check, const qatest::MadePictures& made,
                                        const std::vector<std::string>& columns) {
  RecordedSeries series;
  const QACheckOutcome outcome = measurePictures(check, {}, made, &series);
  EXPECT_EQ(qatest::textOf(outcome), qatest::textOf(measurePictures(check, {}, made)));
  EXPECT_EQ(series.all.size(), 1U);
  EXPECT_EQ(series.all.at(0).series.per, QASeries::Per::picture);
  EXPECT_EQ(columnsOf(series.all.at(0).series), columns);
  EXPECT_EQ(static_cast<int64_t>(series.all.at(0).rows.size()), made.count);
  for (std::size_t i = 0; i < series.all.at(0).rows.size(); ++i) {
    EXPECT_EQ(series.all.at(0).rows[i].index, static_cast<int64_t>(i));
  }
  return series.all.at(0).rows;
}

/// What moves to the right by 4 pixels a field or picture, in `y` too, so that lines tell where it
/// is.
int textured(int x, int y, int64_t time) {
  const double at = static_cast<double>(x) - 4.0 * static_cast<double>(time);
  return 120 + static_cast<int>(60.0 * std::sin(at * 0.2 + std::sin(y * 0.05)));
}

TEST(Series, OfFieldsSayWhatEachPictureShows) {
  qatest::MadePictures made;
  made.count = 6;
  made.height = 256;
  made.luma = textured;
  const std::vector<std::string> evidence = {"weight  ",        "topQuality  ",
                                             "bottomQuality  ", "progressiveShare  ",
                                             "topFirstShare  ", "bottomFirstShare  "};
  const std::vector<RecordedSeries::Row> progressive = rowsOf("field-order", made, evidence);
  // The top field is of the earlier instant: it fits the bottom one before as well as its own.
  made.luma = [](int x, int y, int64_t number) { return textured(x, y, 2 * number + y % 2); };
  const std::vector<RecordedSeries::Row> topFirst = rowsOf("field-order", made, evidence);
  for (const double value : progressive.at(0).values) {
    EXPECT_TRUE(std::isnan(value));  // nothing is before it
  }
  for (std::size_t i = 1; i < 6; ++i) {
    EXPECT_EQ(progressive[i].values[3], 1.0) << i;
    EXPECT_EQ(progressive[i].values[4] + progressive[i].values[5], 0.0) << i;
    EXPECT_EQ(topFirst[i].values[4], 1.0) << i;
    EXPECT_GT(progressive[i].values[1], 0.9) << i;
    EXPECT_LT(topFirst[i].values[1], 0.1) << i;
  }
}

TEST(Series, OfCadenceShowWhichFieldIsRepeated) {
  qatest::MadePictures made;
  made.count = 4;
  made.height = 256;
  // In picture 2 the top field is that of picture 1.
  made.luma = [](int x, int y, int64_t number) {
    return textured(x, y, number == 2 && y % 2 == 0 ? 1 : number);
  };
  const std::vector<RecordedSeries::Row> rows =
      rowsOf("cadence", made, {"topChange  ", "bottomChange  "});
  EXPECT_TRUE(std::isnan(rows[0].values[0]));
  EXPECT_NEAR(rows[1].values[0], 1.0, 0.05);
  EXPECT_EQ(rows[2].values[0], 0.0);
  EXPECT_EQ(rows[2].values[1], 1.0);
}

TEST(Series, OfChangesAreBetweenAPictureAndTheOneBefore) {
  qatest::MadePictures made;
  made.count = 4;
  made.luma = [](int, int, int64_t number) { return static_cast<int>(20 + 10 * number); };
  const std::vector<RecordedSeries::Row> repeats =
      rowsOf("repeats", made, {"meanChange  ", "largestChange  "});
  const std::vector<RecordedSeries::Row> cuts =
      rowsOf("cuts", made, {"change  ", "colourChange  ", "unlike  "});
  EXPECT_TRUE(std::isnan(repeats[0].values[0]));
  EXPECT_TRUE(std::isnan(cuts[0].values[0]));
  for (std::size_t i = 1; i < 4; ++i) {
    EXPECT_EQ(repeats[i].values, (std::vector<double>{10.0, 10.0}));
    EXPECT_EQ(cuts[i].values[0], 10.0);
    EXPECT_TRUE(std::isnan(cuts[i].values[1]));  // grey
    EXPECT_FALSE(std::isnan(cuts[i].values[2]));
  }
}

TEST(Series, OfFlashesAreSharesOfThePicture) {
  qatest::MadePictures made;
  made.count = 4;
  made.width = 128;
  // The left quarter is 2 and 131 cd/m2 by turns.
  made.luma = [](int x, int, int64_t number) { return x < 32 && number % 2 == 1 ? 200 : 50; };
  const std::vector<RecordedSeries::Row> rows = rowsOf(
      "flashes", made, {"lighterShare % ", "darkerShare % ", "redderShare % ", "lessRedShare % "});
  for (std::size_t i = 0; i < 4; ++i) {
    const std::vector<double>& values = rows[i].values;
    if (i == 0) {
      EXPECT_TRUE(std::isnan(values[0]));
    } else {
      EXPECT_EQ(values[0], i % 2 == 1 ? 25.0 : 0.0) << i;
      EXPECT_EQ(values[1], i % 2 == 1 ? 0.0 : 25.0) << i;
    }
    EXPECT_TRUE(std::isnan(values[2]));  // grey
  }
}

TEST(Series, OfTheActivePictureSayWhereItLies) {
  qatest::MadePictures made;
  made.count = 30;
  made.width = 128;
  made.height = 128;
  made.luma = [](int x, int y, int64_t number) {
    return y < 32 || y >= 112 ? 16 : textured(x, y, number);
  };
  for (const RecordedSeries::Row& row :
       rowsOf("active-picture", made, {"x px ", "y px ", "width px ", "height px "})) {
    EXPECT_EQ(row.values, (std::vector<double>{0.0, 32.0, 128.0, 80.0}));
  }
}

TEST(Series, OfFrameTimingAreDistancesOfPictures) {
  qatest::MadePictures made;
  made.count = 3;
  made.rate = 50.0;
  made.luma = [](int, int, int64_t) { return 50; };
  made.damagedAt = 1;
  const std::vector<std::string> columns = {"distance s ", "keyFrame  ", "damaged  "};
  const std::vector<RecordedSeries::Row> rows = rowsOf("frame-timing", made, columns);
  EXPECT_TRUE(std::isnan(rows[0].values[0]));
  EXPECT_DOUBLE_EQ(rows[1].values[0], 0.02);
  EXPECT_DOUBLE_EQ(rows[2].values[0], 0.02);
  EXPECT_EQ(rows[0].values[2], 0.0);
  EXPECT_EQ(rows[1].values[2], 1.0);
  made.hasTimes = false;
  for (const RecordedSeries::Row& row : rowsOf("frame-timing", made, columns)) {
    EXPECT_TRUE(std::isnan(row.values[0]));
    EXPECT_FALSE(row.seconds.has_value());
  }
}

TEST(Series, OfSoundHaveARowEachTenthOfASecond) {
  RecordedSeries series;
  // The right channel is digital silence; the last 50 ms are no tenth.
  measureSound("sample-levels", {}, {tone(12000.0, {0.5, 0.0}, 0.35, std::numbers::pi / 2)}, false,
               &series);
  ASSERT_EQ(series.all.size(), 1U);
  EXPECT_EQ(series.all[0].series.per, QASeries::Per::sound);
  EXPECT_EQ(series.all[0].series.part, "");
  EXPECT_EQ(columnsOf(series.all[0].series),
            (std::vector<std::string>{"peakDbfs dBFS L", "rmsDbfs dBFS L", "peakDbfs dBFS R",
                                      "rmsDbfs dBFS R"}));
  ASSERT_EQ(series.all[0].rows.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const RecordedSeries::Row& row = series.all[0].rows[i];
    EXPECT_EQ(row.index, static_cast<int64_t>(i));
    EXPECT_NEAR(row.seconds.value(), 0.1 * static_cast<double>(i), 1e-9);
    EXPECT_EQ(row.timecode, "");  // there are no pictures
    // Samples of 1, 0, -1, 0 times the amplitude.
    EXPECT_NEAR(row.values[0], kHalf, 1e-3);
    EXPECT_NEAR(row.values[1], kHalf - 3.0103, 1e-3);
    EXPECT_TRUE(std::isnan(row.values[2]));
    EXPECT_TRUE(std::isnan(row.values[3]));
  }
}

TEST(Series, OfTruePeaksAreMeasuredBelowTheLimitToo) {
  // Samples at 45 degrees: the tone between them is 3 dB higher.
  const SoundStream stream = tone(12000.0, {0.5}, 0.5, std::numbers::pi / 4);
  RecordedSeries series;
  const QACheckOutcome outcome = measureSound("true-peak", {}, {stream}, false, &series);
  ASSERT_EQ(series.all.size(), 1U);
  EXPECT_EQ(columnsOf(series.all[0].series), std::vector<std::string>{"truePeakDbtp dBTP 1"});
  ASSERT_EQ(series.all[0].rows.size(), 5U);
  // At its beginning and end a tone has more.
  for (std::size_t i = 1; i < 4; ++i) {
    EXPECT_NEAR(series.all[0].rows[i].values[0], kHalf, 0.02);
  }
  EXPECT_EQ(qatest::textOf(outcome), qatest::textOf(measureSound("true-peak", {}, {stream})));
}

TEST(Series, OfLoudnessBeginWhenTheirWindowIsFull) {
  // EBU Tech 3341: such a tone at -23 dBFS on both channels is -23 LUFS.
  const double amplitude = std::pow(10.0, -23.0 / 20.0);
  RecordedSeries series;
  measureSound("programme-loudness", {}, {tone(1000.0, {amplitude, amplitude}, 3.3)}, false,
               &series);
  ASSERT_EQ(series.all.size(), 1U);
  EXPECT_EQ(columnsOf(series.all[0].series),
            (std::vector<std::string>{"momentaryLufs LUFS ", "shortTermLufs LUFS "}));
  ASSERT_EQ(series.all[0].rows.size(), 33U);
  for (std::size_t i = 0; i < 33; ++i) {
    const std::vector<double>& values = series.all[0].rows[i].values;
    // Row 3 ends at 0.4 s, row 29 at 3 s.
    EXPECT_EQ(std::isnan(values[0]), i < 3) << i;
    EXPECT_EQ(std::isnan(values[1]), i < 29) << i;
    if (i >= 5) {
      EXPECT_NEAR(values[0], -23.0, 0.1) << i;
    }
    if (i >= 31) {
      EXPECT_NEAR(values[1], -23.0, 0.1) << i;
    }
  }
}

TEST(Series, OfCorrelationAreThoseOfLeftAndRight) {
  for (const double right : {0.5, -0.25}) {
    RecordedSeries series;
    measureSound("polarity", {}, {tone(480.0, {0.5, right}, 0.2)}, false, &series);
    ASSERT_EQ(series.all.size(), 1U);
    ASSERT_EQ(series.all[0].rows.size(), 2U);
    EXPECT_NEAR(series.all[0].rows[1].values[0], right > 0.0 ? 1.0 : -1.0, 1e-6);
  }
}

TEST(Series, BeginAnewWhenChannelsChange) {
  SoundStream stream = tone(480.0, {0.5, 0.5}, 0.5);
  stream.changes = {{.atSample = 9600, .channels = 1, .names = std::vector<std::string>{"FC"}}};
  RecordedSeries series;
  measureSound("sample-levels", {}, {stream}, false, &series);
  ASSERT_EQ(series.all.size(), 2U);
  EXPECT_EQ(series.all[0].series.columns.size(), 4U);
  EXPECT_EQ(series.all[1].series.columns.size(), 2U);
  EXPECT_EQ(series.all[0].rows.back().index, 1);
  EXPECT_EQ(series.all[1].rows.front().index, 2);
  EXPECT_NEAR(series.all[1].rows.front().seconds.value(), 0.2, 1e-9);
}

class Thrower : public QAMeasurementSink {
 public:
  void begin(const QASeries&) override {}
  void take(const QASeries&, const QASeriesRow&) override { throw std::runtime_error("no room"); }
};

TEST(Series, ASinkThatThrowsEndsTheCheck) {
  Thrower thrower;
  EXPECT_THROW(measureSound("polarity", {}, {tone(480.0, {0.5, 0.5}, 0.2)}, false, &thrower),
               std::runtime_error);
}

}  // namespace
