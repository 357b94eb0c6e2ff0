#include "checks/programme/Streams.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    onOrOff("RequireVideo", "1", "a file without pictures breaks: above 0 on"),
    onOrOff("RequireAudio", "1", "a file without sound breaks: above 0 on"),
    demand("Containers", "formats that the file may have, such as mov,mxf"),
    demand("VideoCodecs", "such as prores,dnxhd"),
    demand("PictureSizes", "such as 1920x1080,1280x720"),
    demand("FrameRates", "in frames a second, such as 25,30000/1001"),
    demand("Scan", "of progressive,tff,bff"),
    demand("ChromaFormats", "such as 4:2:2,4:4:4"),
    demand("BitDepths", "of a component, such as 8,10"),
    demand("Matrices", "colour matrices as flagged, such as bt709"),
    demand("AudioCodecs", "such as pcm_s24le,aac"),
    demand("SampleRates", "in Hz, such as 48000"),
    demand("AudioStreamChannels", "channels of each audio stream in order, such as 2,2,6"),
};

constexpr CheckProfile kProfile{.name = "streams", .tag = "QAStreams"};

/// Rates that differ by less are the same: 29.97 is 30000/1001.
constexpr double kRateTolerance = 0.005;

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
  });
  return text;
}

bool isOneOf(const std::string& found, const std::vector<std::string>& wanted) {
  return std::any_of(wanted.begin(), wanted.end(),
                     [&](const std::string& text) { return lowerCase(text) == lowerCase(found); });
}

/// A number or a fraction.
double rateOf(const std::string& text) {
  char* end = nullptr;
  const double above = std::strtod(text.c_str(), &end);
  const double below = *end == '/' ? std::strtod(end + 1, nullptr) : 1.0;
  return below > 0.0 ? above / below : 0.0;
}

std::string rateText(const QAVideoFacts& video) {
  if (video.rateNumerator <= 0) {
    return "";
  }
  return video.rateDenominator == 1
             ? std::to_string(video.rateNumerator)
             : std::to_string(video.rateNumerator) + "/" + std::to_string(video.rateDenominator);
}

std::string numberOrNothing(int number) {
  return number > 0 ? std::to_string(number) : "";
}

std::string joined(const std::vector<std::string>& pieces) {
  std::string list;
  for (const std::string& piece : pieces) {
    addWords(list, ",", piece);
  }
  return list;
}

class Judge {
 public:
  explicit Judge(const ProgrammeFacts& facts) : facts_(facts) {
    if (facts.videoStream >= 0) {
      video_ = &facts.media.streams[static_cast<std::size_t>(facts.videoStream)];
    }
    for (const int index : facts.audioStreams) {
      audio_.push_back(&facts.media.streams[static_cast<std::size_t>(index)]);
    }
  }

  std::vector<StreamDemand> judge(const StreamDemands& demands) {
    if (demands.video) {
      rows_.push_back({"picture", {"yes"}, video_ != nullptr ? "yes" : "no", video_ != nullptr});
    }
    if (demands.audio) {
      rows_.push_back({"sound", {"yes"}, audio_.empty() ? "no" : "yes", !audio_.empty()});
    }
    addContainer(demands.containers);
    addVideo(demands);
    addAudio("audio codec", demands.audioCodecs,
             [](const QAStreamFacts& stream) { return stream.codec; });
    addAudio("sample rate", demands.sampleRates, [](const QAStreamFacts& stream) {
      return stream.audio.has_value() ? numberOrNothing(stream.audio->sampleRate) : "";
    });
    addChannels(demands.audioStreamChannels);
    return std::move(rows_);
  }

 private:
  /// FFmpeg's name of a format may be several with commas.
  void addContainer(const std::vector<std::string>& wanted) {
    if (wanted.empty()) {
      return;
    }
    bool met = false;
    std::string rest = facts_.media.container;
    while (!rest.empty()) {
      const std::size_t comma = std::min(rest.find(','), rest.size());
      met = met || isOneOf(rest.substr(0, comma), wanted);
      rest.erase(0, comma + 1);
    }
    rows_.push_back({"container", wanted, facts_.media.container, met});
  }

  void add(const char* what, const std::vector<std::string>& wanted, const std::string& found) {
    if (!wanted.empty() && video_ != nullptr) {
      rows_.push_back({what, wanted, found, isOneOf(found, wanted)});
    }
  }

  void addVideo(const StreamDemands& demands) {
    if (video_ == nullptr || !video_->video.has_value()) {
      return;
    }
    const QAVideoFacts& video = *video_->video;
    add("video codec", demands.videoCodecs, video_->codec);
    add("picture size", demands.pictureSizes,
        std::to_string(video.width) + "x" + std::to_string(video.height));
    if (!demands.frameRates.empty()) {
      const bool met = std::any_of(
          demands.frameRates.begin(), demands.frameRates.end(), [&](const std::string& wanted) {
            return std::abs(rateOf(wanted) - video.frameRate) < kRateTolerance;
          });
      rows_.push_back({"frame rate", demands.frameRates, rateText(video), met});
    }
    add("scan", demands.scan, video.scan);
    add("chroma format", demands.chromaFormats, video.chroma);
    add("bit depth", demands.bitDepths, numberOrNothing(video.bits));
    add("matrix", demands.matrices, video.matrix);
  }

  /// Holds for every audio stream.
  template <typename Property>
  void addAudio(const char* what, const std::vector<std::string>& wanted, Property property) {
    if (wanted.empty() || audio_.empty()) {
      return;
    }
    StreamDemand row{what, wanted, "", true};
    std::vector<std::string> found;
    for (const QAStreamFacts* stream : audio_) {
      const std::string text = property(*stream);
      row.met = row.met && isOneOf(text, wanted);
      if (!isOneOf(text, found)) {
        found.push_back(text);
      }
    }
    row.found = joined(found);
    rows_.push_back(std::move(row));
  }

  void addChannels(const std::vector<std::string>& wanted) {
    if (wanted.empty()) {
      return;
    }
    std::vector<std::string> found;
    for (const QAStreamFacts* stream : audio_) {
      found.push_back(std::to_string(stream->audio.has_value() ? stream->audio->channels : 0));
    }
    rows_.push_back({"channels of the audio streams", wanted, joined(found), found == wanted});
  }

  const ProgrammeFacts& facts_;
  const QAStreamFacts* video_ = nullptr;
  std::vector<const QAStreamFacts*> audio_;
  std::vector<StreamDemand> rows_;
};

std::unique_ptr<ProgrammeCheck<StreamsMeasurement>> make(const CheckContext& context) {
  const auto list = [&](int row) { return context.list(kSettings[row]); };
  return std::make_unique<ProgrammeCheck<StreamsMeasurement>>(
      context, kProfile,
      StreamDemands{.video = context.whole(kSettings[0]) > 0,
                    .audio = context.whole(kSettings[1]) > 0,
                    .containers = list(2),
                    .videoCodecs = list(3),
                    .pictureSizes = list(4),
                    .frameRates = list(5),
                    .scan = list(6),
                    .chromaFormats = list(7),
                    .bitDepths = list(8),
                    .matrices = list(9),
                    .audioCodecs = list(10),
                    .sampleRates = list(11),
                    .audioStreamChannels = list(12)});
}

}  // namespace

std::vector<StreamDemand> judgeStreams(const ProgrammeFacts& facts, const StreamDemands& demands) {
  return Judge(facts).judge(demands);
}

void StreamsMeasurement::describe(QACheckOutcome& outcome) const {
  std::vector<QAValues> rows;
  for (const StreamDemand& row : judgeStreams(facts_, demands_)) {
    rows.push_back({{"what", std::string(row.what), ""},
                    {"wanted", joined(row.wanted), ""},
                    {"found", row.found, ""},
                    {"met", row.met, ""}});
    if (row.met) {
      continue;
    }
    outcome.broken = true;
    const bool isThere = row.wanted == std::vector<std::string>{"yes"};
    addWords(outcome.summary, "; ",
             isThere ? std::string("no ") + row.what
                     : row.what + (" " + (row.found.empty() ? "not known" : row.found)) +
                           ", wanted " + joined(row.wanted));
    QAEvent event;
    event.what = isThere ? std::string("no ") + row.what : std::string("another ") + row.what;
    outcome.events.push_back(event);
  }
  if (outcome.summary.empty()) {
    outcome.summary = rows.empty() ? "nothing is demanded"
                                   : counted(static_cast<double>(rows.size()), "demand") + " met";
  }
  outcome.values = {{"demands", std::move(rows), ""}};
}

constinit const QACheck streamsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Are picture and sound there, in the formats that are demanded?",
    .needs = QANeeds::container,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
