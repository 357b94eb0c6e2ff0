#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/ActiveArea.h"
#include "checks/picture/PictureMeasurement.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"ActiveAspect", "0", QASetting::Kind::real, 0.0, 10.0, "",
     "the aspect ratio that the active picture must have, such as 2.39; 0: any"},
};

constexpr CheckProfile kProfile{.name = "active-picture", .tag = "QAActivePicture"};

constexpr const char* kDisplays[] = {"Active Picture"};

/// Samples of a shot that are kept.
constexpr std::size_t kMostSamples = 32;
/// A dark shot may hide what is picture for so long, in seconds.
constexpr double kDarkSeconds = 10.0;
/// How far an aspect ratio may be off the demanded one, as a share.
constexpr double kSameAspect = 0.02;

/// "16:15"; 1 where nothing is declared.
double ratioOf(const std::string& text) {
  int numerator = 0;
  int denominator = 0;
  const bool isThere = std::sscanf(text.c_str(), "%d:%d", &numerator, &denominator) == 2 &&
                       numerator > 0 && denominator > 0;
  return isThere ? static_cast<double>(numerator) / denominator : 1.0;
}

class ActivePictureMeasurement final : public PictureMeasurement {
 public:
  explicit ActivePictureMeasurement(double aspect) : demanded_(aspect) {}

  PictureNeeds needs() const override { return {.lines = true}; }

  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    const bool isNewShot = record.kind == PictureKind::cut || record.isFirstOfSize;
    if (isNewShot) {
      closeShot(record.number);
      shot_ = {.first = record.number, .width = record.width, .height = record.height};
    }
    const bool belongs = record.kind != PictureKind::flash && !record.isDamaged;
    if (belongs && record.lines.has_value() && shot_.samples.size() < kMostSamples) {
      if (const std::optional<Margins> margins = marginsOf(*record.lines, record.blackShare)) {
        shot_.samples.push_back({*margins, record.thumb});
      }
    }
  }

  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    const std::vector<ActiveArea>& areas = areas_->areas();
    const auto longest = std::max_element(areas.begin(), areas.end(),
                                          [](const ActiveArea& one, const ActiveArea& other) {
                                            return one.end - one.first < other.end - other.first;
                                          });
    if (longest == areas.end()) {
      return;
    }
    for (const ActiveArea& area : areas) {
      QAEvent event = eventOf(area.first, area.end, ("active picture " + wordsOf(area)).c_str());
      event.value = aspectOf(area);
      event.breaks = isMissed(area);
      if (demanded_ > 0.0) {
        event.limit = demanded_;
      }
      outcome.broken = outcome.broken || event.breaks;
      outcome.events.push_back(std::move(event));
    }
    const auto number = [](int value) { return static_cast<int64_t>(value); };
    outcome.values = {{"x", number(longest->margins.left), ""},
                      {"y", number(longest->margins.top), ""},
                      {"width", number(longest->activeWidth()), ""},
                      {"height", number(longest->activeHeight()), ""},
                      {"aspect", aspectOf(*longest), ""},
                      {"changes", static_cast<int64_t>(areas.size()) - 1, ""}};
    if (demanded_ > 0.0) {
      outcome.limits = {{.of = "aspect",
                         .min = demanded_ * (1.0 - kSameAspect),
                         .max = demanded_ * (1.0 + kSameAspect)}};
    } else {
      outcome.state = QAState::info;
    }
    const bool isFull = longest->margins == Margins{};
    outcome.summary = isFull ? "the whole picture" : wordsOf(*longest);
    outcome.summary += ", ";
    outcome.summary += quantity(aspectOf(*longest), {":1", 2});
    if (areas.size() > 1) {
      outcome.summary += ", ";
      outcome.summary += counted(static_cast<double>(areas.size() - 1), "change");
    }
  }

 private:
  struct Shot {
    int64_t first = 0;
    int width = 0;
    int height = 0;
    std::vector<AreaSample> samples = {};
  };

  static std::string wordsOf(const ActiveArea& area) {
    std::string words = std::to_string(area.activeWidth());
    words += 'x';
    words += std::to_string(area.activeHeight());
    words += '+';
    words += std::to_string(area.margins.left);
    words += '+';
    words += std::to_string(area.margins.top);
    return words;
  }

  double aspectOf(const ActiveArea& area) const {
    return pixelAspect_ * area.activeWidth() / std::max(area.activeHeight(), 1);
  }

  bool isMissed(const ActiveArea& area) const {
    return demanded_ > 0.0 && std::abs(aspectOf(area) - demanded_) > kSameAspect * demanded_;
  }

  void closeShot(int64_t end) {
    if (!areas_.has_value()) {
      areas_.emplace(std::llround(kDarkSeconds * times().rate()));
    }
    if (end > shot_.first) {
      areas_->add(shot_.first, end, shot_.width, shot_.height,
                  marginsOfShot(shot_.samples, shot_.width, shot_.height));
    }
  }

  void beginPictures(const ProgrammeFacts& facts) override {
    const auto& video = facts.media.streams[static_cast<std::size_t>(facts.videoStream)].video;
    pixelAspect_ = video.has_value() ? ratioOf(video->sampleAspect) : 1.0;
    places_ = series().begin(QASeries::Per::picture,
                             {{"x", "px"}, {"y", "px"}, {"width", "px"}, {"height", "px"}});
  }

  void endPictures(const PictureSummary&) override {
    closeShot(times().count());
    if (!places_.isWanted()) {
      return;
    }
    // Shots that come later decide on what a dark one shows.
    for (const ActiveArea& area : areas_->areas()) {
      for (int64_t number = area.first; number < area.end; ++number) {
        places_.add(
            number, times().seconds(number),
            {static_cast<double>(area.margins.left), static_cast<double>(area.margins.top),
             static_cast<double>(area.activeWidth()), static_cast<double>(area.activeHeight())});
      }
    }
  }

  double demanded_;
  double pixelAspect_ = 1.0;
  Shot shot_;
  std::optional<ActiveAreas> areas_;
  SeriesOutput places_;
};

std::unique_ptr<ProgrammeCheck<ActivePictureMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<ActivePictureMeasurement>>(
      context, kProfile, numberSetting(context, kSettings[0]));
}

}  // namespace

constinit const QACheck activePictureCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Which part of the picture is used, and does it change?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester
