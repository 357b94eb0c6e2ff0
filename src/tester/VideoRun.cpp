#include "tester/VideoRun.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/Conversions.h"
#include "media/OxWrap.h"
#include "tester/Reasons.h"

namespace qatester {

namespace {

constexpr int kMaxMisses = 100;

}  // namespace

int slateFrames(int slateSeconds, float fps) {
  return truncateTo<int>(static_cast<double>(static_cast<float>(slateSeconds) * fps));
}

int boundBudget(int budget, float fps, double durationSeconds, int slateFrames) {
  const int64_t inFile = truncateTo<int>(static_cast<double>(fps) * durationSeconds);
  const int64_t available = inFile - slateFrames;
  if (budget <= available) {
    return budget;
  }
  return clampToInt(available - truncateTo<int>(static_cast<double>(fps)));
}

VideoRun::VideoRun(const CheckContext& context, const VideoCheckProfile& profile,
                   VideoMeasurement& measurement)
    : CheckRun(context, profile.check), profile_(profile), measurement_(measurement) {}

void VideoRun::begin() {
  CheckRun::begin();
  if (!profile_.startsBeforeBudget) {
    readBudget();
  }
}

void VideoRun::readBudget() {
  if (check_.budget != nullptr) {
    budget_ = context_.whole(*check_.budget);
  }
}

void VideoRun::open(OxWrap& wrap, Buffering& buffering) {
  if (wrap.formatContext == nullptr) {
    refuseUnopened(wrap);
    return;
  }
  outcome_.opened = true;
  log("Buffering...");
  buffering.start();

  video_ = wrap.getVideoStream();
  if (video_ == nullptr) {
    log("No video stream.");
    message(profile_.messageEndsWithFullStop ? "No video stream." : "No video stream");
    outcome_.subjectAbsent = true;
    refuse("no video stream");
    return;
  }
  const std::string pixelFormat = video_->getPixelFormat();
  log("Detected " + pixelFormat);
  if (pixelFormat == "Other") {
    failure();
    refuse(pixelFormatReason(*video_));
    return;
  }
  fps_ = video_->getFPS();
  if (!profile_.skipsSlate) {
    startMeasuring();
    return;
  }
  log("Dumping slate...");
  slate_ = slateFrames(context_.slateSeconds, fps_);
  slateLeft_ = std::max(1, slate_);  // at least one is dropped
}

void VideoRun::startMeasuring() {
  if (profile_.startsBeforeBudget) {
    log("Starting Checks.");
    readBudget();
  }
  boundTheBudget();
  if (!profile_.startsBeforeBudget) {
    log("Starting Checks.");
  }
  measurement_.begin(fps_, budget_);
  if (series_.isWanted() && !measurement_.columns().empty()) {
    figures_ = series_.begin(QASeries::Per::classicFrame, measurement_.columns());
  }
  beginMeasuring();
  outcome_.budget = budget_;
  phase_ = Phase::measuring;
}

void VideoRun::boundTheBudget() {
  try {
    budget_ = profile_.bound(budget_, fps_, video_->getDurationSeconds(), slate_);
  } catch (...) {
    if (profile_.boundFailure == nullptr) {
      throw;
    }
    log(profile_.boundFailure);
  }
}

bool VideoRun::onlyCounts() const {
  return profile_.countsOnly && !context_.displays.possible();
}

std::optional<int> VideoRun::leftToCount() const {
  if (!onlyCounts() || phase_ != Phase::measuring) {
    return std::nullopt;
  }
  return budget_ - index_;
}

bool VideoRun::wantsMore() {
  if (phase_ == Phase::slate) {
    if (!context_.stopped()) {
      return true;
    }
    startMeasuring();
  }
  return phase_ == Phase::measuring && index_ < budget_ && !context_.stopped();
}

bool VideoRun::offer(const DecodedPicture* picture) {
  return phase_ == Phase::slate ? offerToSlate(picture) : offerToMeasurement(picture);
}

/// Drops frames until the slate is through. With fixed pauses there is no giving up.
bool VideoRun::offerToSlate(const DecodedPicture* picture) {
  if (picture != nullptr) {
    --slateLeft_;
  } else {
    endedInSlate_ = video_->hasEnded();
  }
  if (slateLeft_ <= 0 || endedInSlate_) {
    startMeasuring();
    return false;
  }
  return picture == nullptr;
}

bool VideoRun::offerToMeasurement(const DecodedPicture* picture) {
  const Taken taken = picture != nullptr ? measurement_.add(index_, *picture) : Taken::missed;
  if (taken == Taken::missed) {
    if (++misses_ > kMaxMisses) {
      phase_ = Phase::satisfied;
      return false;
    }
    return true;
  }
  note(taken, *picture);
  if (figures_.isWanted() && taken == Taken::measured) {
    if (const std::vector<double> figures = measurement_.figures(); !figures.empty()) {
      figures_.add(index_, picture->seconds(), figures);
    }
  }
  if (taken == Taken::endsCheck) {
    phase_ = Phase::satisfied;
    return false;
  }
  if (taken != Taken::waits) {
    advance(index_, budget_);
    misses_ = 0;
  }
  ++index_;
  return false;
}

/// Keeps for the outcome what became of a picture.
void VideoRun::note(Taken taken, const DecodedPicture& picture) {
  if (taken == Taken::measured || taken == Taken::waits) {
    ++outcome_.count;
    outcome_.measured = outcome_.measured || taken == Taken::measured;
  } else {
    outcome_.reason = pixelFormatReason(picture.yuv());
  }
}

double VideoRun::share() const {
  if (hasEnded()) {
    return 1.0;
  }
  if (video_ == nullptr) {
    return 0.0;
  }
  const double wanted = static_cast<double>(slate_) + std::max(1, budget_);
  const double left = phase_ == Phase::slate ? static_cast<double>(slateLeft_) + budget_
                                             : static_cast<double>(budget_) - index_;
  return std::clamp(1.0 - left / wanted, 0.0, 1.0);
}

void VideoRun::describe() {
  measurement_.describe(outcome_);
}

std::string VideoRun::reasonForNothing() const {
  if (context_.stopped()) {
    return "stopped before the first frame";
  }
  if (endedInSlate_) {
    return "the file ends within the slate of " + std::to_string(context_.slateSeconds) + " s";
  }
  if (budget_ <= 0) {
    return "too short, or of unknown duration: no frames are left to measure";
  }
  return "no frame could be decoded";
}

}  // namespace qatester
