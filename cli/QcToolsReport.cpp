#include "QcToolsReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "CleanText.h"
#include "Gzip.h"

namespace cli {

namespace {

using Kept = SeriesStore::Kept;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kBegin =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<ffprobe:ffprobe xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:ffprobe=\"http://www.ffmpeg.org/schema/ffprobe\" "
    "xsi:schemaLocation=\"http://www.ffmpeg.org/schema/ffprobe ffprobe.xsd\">\n"
    "    <frames>\n";
constexpr const char* kEnd = "    </frames>\n</ffprobe:ffprobe>\n";

// How the filters print their figures.
constexpr const char* kShort = "%g";
constexpr const char* kLoudness = "%.3f";
constexpr const char* kLevel = "%f";

/// Times beyond are none.
constexpr double kMostSeconds = 1e12;
constexpr int kRowsPerSecond = 10;

/// At other rates the filter for loudness weights by other coefficients, by some hundredths of a
/// decibel.
constexpr int kLoudnessRate = 48000;
/// Of more channels than two, the layouts that it takes for the same.
constexpr std::array<const char*, 3> kLoudnessLayouts = {"quad", "5.1", "5.1(side)"};

/// What the filter for statistics of signals takes as it is, of 8 bits a sample: it would convert
/// pictures of other formats.
constexpr std::array<const char*, 9> kFormats = {"yuv420p",  "yuv422p",  "yuv444p",
                                                 "yuv411p",  "yuv440p",  "yuvj420p",
                                                 "yuvj422p", "yuvj444p", "yuvj440p"};

std::string formatted(const char* format, double number) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char each : cleanText(text)) {
    switch (each) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += each;
    }
  }
  return result;
}

/// A frame as it is written.
class Frame {
 public:
  explicit Frame(const char* mediaType) { attribute("media_type", mediaType); }

  void attribute(const char* name, const std::string& value) {
    text_ += " ";
    text_ += name;
    text_ += "=\"";
    text_ += escaped(value);
    text_ += "\"";
  }
  void time(std::optional<double> seconds) {
    if (seconds.has_value() && std::abs(*seconds) < kMostSeconds) {
      const std::string text = formatted("%.6f", *seconds);
      attribute("pts_time", text == "-0.000000" ? text.substr(1) : text);
    }
  }
  /// None where the figure is not there.
  void tag(const std::string& key, const char* format, double value) {
    if (!std::isnan(value)) {
      tags_ +=
          "            <tag key=\"" + key + "\" value=\"" + formatted(format, value) + "\"/>\n";
    }
  }
  std::string text() const {
    return "        <frame" + text_ +
           (tags_.empty() ? "/>\n" : ">\n" + tags_ + "        </frame>\n");
  }

 private:
  std::string text_;
  std::string tags_;
};

/// The rows of a series, one by one.
class Rows {
 public:
  /// Null: there are none.
  explicit Rows(const Kept* kept = nullptr) : kept_(kept) {}

  bool hasRow() const { return kept_ != nullptr && row_ < kept_->indexes.size(); }
  int64_t index() const { return kept_->indexes[row_]; }
  std::optional<double> seconds() const { return kept_->seconds[row_]; }
  bool isAt(int64_t index) const { return hasRow() && this->index() == index; }
  double value(std::size_t column) const {
    const std::size_t width = kept_->series.columns.size();
    return column < width ? kept_->values[row_ * width + column] : kNone;
  }
  /// Of the row with this index.
  double valueAt(int64_t index, std::size_t column) const {
    return isAt(index) ? value(column) : kNone;
  }
  void leave(int64_t index) {
    while (hasRow() && this->index() <= index) {
      ++row_;
    }
  }

 private:
  const Kept* kept_;
  std::size_t row_ = 0;
};

bool isOf(const Kept& kept, const char* check, QASeries::Per per) {
  return kept.series.check == check && kept.series.per == per;
}

/// Gives frames in the order of their times.
class Source {
 public:
  virtual ~Source() = default;
  virtual bool hasFrame() const = 0;
  virtual std::optional<double> seconds() const = 0;
  virtual std::string take() = 0;
};

class Pictures final : public Source {
 public:
  Pictures(const QAStreamFacts& stream, const SeriesStore& store)
      : stream_(stream), video_(stream.video.value_or(QAVideoFacts{})) {
    for (const Kept* kept : store.all()) {
      for (const auto& [check, rows] :
           {std::pair("frame-timing", &timing_), std::pair("black", &luma_),
            std::pair("freeze", &change_), std::pair("cuts", &distance_)}) {
        if (isOf(*kept, check, QASeries::Per::picture)) {
          *rows = Rows(kept);
        }
      }
    }
    isMeasuredAlike_ =
        std::find(kFormats.begin(), kFormats.end(), video_.pixelFormat) != kFormats.end();
    isSizeKnown_ = video_.width > 0 && video_.height > 0;
  }

  bool hasFrame() const override { return next() != nullptr; }
  std::optional<double> seconds() const override { return next()->seconds(); }
  std::string take() override {
    const std::optional<double> time = seconds();
    const int64_t index = next()->index();
    // The first of another size has no distance from the one before, and all after it are not as
    // the file declares.
    isSizeKnown_ =
        isSizeKnown_ && distance_.isAt(index) && (index == 0 || !std::isnan(distance_.value(0)));
    // Where a picture is damaged, others make up for it in other ways, and the change from it to
    // the next one is as wrong.
    const bool isWhole = timing_.isAt(index) && !(timing_.value(kDamagedColumn) > 0.0);
    const bool wasWhole = std::exchange(wasWhole_, isWhole);
    Frame frame("video");
    frame.attribute("stream_index", std::to_string(stream_.index));
    if (timing_.isAt(index)) {
      frame.attribute("key_frame", timing_.value(kKeyColumn) > 0.0 ? "1" : "0");
    }
    frame.time(time);
    if (isSizeKnown_) {
      frame.attribute("width", std::to_string(video_.width));
      frame.attribute("height", std::to_string(video_.height));
      if (!video_.pixelFormat.empty()) {
        frame.attribute("pix_fmt", video_.pixelFormat);
      }
      if (isMeasuredAlike_ && isWhole) {
        frame.tag("lavfi.signalstats.YAVG", kShort, luma_.valueAt(index, 0));
        if (wasWhole) {
          frame.tag("lavfi.signalstats.YDIF", kShort, change_.valueAt(index, 0));
        }
      }
    }
    for (Rows* rows : {&timing_, &luma_, &change_, &distance_}) {
      rows->leave(index);
    }
    return frame.text();
  }

 private:
  static constexpr std::size_t kKeyColumn = 1;
  static constexpr std::size_t kDamagedColumn = 2;

  /// Of the series, one whose row comes next; null: there is no more.
  const Rows* next() const {
    const Rows* first = nullptr;
    for (const Rows* rows : {&timing_, &luma_, &change_, &distance_}) {
      if (rows->hasRow() && (first == nullptr || rows->index() < first->index())) {
        first = rows;
      }
    }
    return first;
  }

  const QAStreamFacts& stream_;
  QAVideoFacts video_;
  Rows timing_;
  Rows luma_;
  Rows change_;
  Rows distance_;
  bool isMeasuredAlike_ = false;
  bool isSizeKnown_ = false;
  bool wasWhole_ = true;
};

/// 0.1 s of all channels of a stream, as a frame each.
class Sound final : public Source {
 public:
  Sound(const QAStreamFacts& stream, const Kept* loudness, const Kept* levels)
      : stream_(stream), loudness_(loudness), levels_(levels) {}

  bool hasFrame() const override { return loudness_.hasRow() || levels_.hasRow(); }
  std::optional<double> seconds() const override { return next().seconds(); }
  std::string take() override {
    const int64_t index = next().index();
    Frame frame("audio");
    frame.attribute("stream_index", std::to_string(stream_.index));
    frame.attribute("key_frame", "1");  // of sound all are
    frame.time(seconds());
    frame.attribute("nb_samples", std::to_string(stream_.audio->sampleRate / kRowsPerSecond));
    frame.attribute("channels", std::to_string(stream_.audio->channels));
    frame.tag("lavfi.r128.M", kLoudness, loudness_.valueAt(index, 0));
    frame.tag("lavfi.r128.S", kLoudness, loudness_.valueAt(index, 1));
    if (levels_.isAt(index)) {
      addLevels(frame);
    }
    loudness_.leave(index);
    levels_.leave(index);
    return frame.text();
  }

 private:
  /// Silence has no level in a series.
  static double levelOf(double value) {
    return std::isnan(value) ? -std::numeric_limits<double>::infinity() : value;
  }

  void addLevels(Frame& frame) const {
    const auto channels = static_cast<std::size_t>(stream_.audio->channels);
    double peak = -std::numeric_limits<double>::infinity();
    double squares = 0.0;
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const double its = levelOf(levels_.value(2 * channel));
      const double rms = levelOf(levels_.value(2 * channel + 1));
      const std::string key = "lavfi.astats." + std::to_string(channel + 1);
      frame.tag(key + ".Peak_level", kLevel, its);
      frame.tag(key + ".RMS_level", kLevel, rms);
      peak = std::max(peak, its);
      squares += std::pow(10.0, rms / 10.0);
    }
    frame.tag("lavfi.astats.Overall.Peak_level", kLevel, peak);
    frame.tag("lavfi.astats.Overall.RMS_level", kLevel,
              10.0 * std::log10(squares / static_cast<double>(channels)));
  }

  const Rows& next() const {
    return !levels_.hasRow() || (loudness_.hasRow() && loudness_.index() < levels_.index())
               ? loudness_
               : levels_;
  }

  const QAStreamFacts& stream_;
  Rows loudness_;
  Rows levels_;
};

bool hasLoudness(const QAAudioFacts& audio) {
  const bool isKnown = std::find(kLoudnessLayouts.begin(), kLoudnessLayouts.end(), audio.layout) !=
                       kLoudnessLayouts.end();
  return audio.sampleRate == kLoudnessRate &&
         (audio.channels <= 2 || (audio.layoutDeclared && isKnown));
}

/// The sound of a stream whose channels all lie in one programme, and do not change.
std::unique_ptr<Source> soundOf(const QAStreamFacts& stream, int number, const SeriesStore& store) {
  const QAAudioFacts audio = stream.audio.value_or(QAAudioFacts{});
  // Frames of 0.1 s have as many samples each.
  if (audio.channels <= 0 || audio.sampleRate <= 0 || audio.sampleRate % kRowsPerSecond != 0) {
    return nullptr;
  }
  const Kept* loudness = nullptr;
  const Kept* levels = nullptr;
  for (const Kept* kept : store.all()) {
    if (kept->series.stream != number || kept->series.per != QASeries::Per::sound) {
      continue;
    }
    const bool isLevels = kept->series.check == "sample-levels";
    if (!isLevels && kept->series.check != "programme-loudness") {
      continue;
    }
    const Kept*& its = isLevels ? levels : loudness;
    const std::size_t columns = 2 * static_cast<std::size_t>(isLevels ? audio.channels : 1);
    if (its != nullptr || kept->series.channels != audio.channels ||
        kept->series.columns.size() != columns) {
      return nullptr;
    }
    its = kept;
  }
  return std::make_unique<Sound>(stream, hasLoudness(audio) ? loudness : nullptr, levels);
}

}  // namespace

std::string qctoolsText(const QAFileFacts& facts, const SeriesStore& store) {
  std::vector<std::unique_ptr<Source>> sources;
  int sounds = 0;
  bool hasPictures = false;
  for (const QAStreamFacts& stream : facts.media.streams) {
    if (stream.kind == "video" && !std::exchange(hasPictures, true)) {
      sources.push_back(std::make_unique<Pictures>(stream, store));
    } else if (stream.kind == "audio") {
      if (std::unique_ptr<Source> sound = soundOf(stream, sounds++, store)) {
        sources.push_back(std::move(sound));
      }
    }
  }
  Gzip gzip;
  gzip.add(kBegin);
  for (;;) {
    Source* first = nullptr;
    double least = std::numeric_limits<double>::infinity();
    for (const auto& source : sources) {
      if (!source->hasFrame()) {
        continue;
      }
      // What has no time comes at once.
      const double time = source->seconds().value_or(kNone);
      const double seconds = std::isfinite(time) ? time : -std::numeric_limits<double>::max();
      if (seconds <= least) {
        least = seconds;
        first = source.get();
      }
    }
    if (first == nullptr) {
      break;
    }
    gzip.add(first->take());
  }
  gzip.add(kEnd);
  return gzip.finish();
}

}  // namespace cli
