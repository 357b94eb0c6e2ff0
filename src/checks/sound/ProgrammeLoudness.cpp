#include "checks/sound/ProgrammeLoudness.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"LoudnessTarget", "-23.0", QASetting::Kind::real, -70.0, 0.0, "LUFS",
     "integrated loudness that a programme is to have"},
    {"LoudnessTolerance", "0.5", QASetting::Kind::real, 0.0, 70.0, "LU",
     "how far a programme may be off LoudnessTarget"},
    onOrOff("DualMono", "0",
            "a mono programme is judged as two loudspeakers play it, 3.01 LU louder: above 0 on"),
};

constexpr CheckProfile kProfile{.name = "programme-loudness", .tag = "QAProgrammeLoudness"};
constexpr const char* kFigures[] = {"programmes.integratedLufs", "programmes.loudnessRangeLu"};

/// What two loudspeakers add to one.
constexpr double kDualMono = 3.0102999566398120;
/// A shorter programme's range is not stable (EBU Tech 3341, 2.4).
constexpr double kStableRange = 60.0;
constexpr double kMomentarySeconds = 0.4;
/// Below, the filters are no longer those of the text.
constexpr int kLeastRate = 32000;
/// Programmes that a line of text names.
constexpr std::size_t kMostNamed = 4;

std::unique_ptr<ProgrammeCheck<ProgrammeLoudnessMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<ProgrammeLoudnessMeasurement>>(
      context, kProfile,
      LoudnessDemands{.target = numberSetting(context, kSettings[0]),
                      .tolerance = numberSetting(context, kSettings[1]),
                      .monoIsDual = context.whole(kSettings[2]) > 0});
}

QAValue numberOrNothing(const char* key, const std::optional<double>& value, const char* unit) {
  QAValue made{key, QANothing(), unit};
  if (value.has_value() && std::isfinite(*value)) {
    made.value = *value;
  }
  return made;
}

std::optional<double> lufsOf(const std::optional<LoudnessMeter::Maximum>& maximum) {
  return maximum.has_value() ? std::optional(maximum->lufs) : std::nullopt;
}

std::optional<double> startOf(const std::optional<LoudnessMeter::Maximum>& maximum) {
  return maximum.has_value() ? std::optional(maximum->startSeconds) : std::nullopt;
}

QAValues valuesOf(const ProgrammeLoudness& one) {
  QAValues values{{"streams", streamsOf(one.programme), ""},
                  {"layout", one.programme.layout, ""},
                  {"layoutDeclared", one.programme.layoutDeclared, ""},
                  {"language", one.programme.language, ""},
                  numberOrNothing("integratedLufs", one.integrated, "LUFS"),
                  numberOrNothing("loudnessRangeLu", one.range, "LU"),
                  {"loudnessRangeStable", one.range.has_value() && one.seconds >= kStableRange, ""},
                  numberOrNothing("maxMomentaryLufs", lufsOf(one.maxMomentary), "LUFS"),
                  numberOrNothing("maxMomentarySeconds", startOf(one.maxMomentary), "s"),
                  numberOrNothing("maxShortTermLufs", lufsOf(one.maxShortTerm), "LUFS"),
                  numberOrNothing("maxShortTermSeconds", startOf(one.maxShortTerm), "s"),
                  numberOrNothing("truePeakDbtp", decibelsOf(one.truePeak), "dBTP")};
  if (one.programme.isMono()) {
    std::optional<double> dual = one.integrated;
    if (dual.has_value()) {
      *dual += kDualMono;
    }
    values.push_back(numberOrNothing("dualMonoLufs", dual, "LUFS"));
  }
  if (!one.tracks.empty()) {
    std::vector<QAValues> tracks;
    for (std::size_t i = 0; i < one.tracks.size(); ++i) {
      tracks.push_back({{"track", one.programme.channels[i].name, ""},
                        numberOrNothing("integratedLufs", one.tracks[i], "LUFS")});
    }
    values.push_back({"tracks", std::move(tracks), ""});
  }
  return values;
}

double judgedLoudness(const ProgrammeLoudness& one, const LoudnessDemands& demands) {
  return *one.integrated + (one.programme.isMono() && demands.monoIsDual ? kDualMono : 0.0);
}

std::string wordsOf(const ProgrammeLoudness& one, bool isAlone, const LoudnessDemands& demands) {
  std::string words = one.name;
  words += one.name.empty() ? "" : ": ";
  if (!one.integrated.has_value()) {
    const bool isSlow = one.sampleRate > 0 && one.sampleRate < kLeastWeightedRate;
    return words + (isSlow                            ? "sample rate too low"
                    : one.seconds < kMomentarySeconds ? "too short"
                                                      : "silent");
  }
  words += quantity(judgedLoudness(one, demands), {" LUFS", 1});
  words += one.programme.isMono() && demands.monoIsDual ? " as dual mono" : "";
  if (!isAlone) {
    return words;
  }
  if (one.range.has_value()) {
    addWords(words, ", range ", quantity(*one.range, {" LU", 1}));
  }
  addWords(words, ", true peak ", levelWords(one.truePeak, " dBTP"));
  addWords(words, ", ", one.programme.layout);
  words += one.programme.layoutDeclared ? "" : " assumed";
  return words;
}

}  // namespace

std::string whyNoLoudness(const std::vector<ProgrammeLoudness>& programmes) {
  const bool any = std::any_of(programmes.begin(), programmes.end(),
                               [](const auto& one) { return one.integrated.has_value(); });
  if (any || programmes.empty()) {
    return any ? "" : "no sound could be decoded";
  }
  const bool isShort = std::all_of(programmes.begin(), programmes.end(),
                                   [](const auto& one) { return one.seconds < kMomentarySeconds; });
  const bool isSlow = std::all_of(programmes.begin(), programmes.end(), [](const auto& one) {
    return one.sampleRate > 0 && one.sampleRate < kLeastWeightedRate;
  });
  if (isSlow) {
    return std::to_string(programmes.front().sampleRate) +
           " Hz: K-weighting cannot be computed below " + std::to_string(kLeastWeightedRate) +
           " Hz";
  }
  return isShort ? "shorter than the 400 ms that loudness is measured over"
                 : "silent: nothing is above -70 LUFS";
}

void describeLoudness(const std::vector<ProgrammeLoudness>& programmes,
                      const LoudnessDemands& demands, QACheckOutcome& outcome) {
  std::vector<QAValues> rows;
  const double low = demands.target - demands.tolerance;
  const double high = demands.target + demands.tolerance;
  std::size_t named = 0;
  for (const ProgrammeLoudness& one : programmes) {
    rows.push_back(valuesOf(one));
    if (named++ < kMostNamed) {
      addWords(outcome.summary, "; ", wordsOf(one, programmes.size() == 1, demands));
    }
    if (one.sampleRate > 0 && one.sampleRate < kLeastRate && named <= kMostNamed) {
      outcome.summary += " (";
      outcome.summary += std::to_string(one.sampleRate) + " Hz: outside BS.1770's practice)";
    }
    if (one.badSamples > 0) {
      addWords(outcome.summary, ", ", counted(static_cast<double>(one.badSamples), "sample"));
      outcome.summary += " without a value taken as 0";
    }
    if (!one.integrated.has_value()) {
      continue;
    }
    const double judged = judgedLoudness(one, demands);
    if (judged >= low && judged <= high) {
      continue;
    }
    outcome.broken = true;
    QAEvent event = eventAt(one.programme, one.startSeconds, one.endSeconds);
    event.value = judged;
    event.limit = judged < low ? low : high;
    event.unit = "LUFS";
    event.what = one.name;
    addWords(event.what, ": ", judged < low ? "too quiet" : "too loud");
    outcome.events.push_back(std::move(event));
  }
  if (named > kMostNamed) {
    addWords(outcome.summary, "; and ", std::to_string(named - kMostNamed) + " more");
  }
  outcome.values.push_back({"programmes", std::move(rows), ""});
  outcome.limits = {{.of = "integratedLufs", .min = low, .max = high, .unit = "LUFS"}};
}

void ProgrammeLoudnessMeasurement::beginSound(const ProgrammeFacts&) {
  meters_.resize(programmes().size());
}

void ProgrammeLoudnessMeasurement::take(const SoundCell& cell) {
  Meters& meters = meters_[cell.programme];
  const SoundProgramme& programme = programmes()[cell.programme];
  for (const ChannelCell& channel : cell.channels) {
    meters.truePeak = std::max({meters.truePeak, channel.truePeak, channel.peak()});
  }
  if (!cell.complete) {
    return;
  }
  const double start = cell.startSeconds();
  const double end = cell.endSeconds();
  double squares = 0.0;
  for (std::size_t i = 0; i < cell.channels.size(); ++i) {
    squares += programme.channels[i].weight * cell.channels[i].weightedSquares;
  }
  meters.whole.add(squares, cell.samples, start, end);
  if (programme.isAssumedPair) {
    meters.tracks.resize(cell.channels.size());
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      meters.tracks[i].add(cell.channels[i].weightedSquares, cell.samples, start, end);
    }
  }
  if (meters.series.isWanted() && meters.series.endsWith(cell)) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    const double values[] = {meters.whole.momentary().value_or(kNone),
                             meters.whole.shortTerm().value_or(kNone)};
    meters.series.add(values);
  }
}

void ProgrammeLoudnessMeasurement::change(const SoundSection& section) {
  if (section.isFirst) {
    meters_[section.number].series.begin(
        series().begin(seriesOf(*section.programme, nameOf(section.number),
                                {{"momentaryLufs", "LUFS"}, {"shortTermLufs", "LUFS"}})));
  }
}

std::vector<ProgrammeLoudness> ProgrammeLoudnessMeasurement::measured() const {
  std::vector<ProgrammeLoudness> all;
  for (std::size_t i = 0; i < meters_.size(); ++i) {
    const Meters& meters = meters_[i];
    ProgrammeLoudness one;
    one.programme = programmes()[i];
    one.name = nameOf(i);
    one.seconds = meters.whole.seconds();
    one.startSeconds = ends()[i].startSeconds;
    one.endSeconds = ends()[i].endSeconds;
    one.integrated = meters.whole.integrated();
    one.range = meters.whole.range();
    one.maxMomentary = meters.whole.maxMomentary();
    one.maxShortTerm = meters.whole.maxShortTerm();
    one.truePeak = static_cast<double>(meters.truePeak);
    one.sampleRate = ends()[i].sampleRate;
    one.badSamples = ends()[i].badSamples;
    // It may have been a pair before its channels changed.
    if (one.programme.isAssumedPair && meters.tracks.size() == one.programme.channels.size()) {
      for (const LoudnessMeter& track : meters.tracks) {
        one.tracks.push_back(track.integrated());
      }
    }
    all.push_back(std::move(one));
  }
  return all;
}

std::string ProgrammeLoudnessMeasurement::whyNothing() const {
  std::string why = SoundMeasurement::whyNothing();
  return !why.empty() ? why : whyNoLoudness(measured());
}

void ProgrammeLoudnessMeasurement::describe(QACheckOutcome& outcome) const {
  describeLoudness(measured(), demands_, outcome);
}

constinit const QACheck programmeLoudnessCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "How loud is each programme from its start to its end (BS.1770, R 128)?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
