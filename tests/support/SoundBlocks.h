#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "media/Programme.h"
#include "support/MeasuredProgramme.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/samplefmt.h>
}

namespace qatest {

/// From a sample on, a stream is otherwise.
struct SoundChange {
  int64_t atSample = 0;
  std::optional<int> sampleRate = {};
  std::optional<int> channels = {};
  /// Those of a stream; empty with a new number of channels: not declared any more.
  std::optional<std::vector<std::string>> names = {};
  /// Time stamps go on so much later; below 0: earlier.
  double gapSeconds = 0.0;
};

/// An audio stream that is made block by block.
struct SoundStream {
  /// Of a channel, counted from 0, and a sample, counted from 0 through all changes. Full scale
  /// is 1.
  std::function<double(int channel, int64_t sample)> value = {};
  int64_t samples = 0;
  int channels = 2;
  /// Where each channel belongs, in FFmpeg's words; empty: not declared.
  std::vector<std::string> names = {};
  int sampleRate = 48000;
  AVSampleFormat format = AV_SAMPLE_FMT_FLTP;
  /// Of integer samples, which are rounded to so many and clipped; 0: as the format has them.
  int bits = 0;
  bool lossless = true;
  int blockSize = 1024;
  /// Time stamp of the first block.
  double startSeconds = 0.0;
  bool hasTimes = true;
  std::string language = {};
  std::string title = {};
  /// As the container declares it; empty: not.
  std::optional<double> declaredSeconds = {};
  std::vector<SoundChange> changes = {};  ///< in order
};

/// Facts of a file with these streams.
inline qatester::ProgrammeFacts factsOf(const std::vector<SoundStream>& streams) {
  qatester::ProgrammeFacts facts;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const SoundStream& stream = streams[i];
    QAStreamFacts made;
    made.index = static_cast<int>(i);
    made.kind = "audio";
    made.language = stream.language;
    made.title = stream.title;
    made.durationSeconds = stream.declaredSeconds;
    QAAudioFacts audio;
    audio.sampleRate = stream.sampleRate;
    audio.channels = stream.channels;
    audio.layoutDeclared = !stream.names.empty();
    audio.channelNames = stream.names;
    audio.bits = stream.bits;
    made.audio = audio;
    facts.media.streams.push_back(made);
    qatester::ProgrammeStream programme;
    programme.decoded = true;
    programme.lossless = stream.lossless;
    facts.streams.push_back(programme);
    facts.audioStreams.push_back(static_cast<int>(i));
  }
  return facts;
}

/// Hands out the blocks of a stream one by one.
class SoundBlocks {
 public:
  SoundBlocks(int number, const SoundStream& stream)
      : number_(number),
        stream_(stream),
        rate_(stream.sampleRate),
        channels_(stream.channels),
        seconds_(stream.startSeconds) {
    declare(stream.names);
    applyChanges();
  }

  bool isAtEnd() const { return next_ >= stream_.samples; }
  /// Of the next block.
  double seconds() const { return seconds_; }

  qatester::ProgrammeBlock take() {
    int64_t end = std::min(next_ + stream_.blockSize, stream_.samples);
    if (change_ < stream_.changes.size()) {
      end = std::min(end, stream_.changes[change_].atSample);
    }
    qatester::ProgrammeBlock block;
    block.stream = number_;
    block.firstSample = next_;
    block.samples = static_cast<int>(end - next_);
    block.sampleRate = rate_;
    if (stream_.hasTimes) {
      block.seconds = seconds_;
    }
    block.layout = layout_;
    block.frame = makeFrame(block.samples);
    seconds_ += static_cast<double>(block.samples) / rate_;
    next_ = end;
    applyChanges();
    return block;
  }

 private:
  void declare(const std::vector<std::string>& names) {
    layout_ = std::make_shared<const qatester::SoundLayout>(
        qatester::SoundLayout{.channels = channels_, .names = names});
  }

  void applyChanges() {
    for (; change_ < stream_.changes.size() && stream_.changes[change_].atSample <= next_;
         ++change_) {
      const SoundChange& change = stream_.changes[change_];
      rate_ = change.sampleRate.value_or(rate_);
      seconds_ += change.gapSeconds;
      if (change.channels.has_value() || change.names.has_value()) {
        channels_ = change.channels.value_or(channels_);
        declare(change.names.value_or(std::vector<std::string>{}));
      }
    }
  }

  std::shared_ptr<const AVFrame> makeFrame(int samples) const {
    std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* one) { av_frame_free(&one); });
    frame->format = stream_.format;
    frame->nb_samples = samples;
    frame->sample_rate = rate_;
    // Where the channels belong is in the block's layout.
    frame->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    frame->ch_layout.nb_channels = channels_;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
      throw std::runtime_error("no buffer for a block of sound");
    }
    switch (av_get_packed_sample_fmt(stream_.format)) {
      case AV_SAMPLE_FMT_U8:
        fill<uint8_t>(*frame, [this](double value) { return whole(value, 8) + 128; });
        break;
      case AV_SAMPLE_FMT_S16:
        fill<int16_t>(*frame, [this](double value) { return whole(value, 16); });
        break;
      case AV_SAMPLE_FMT_S32:
        fill<int32_t>(*frame, [this](double value) { return whole(value, 32); });
        break;
      case AV_SAMPLE_FMT_FLT:
        fill<float>(*frame, [](double value) { return value; });
        break;
      case AV_SAMPLE_FMT_DBL:
        fill<double>(*frame, [](double value) { return value; });
        break;
      default:
        throw std::invalid_argument("a format of samples that no test makes");
    }
    return frame;
  }

  /// An integer of so many bits whose lowest are 0 where the stream has fewer.
  int64_t whole(double value, int bitsOfFormat) const {
    const int bits = stream_.bits > 0 ? std::min(stream_.bits, bitsOfFormat) : bitsOfFormat;
    const double full = std::ldexp(1.0, bits - 1);
    const double rounded = std::clamp(std::round(value * full), -full, full - 1.0);
    return static_cast<int64_t>(std::ldexp(rounded, bitsOfFormat - bits));
  }

  template <typename T, typename Convert>
  void fill(AVFrame& frame, const Convert& convert) const {
    const bool planar = av_sample_fmt_is_planar(stream_.format) != 0;
    for (int channel = 0; channel < channels_; ++channel) {
      T* to = reinterpret_cast<T*>(frame.extended_data[planar ? channel : 0]);
      to += planar ? 0 : channel;
      for (int i = 0; i < frame.nb_samples; ++i) {
        to[static_cast<std::ptrdiff_t>(i) * (planar ? 1 : channels_)] =
            static_cast<T>(convert(stream_.value(channel, next_ + i)));
      }
    }
  }

  int number_;
  const SoundStream& stream_;
  int rate_;
  int channels_;
  double seconds_;
  int64_t next_ = 0;
  std::size_t change_ = 0;
  std::shared_ptr<const qatester::SoundLayout> layout_;
};

/// Gives a consumer a file with these streams, whose blocks come in the order of their times.
/// `stopped`: the reading was stopped after them.
inline qatester::ProgrammeEnd giveSound(qatester::ProgrammeConsumer& consumer,
                                        const std::vector<SoundStream>& streams,
                                        bool stopped = false) {
  std::vector<SoundBlocks> sources;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    sources.emplace_back(static_cast<int>(i), streams[i]);
  }
  consumer.begin(factsOf(streams));
  for (;;) {
    SoundBlocks* next = nullptr;
    for (SoundBlocks& source : sources) {
      if (!source.isAtEnd() && (next == nullptr || source.seconds() < next->seconds())) {
        next = &source;
      }
    }
    if (next == nullptr) {
      break;
    }
    consumer.take(next->take());
  }
  qatester::ProgrammeEnd end;
  end.stopped = stopped;
  end.readCleanly = !stopped;
  consumer.end(end);
  return end;
}

/// What a check of sound comes to on a file with these streams. Throws what ended the check.
inline QACheckOutcome measureSound(const std::string& checkName, const CheckSettings& settings,
                                   const std::vector<SoundStream>& streams, bool stopped = false,
                                   QAMeasurementSink* sink = nullptr) {
  return measureProgramme(
      checkName, settings, factsOf(streams),
      [&](qatester::ProgrammeConsumer& consumer) { return giveSound(consumer, streams, stopped); },
      sink);
}

}  // namespace qatest
