#include "media/FileClock.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace qatester {

namespace {

double secondsOf(int64_t microseconds) {
  return microseconds != AV_NOPTS_VALUE ? static_cast<double>(microseconds) / AV_TIME_BASE : 0.0;
}

}  // namespace

double startSeconds(const OxWrap& wrap) {
  return wrap.formatContext != nullptr ? secondsOf(wrap.formatContext->start_time) : 0.0;
}

double declaredSeconds(const OxWrap& wrap) {
  return wrap.formatContext != nullptr ? secondsOf(wrap.formatContext->duration) : 0.0;
}

double presentationSeconds(const OxVideoFrameYUV& picture, const OxVideoStream& video) {
  const int64_t stamp = picture.frame->best_effort_timestamp;
  if (stamp == AV_NOPTS_VALUE) {
    return picture.time;
  }
  const double unit = static_cast<double>(video.stream->time_base.num) /
                      static_cast<double>(video.stream->time_base.den);
  return unit * static_cast<double>(stamp);
}

}  // namespace qatester
