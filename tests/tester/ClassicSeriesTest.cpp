// What classic checks measure of single frames and blocks, as a sink gets it from `runChecks`.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "support/CheckNames.h"
#include "support/Clips.h"
#include "support/Outcomes.h"
#include "support/RecordedSeries.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "support/Values.h"
#include "tester/QATester.h"

namespace {

using qatest::numberOf;
using qatest::RecordedSeries;
using Recorded = RecordedSeries::Recorded;

constexpr int kBudget = 10;
/// The slate is as long.
constexpr double kSecond = 1.0;
constexpr int kRate = 25;

class ClassicSeries : public testing::Test {
 protected:
  std::string clip() {
    qatest::VideoSpec video;
    video.frames = 4 * kRate;
    qatest::AudioSpec audio;
    audio.seconds = 4.0;
    return qatest::makeClip(dir_, "clip.mkv", {{video}, {audio}});
  }

  QATesterOptions options(QAPasses passes, QAMeasurementSink* sink) const {
    QATesterOptions options;
    options.pauses = QAPauses::untilReady;
    options.lookup = QALookup::stored;
    options.displays = QADisplays::nowhere;
    options.colourThreads = QAColourThreads::none;
    options.passes = passes;
    options.measurements = sink;
    return options;
  }

  std::map<std::string, QACheckOutcome> run(const std::string& file, RecordedSeries* sink,
                                            QAPasses passes = QAPasses::one) {
    qatest::writeFile(settings_, qatest::smallBudgets(kBudget, 1));
    QATester tester(file.c_str(), nullptr, settings_.c_str(), "", options(passes, sink));
    std::map<std::string, QACheckOutcome> outcomes;
    for (const QACheckOutcome& outcome : tester.runChecks(qatest::classicCheckNames())) {
      outcomes.emplace(outcome.name, outcome);
    }
    return outcomes;
  }

  qatest::TempDir dir_;
  std::string settings_ = (dir_.path() / "settings").string();
};

const Recorded& of(const RecordedSeries& series, const std::string& check) {
  const auto found = std::find_if(series.all.begin(), series.all.end(),
                                  [&](const Recorded& one) { return one.series.check == check; });
  EXPECT_NE(found, series.all.end()) << check;
  return *found;
}

std::vector<double> column(const Recorded& recorded, std::size_t which) {
  std::vector<double> values;
  for (const RecordedSeries::Row& row : recorded.rows) {
    values.push_back(row.values.at(which));
  }
  return values;
}

double least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}
double most(const std::vector<double>& values) {
  return *std::max_element(values.begin(), values.end());
}

TEST_F(ClassicSeries, HaveARowForEachFrameOrBlockThatIsMeasured) {
  RecordedSeries series;
  const auto outcomes = run(clip(), &series);
  for (const Recorded& recorded : series.all) {
    const QACheckOutcome& outcome = outcomes.at(recorded.series.check);
    const bool isOfFrames = outcome.name != "levels" && outcome.name != "loudness" &&
                            outcome.name != "mono" && outcome.name != "phase";
    EXPECT_EQ(recorded.series.per,
              isOfFrames ? QASeries::Per::classicFrame : QASeries::Per::classicBlock);
    EXPECT_EQ(recorded.series.part, "");
    const int step = outcome.name == "pulldown" ? 5 : 1;  // groups of five
    ASSERT_EQ(static_cast<int>(recorded.rows.size()), outcome.count / step) << outcome.name;
    // A second of slate, but for those without.
    const double start = outcome.name == "frame-rate" ? 0.0
                         : isOfFrames                 ? kSecond
                                                      : outcome.startSeconds;
    const double length = isOfFrames ? 1.0 / kRate : 1024.0 / 48000.0;
    for (std::size_t i = 0; i < recorded.rows.size(); ++i) {
      const RecordedSeries::Row& row = recorded.rows[i];
      const auto index = static_cast<int64_t>(i) * step + step - 1;
      EXPECT_EQ(row.index, index) << outcome.name;
      EXPECT_NEAR(row.seconds.value(), start + static_cast<double>(index) * length, 1e-3)
          << outcome.name;
      const int frame = static_cast<int>(std::floor(row.seconds.value() * kRate + 0.05));
      char timecode[32];
      std::snprintf(timecode, sizeof timecode, "00:00:%02d:%02d", frame / kRate, frame % kRate);
      EXPECT_EQ(row.timecode, timecode) << outcome.name;
    }
  }
  EXPECT_EQ(series.all.size(), 11U);  // all but valid, drop-no-drop and timecode
}

TEST_F(ClassicSeries, AddUpToTheResults) {
  RecordedSeries series;
  const auto outcomes = run(clip(), &series);
  const QAValues& chroma = outcomes.at("chroma").values;
  const char* const kExtremes[] = {"rMin", "rMax", "gMin", "gMax", "bMin", "bMax", "yMin", "yMax"};
  for (std::size_t i = 0; i < std::size(kExtremes); ++i) {
    const Recorded& recorded = of(series, "chroma");
    EXPECT_EQ(recorded.series.columns[i].key, kExtremes[i]);
    const std::vector<double> values = column(recorded, i);
    EXPECT_EQ(i % 2 == 0 ? least(values) : most(values), numberOf(chroma, kExtremes[i]));
    if (i < 6) {
      EXPECT_EQ(column(of(series, "gamut"), i), values);
    }
  }
  const std::vector<double> torn = column(of(series, "tearing"), 0);
  EXPECT_TRUE(std::isnan(torn[0]));  // nothing is before it
  EXPECT_NEAR(std::accumulate(torn.begin() + 1, torn.end(), 0.0) / 100.0 / kBudget,
              numberOf(outcomes.at("tearing").values, "meanShare"), 1e-6);
  const std::vector<double> in23 = column(of(series, "pulldown"), 0);
  EXPECT_EQ(std::accumulate(in23.begin(), in23.end(), 0.0),
            numberOf(outcomes.at("pulldown").values, "groups23"));
  const std::vector<double> levels = column(of(series, "transitions"), 0);
  EXPECT_TRUE(std::isnan(levels[1]));  // it has no two neighbours
  EXPECT_FALSE(std::isnan(levels[2]));
  // Blocks are of one length: the mean of their energies is that of all.
  double energy = 0.0;
  for (const double loudness : column(of(series, "loudness"), 0)) {
    energy += std::pow(10.0, loudness / 10.0) / kBudget;
  }
  EXPECT_NEAR(10.0 * std::log10(energy), numberOf(outcomes.at("loudness").values, "loudness"),
              1e-9);
  const std::vector<double> lags = column(of(series, "phase"), 0);
  EXPECT_NEAR(std::accumulate(lags.begin(), lags.end(), 0.0) / kBudget,
              numberOf(outcomes.at("phase").values, "meanLag"), 1e-4);
  const std::vector<double> matches = column(of(series, "mono"), 0);
  EXPECT_EQ(
      std::count_if(matches.begin(), matches.end(), [](double share) { return share >= 1.0; }),
      numberOf(outcomes.at("mono").values, "matchingBlocks"));  // by default 1 %
}

TEST_F(ClassicSeries, OfLevelsAreThoseOfABlockAlone) {
  // A block of half the scale, then one of a quarter; the right channel is silent.
  qatest::AudioSpec audio;
  audio.seconds = 3.0;
  audio.sample = [](int channel, int64_t index) {
    return channel == 1 ? 0.0 : index / 1024 % 2 == 0 ? 0.5 : 0.25;
  };
  RecordedSeries series;
  run(qatest::makeClip(dir_, "levels.mkv", {{}, {audio}}), &series);
  const Recorded& recorded = of(series, "levels");
  ASSERT_EQ(recorded.series.columns.size(), 4U);
  EXPECT_EQ(recorded.series.columns[2].channel, "1");
  ASSERT_EQ(recorded.rows.size(), static_cast<std::size_t>(kBudget));
  for (std::size_t i = 0; i + 1 < recorded.rows.size(); ++i) {
    const std::vector<double>& values = recorded.rows[i].values;
    EXPECT_EQ(values[0], values[1]);
    EXPECT_NEAR(std::abs(values[0] - recorded.rows[i + 1].values[0]), 6.0206, 1e-4);
    EXPECT_TRUE(std::isnan(values[2]) && std::isnan(values[3]));
    EXPECT_EQ(recorded.rows[i].timecode, "");  // there are no pictures
  }
}

TEST_F(ClassicSeries, AreTheSameWhoeverReads) {
  const std::string file = clip();
  RecordedSeries one;
  RecordedSeries each;
  run(file, &one);
  run(file, &each, QAPasses::each);
  ASSERT_EQ(one.all.size(), each.all.size());
  for (const Recorded& its : one.all) {
    const Recorded& other = of(each, its.series.check);
    ASSERT_EQ(its.rows.size(), other.rows.size());
    for (std::size_t i = 0; i < its.rows.size(); ++i) {
      EXPECT_EQ(its.rows[i].seconds, other.rows[i].seconds);
      EXPECT_EQ(its.rows[i].timecode, other.rows[i].timecode);
      ASSERT_EQ(its.rows[i].values.size(), other.rows[i].values.size());
      for (std::size_t k = 0; k < its.rows[i].values.size(); ++k) {
        EXPECT_EQ(qatest::exactly(its.rows[i].values[k]), qatest::exactly(other.rows[i].values[k]));
      }
    }
  }
}

TEST_F(ClassicSeries, ACheckOfItsOwnFunctionHasNone) {
  const std::string file = clip();
  RecordedSeries series;
  QATester tester(file.c_str(), nullptr, "", "", options(QAPasses::one, &series));
  tester.checkFrameRate();
  tester.checkChroma();
  tester.checkMono();
  EXPECT_TRUE(series.all.empty());
}

class Thrower : public QAMeasurementSink {
 public:
  void begin(const QASeries&) override {}
  void take(const QASeries&, const QASeriesRow&) override { throw std::runtime_error("no room"); }
};

TEST_F(ClassicSeries, ASinkThatThrowsEndsTheChecksWhoseSeriesItIs) {
  Thrower thrower;
  const std::string file = clip();
  qatest::writeFile(settings_, qatest::smallBudgets(kBudget, 1));
  QATester tester(file.c_str(), nullptr, settings_.c_str(), "", options(QAPasses::one, &thrower));
  for (const QACheckOutcome& outcome : tester.runChecks({"chroma", "timecode", "loudness"})) {
    const bool hasSeries = outcome.name != "timecode";
    EXPECT_EQ(outcome.reason, hasSeries ? "no room" : "") << outcome.name;
    EXPECT_EQ(outcome.state == QAState::notMeasured, hasSeries) << outcome.name;
  }
}

}  // namespace
