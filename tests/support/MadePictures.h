#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/Programme.h"
#include "support/MeasuredProgramme.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatest {

/// Pictures of the format YUV 4:2:0 or grey of 8 bits, or another whose planes a test fills.
struct MadePictures {
  int64_t count = 0;
  int width = 64;
  int height = 64;
  AVPixelFormat format = AV_PIX_FMT_GRAY8;
  double rate = 25.0;
  /// Of a pixel, in a picture counted from 0. Pixels of Cb and Cr are 128.
  std::function<int(int x, int y, int64_t number)> luma = {};
  bool isInterlaced = false;
  bool isTopFirst = false;
  bool hasTimes = true;
  /// This picture was decoded from damaged data.
  std::optional<int64_t> damagedAt = {};
  /// From this picture on, pictures are of another size.
  std::optional<int64_t> sizeChangesAt = {};
  int laterWidth = 0;
  int laterHeight = 0;
};

inline std::shared_ptr<AVFrame> emptyFrame(AVPixelFormat format, int width, int height) {
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* one) { av_frame_free(&one); });
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::runtime_error("no buffer for a picture");
  }
  return frame;
}

inline qatester::ProgrammePicture pictureOf(const MadePictures& made, int64_t number) {
  const bool isLater = made.sizeChangesAt.has_value() && number >= *made.sizeChangesAt;
  const std::shared_ptr<AVFrame> frame =
      emptyFrame(made.format, isLater ? made.laterWidth : made.width,
                 isLater ? made.laterHeight : made.height);
  for (int y = 0; y < frame->height; ++y) {
    for (int x = 0; x < frame->width; ++x) {
      frame->data[0][frame->linesize[0] * y + x] = static_cast<uint8_t>(made.luma(x, y, number));
    }
  }
  for (std::size_t plane = 1; plane < 3 && frame->data[plane] != nullptr; ++plane) {
    for (int i = 0; i < frame->linesize[plane] * ((frame->height + 1) / 2); ++i) {
      frame->data[plane][i] = 128;
    }
  }
  frame->interlaced_frame = made.isInterlaced ? 1 : 0;
  frame->top_field_first = made.isTopFirst ? 1 : 0;
  qatester::ProgrammePicture picture;
  picture.frame = frame;
  picture.number = number;
  if (made.hasTimes) {
    picture.seconds = static_cast<double>(number) / made.rate;
  }
  if (made.damagedAt == number) {
    picture.damage = qatester::kDecodeErrors;
  }
  return picture;
}

inline qatester::ProgrammeFacts factsOf(const MadePictures& made) {
  qatester::ProgrammeFacts facts;
  QAStreamFacts stream;
  stream.kind = "video";
  QAVideoFacts video;
  video.width = made.width;
  video.height = made.height;
  video.frameRate = made.rate;
  stream.video = video;
  facts.media.streams.push_back(stream);
  facts.streams.emplace_back().decoded = true;
  facts.videoStream = 0;
  return facts;
}

/// What a check of the picture comes to on these pictures.
inline QACheckOutcome measurePictures(const std::string& checkName, const CheckSettings& settings,
                                      const MadePictures& made, QAMeasurementSink* sink = nullptr) {
  const auto give = [&](qatester::ProgrammeConsumer& consumer) {
    consumer.begin(factsOf(made));
    for (int64_t number = 0; number < made.count; ++number) {
      consumer.take(pictureOf(made, number));
    }
    qatester::ProgrammeEnd end;
    end.readCleanly = true;
    end.pictures = made.count;
    consumer.end(end);
    return end;
  };
  return measureProgramme(checkName, settings, factsOf(made), give, sink);
}

}  // namespace qatest
