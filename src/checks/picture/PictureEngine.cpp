#include "checks/picture/PictureEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/FFmpeg.h"

namespace qatester {

namespace {

/// Of video range, in 8-bit luma codes.
constexpr double kVideoBlack = 16.0;
constexpr double kVideoRange = 219.0;
constexpr double kBrightest = 255.0;

/// Rows and columns are looked at in every so many pictures.
constexpr int64_t kLinesEvery = 12;
/// And a little after a change that may begin a shot.
constexpr float kPossibleCut = 8.0F;
constexpr std::size_t kAfterCut = 2;

}  // namespace

void PictureEngine::add(ProgrammeMeasurement& measurement) {
  auto& its = dynamic_cast<PictureMeasurement&>(measurement);
  listeners_.add(its);
  const PictureNeeds needs = its.needs();
  const PictureNeeds usual;
  if (needs.blackLuma != usual.blackLuma || needs.blackShare != usual.blackShare) {
    needs_.blackLuma = needs.blackLuma;
    needs_.blackShare = needs.blackShare;
  }
  needs_.lines = needs_.lines || needs.lines;
}

std::exception_ptr PictureEngine::errorOf(const ProgrammeMeasurement& measurement) const {
  return listeners_.errorOf(measurement);
}

void PictureEngine::begin(const ProgrammeFacts& facts) {
  if (facts.videoStream >= 0) {
    const auto& video = facts.media.streams[static_cast<std::size_t>(facts.videoStream)].video;
    if (video.has_value()) {
      times_->declareRate(video->frameRate);
      declaredFields_ = video->scan == "tff"   ? FieldFlag::topFirst
                        : video->scan == "bff" ? FieldFlag::bottomFirst
                                               : FieldFlag::progressive;
    }
  }
  listeners_.each([&](PictureMeasurement& one) { one.start(facts, times_); });
}

void PictureEngine::take(const ProgrammePicture& picture) {
  const bool isDamaged = damaged_.isDamaged(picture.damage);
  LumaPicture& luma = lumas_[current_];
  const LumaPicture& before = lumas_[1 - current_];
  if (!luma.read(picture)) {
    unreadable_ = ffmpeg::pixelFormatName(picture.frame->format);
    return;
  }
  const LumaRows& rows = luma.rows();
  PictureRecord record{.number = times_->count(),
                       .width = rows.width,
                       .height = rows.height,
                       .isFullRange = luma.isFullRange(),
                       .isDamaged = isDamaged,
                       .flagged = flagOf(*picture.frame)};
  record.isFirstOfSize = before.rows().pixels == nullptr || !before.rows().hasSizeOf(rows);
  sumBlocks(rows, record.isFirstOfSize ? rows : before.rows(), blocks_);
  record.numbers = reduceBlocks(blocks_, rows.width, rows.height);
  if (record.isFirstOfSize) {
    record.numbers.fields = {};
  }
  record.thumb = thumbOf(blocks_, rows.width, rows.height);
  record.isFlat = isFlat(record.thumb);
  record.chroma = luma.chroma();
  record.blackShare = blackShareOf(rows, record);
  if (needs_.lines) {
    const bool isAfterCut =
        waiting_.size() >= kAfterCut &&
        waiting_[waiting_.size() - kAfterCut].numbers.change.mean >= kPossibleCut;
    if (record.number % kLinesEvery == 0 || isAfterCut) {
      sumLines(rows, record.lines.emplace());
    }
  }
  times_->add(picture.seconds);
  shots_.add(record.thumb, record.chroma, record.numbers.change.mean);
  waiting_.push_back(std::move(record));
  current_ = 1 - current_;
  handOutDecided();
}

void PictureEngine::end(const ProgrammeEnd&) {
  shots_.finish();
  handOutDecided();
  std::string problem;
  if (times_->count() == 0) {
    problem = unreadable_.empty() ? "no picture could be decoded"
                                  : "pictures of the format " + unreadable_ + " cannot be measured";
  }
  const PictureSummary summary{shots_.gradualChanges()};
  listeners_.each([&](PictureMeasurement& one) { one.finish(summary, problem); });
}

void PictureEngine::handOutDecided() {
  for (const PictureDecision& decision : shots_.takeDecisions()) {
    PictureRecord& record = waiting_.front();
    record.kind = decision.kind;
    record.distance = decision.distance;
    listeners_.each([&](PictureMeasurement& one) { one.take(record); });
    waiting_.pop_front();
  }
}

double PictureEngine::blackShareOf(const LumaRows& rows, const PictureRecord& record) const {
  const double limit =
      std::floor(record.isFullRange ? kBrightest * needs_.blackLuma
                                    : kVideoBlack + kVideoRange * needs_.blackLuma);
  // No picture of the share is brighter.
  const double brightest = needs_.blackShare * limit + (1.0 - needs_.blackShare) * kBrightest;
  if (static_cast<double>(record.numbers.meanLuma) > brightest + 0.5) {
    return 0.0;
  }
  const auto black = countUpTo(rows, static_cast<uint8_t>(std::clamp(limit, 0.0, kBrightest)));
  return static_cast<double>(black) / (static_cast<double>(rows.width) * rows.height);
}

FieldFlag PictureEngine::flagOf(const AVFrame& frame) {
  if (frame.interlaced_frame == 0) {
    return anyInterlaced_ ? FieldFlag::progressive : declaredFields_;
  }
  anyInterlaced_ = true;
  return frame.top_field_first != 0 ? FieldFlag::topFirst : FieldFlag::bottomFirst;
}

}  // namespace qatester
