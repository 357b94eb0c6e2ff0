// A page of a programme of two hours: how long it takes to make, and how large it is.

#include "PageReport.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "SeriesReport.h"
#include "tester/QACheck.h"

namespace {

constexpr double kSeconds = 7200.0;
constexpr int kRate = 25;
/// Events that a report keeps of a check.
constexpr int kEvents = 1000;
/// A picture of 640 by 360 as a JPEG of quality 80 has about as many bytes.
constexpr std::size_t kPictureBytes = 40'000;

void addSeries(cli::SeriesStore& store, const QASeries& series, double perSecond) {
  store.begin(series);
  std::vector<double> values(series.columns.size());
  const auto rows = static_cast<int>(kSeconds * perSecond);
  for (int i = 0; i < rows; ++i) {
    for (std::size_t k = 0; k < values.size(); ++k) {
      values[k] = -30.0 + 25.0 * std::sin(0.37 * i + static_cast<double>(k));
    }
    const int64_t frame = static_cast<int64_t>(i / perSecond * kRate);
    char timecode[16];
    std::snprintf(timecode, sizeof timecode, "%02d:%02d:%02d:%02d",
                  static_cast<int>(frame / kRate / 3600), static_cast<int>(frame / kRate / 60 % 60),
                  static_cast<int>(frame / kRate % 60), static_cast<int>(frame % kRate));
    store.take(series,
               {.index = i, .seconds = i / perSecond, .timecode = timecode, .values = values});
  }
}

/// Pictures, and sound in six channels, with as many events as a report keeps of ten checks.
cli::FileReport twoHours() {
  cli::FileReport file;
  file.file = "programme.mxf";
  file.facts.opened = true;
  file.facts.pictures = static_cast<int64_t>(kSeconds) * kRate;
  file.facts.pictureSeconds = file.facts.soundSeconds = kSeconds;
  file.facts.wholeFile = true;
  int withEvents = 10;
  for (const QACheck* check : allChecks()) {
    QACheckOutcome& outcome = file.checks.emplace_back();
    outcome.name = check->name;
    outcome.state = withEvents > 5 ? QAState::fail : QAState::info;
    outcome.summary = "something of every kind";
    for (int i = 0; i < (withEvents > 0 ? kEvents : 0); ++i) {
      QAEvent& event = outcome.events.emplace_back();
      event.startSeconds = kSeconds / kEvents * i;
      event.endSeconds = *event.startSeconds + 2.0;
      event.startTimecode = event.endTimecode = "00:00:00:00";
      event.what = "something that is wrong";
      event.value = i;
      event.pictures = {i};
    }
    outcome.eventCount = static_cast<int64_t>(outcome.events.size());
    --withEvents;
    // Of a classic check the last of each display, of others those of the worst events.
    const int shown = check->family == QAFamily::classic ? 1 : 40;
    for (int i = 0; i < (check->displays.empty() ? 0 : shown); ++i) {
      file.pictures.push_back({.display = check->displays[0],
                               .index = kEvents - 1 - i,
                               .width = 640,
                               .height = 360,
                               .mediaType = "image/jpeg",
                               .bytes = std::string(kPictureBytes, 'x')});
    }
  }
  file.series = std::make_shared<cli::SeriesStore>();
  using Per = QASeries::Per;
  const char* channels[] = {"L", "R", "C", "LFE", "Ls", "Rs"};
  QASeries peaks{"true-peak", Per::sound, "", {}};
  QASeries levels{"sample-levels", Per::sound, "", {}};
  for (const char* channel : channels) {
    peaks.columns.push_back({"truePeakDbtp", "dBTP", channel});
    levels.columns.push_back({"peakDbfs", "dBFS", channel});
    levels.columns.push_back({"rmsDbfs", "dBFS", channel});
  }
  const QASeries loudness{
      "programme-loudness", Per::sound, "", {{"momentaryLufs", "LUFS"}, {"shortTermLufs", "LUFS"}}};
  const QASeries range{"signal-range", Per::picture, "", {{"outsideShare", "%"}}};
  const QASeries black{"black", Per::picture, "", {{"meanLuma", ""}}};
  // As many figures of a picture as checks have.
  QASeries others{"freeze", Per::picture, "", {}};
  for (int i = 0; i < 26; ++i) {
    others.columns.push_back({"figure" + std::to_string(i), ""});
  }
  for (const QASeries& series : {peaks, levels, loudness}) {
    addSeries(*file.series, series, 10.0);
  }
  for (const QASeries& series : {range, black, others}) {
    addSeries(*file.series, series, kRate);
  }
  return file;
}

/// With QATESTER_BENCH_PAGE=FILE the page stays there.
void makePage(benchmark::State& state) {
  static const cli::FileReport file = twoHours();
  std::string page;
  for (auto _ : state) {
    page = cli::pageText(file, {});
    benchmark::DoNotOptimize(page.data());
  }
  state.counters["megabytes"] = static_cast<double>(page.size()) / 1e6;
  if (const char* target = std::getenv("QATESTER_BENCH_PAGE")) {
    std::ofstream(target, std::ios::binary) << page;
  }
}
BENCHMARK(makePage)->Unit(benchmark::kMillisecond);

}  // namespace
