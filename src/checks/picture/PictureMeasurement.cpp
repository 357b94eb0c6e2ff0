#include "checks/picture/PictureMeasurement.h"

#include <algorithm>
#include <utility>

#include "checks/picture/PictureEngine.h"

namespace qatester {

namespace {

/// Where nothing says how long a picture is shown.
constexpr double kUsualRate = 25.0;

}  // namespace

void PictureTimes::add(std::optional<double> seconds) {
  seconds_.push_back(seconds.value_or(this->seconds(count())));
}

double PictureTimes::rate() const {
  if (declaredRate_ > 0.0) {
    return declaredRate_;
  }
  const double length = seconds_.size() > 1 ? seconds_.back() - seconds_.front() : 0.0;
  return length > 0.0 ? static_cast<double>(seconds_.size() - 1) / length : kUsualRate;
}

double PictureTimes::seconds(int64_t number) const {
  if (number < count()) {
    return seconds_[static_cast<std::size_t>(std::max<int64_t>(number, 0))];
  }
  const double last = seconds_.empty() ? 0.0 : seconds_.back();
  const int64_t after = number - std::max<int64_t>(count() - 1, 0);
  return last + static_cast<double>(after) / rate();
}

bool PictureMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no video stream";
  return facts.videoStream >= 0;
}

MakeShared PictureMeasurement::sharedBy() const {
  return [](const CheckContext&) -> std::unique_ptr<SharedConsumer> {
    return std::make_unique<PictureEngine>();
  };
}

std::string PictureMeasurement::whyNothing() const {
  return problem_;
}

std::vector<int64_t> PictureMeasurement::picturesOf(const QAEvent& event) const {
  const std::optional<int64_t> number =
      event.worstFrame.has_value() ? event.worstFrame : event.startFrame;
  return number.has_value() ? std::vector<int64_t>{*number} : std::vector<int64_t>{};
}

std::vector<int64_t> PictureMeasurement::neighboursOf(const QAEvent& event) {
  if (!event.startFrame.has_value()) {
    return {};
  }
  const int64_t first = *event.startFrame;
  return {std::max<int64_t>(0, first - 1), std::max(first, event.endFrame.value_or(0) - 1)};
}

void PictureMeasurement::start(const ProgrammeFacts& facts,
                               std::shared_ptr<const PictureTimes> times) {
  times_ = std::move(times);
  beginPictures(facts);
}

void PictureMeasurement::finish(const PictureSummary& summary, const std::string& problem) {
  problem_ = problem;
  endPictures(summary);
}

QAEvent PictureMeasurement::eventOf(int64_t first, int64_t end, const char* what) const {
  QAEvent event;
  event.startFrame = first;
  event.endFrame = end;
  event.startSeconds = times().seconds(first);
  event.endSeconds = times().seconds(end);
  event.what = what;
  return event;
}

}  // namespace qatester
