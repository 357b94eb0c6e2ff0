#include "tester/Readings.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <optional>

#include "media/FFmpegMedia.h"
#include "media/FileClock.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"

namespace qatester {

namespace {

constexpr unsigned kMissPauseSeconds = 10;
/// No more pictures stay behind in a decoder that is not drained: H.264 and HEVC put off 16 at
/// most.
constexpr int64_t kDecoderDelay = 20;

/// Buffering that the runs of a reading have in common. It starts when the first of them asks for
/// it; a run that is alone stops it, other runs leave that to the reading's end.
class SharedBuffering final : public Buffering {
 public:
  SharedBuffering(OxWrap& wrap, bool isAlone) : wrap_(wrap), isAlone_(isAlone) {}

  void start() override {
    if (!started_) {
      // A run whose start ends in an exception leaves the next one to try.
      wrap_.startBuffering();
      started_ = true;
    }
  }
  void stop() override {
    if (isAlone_) {
      wrap_.stopBuffering();
    }
  }
  /// At the end of a reading.
  void stopForAll() {
    if (started_ && !isAlone_) {
      wrap_.stopBuffering();
    }
  }

 private:
  OxWrap& wrap_;
  bool isAlone_;
  bool started_ = false;
};

/// Of a check that asks the container alone: nobody drains what it buffers.
class NoBuffering final : public Buffering {
 public:
  void start() override {}
  void stop() override {}
};

/// The audio queues, which nobody drains, would fill up and hold the pictures back.
void keepVideoOnly(OxWrap& wrap) {
  wrap.bufferOnly(wrap.videoStream != nullptr ? std::vector<int>{wrap.videoStream->streamIndex}
                                              : std::vector<int>{});
}

template <typename Run>
void removeEnded(std::vector<Run*>& runs, Steps& steps) {
  for (Run* run : runs) {
    if (run->hasEnded()) {
      steps.ended(*run);
    }
  }
  std::erase_if(runs, [](const Run* run) { return run->hasEnded(); });
}

/// Finishes the runs that want nothing more, and forgets those that have ended.
template <typename Run, typename Wants>
void finishSatisfied(std::vector<Run*>& runs, SharedBuffering& buffering, Steps& steps,
                     Wants wants) {
  for (Run* run : runs) {
    steps.take(*run, [&] {
      if (!run->hasEnded() && !wants(*run)) {
        run->finish(buffering);
      }
    });
  }
  removeEnded(runs, steps);
}

class PictureReading {
 public:
  PictureReading(OxWrap& wrap, std::vector<VideoRun*> runs, Steps& steps,
                 const CountPictures& count)
      : wrap_(wrap),
        runs_(std::move(runs)),
        steps_(steps),
        count_(count),
        buffering_(wrap, runs_.size() == 1),
        startSeconds_(startSeconds(wrap)) {}

  void read() {
    for (VideoRun* run : runs_) {
      steps_.take(*run, [&] { run->open(wrap_, buffering_); });
    }
    removeEnded(runs_, steps_);
    finishSatisfied();
    if (!runs_.empty()) {
      PictureMaker maker;
      while (!runs_.empty()) {
        const bool pause = offerNext(maker);
        finishSatisfied();
        if (pause && !runs_.empty()) {
          wrap_.getVideoStream()->pauseForPacket(kMissPauseSeconds);
          finishSatisfied();
        }
      }
    }
    buffering_.stopForAll();
  }

 private:
  void finishSatisfied() {
    qatester::finishSatisfied(runs_, buffering_, steps_,
                              [](VideoRun& run) { return run.wantsMore(); });
  }

  /// True when the reading should pause before it tries again.
  bool offerNext(PictureMaker& maker) {
    OxVideoFrameYUV picture;
    const PictureGuard guard(picture);
    std::exception_ptr failure;
    try {
      picture = wrap_.getVideoStream()->getNextYUVFrame();
    } catch (...) {
      failure = std::current_exception();
    }
    std::optional<DecodedPicture> decoded;
    if (picture.valid) {
      const double seconds = presentationSeconds(picture, *wrap_.getVideoStream()) - startSeconds_;
      decoded.emplace(maker, picture, number_++, seconds);
    }
    bool pause = false;
    for (VideoRun* run : runs_) {
      steps_.take(*run, [&] {
        if (failure != nullptr) {
          std::rethrow_exception(failure);
        }
        pause = run->offer(decoded ? &*decoded : nullptr) || pause;
      });
    }
    if (decoded && count_ != nullptr && onlyCounts()) {
      countTheRest(*decoded);
    }
    return pause;
  }

  bool onlyCounts() const {
    return std::all_of(runs_.begin(), runs_.end(),
                       [](const VideoRun* run) { return run->leftToCount().has_value(); });
  }

  /// To a run that only counts, one picture is like the next of its format and size.
  void countTheRest(const DecodedPicture& picture) {
    const std::optional<CountedPictures> counted = std::exchange(count_, nullptr)();
    if (!counted || counted->stream != wrap_.getVideoStream()->streamIndex ||
        counted->format != picture.yuv().frame->format || counted->width != picture.yuv().width ||
        counted->height != picture.yuv().height) {
      return;
    }
    for (VideoRun* run : runs_) {
      if (number_ + run->leftToCount().value_or(0) + kDecoderDelay <= counted->pictures) {
        steps_.take(*run, [&] {
          while (run->wantsMore()) {
            run->offer(&picture);
          }
        });
      }
    }
  }

  OxWrap& wrap_;
  std::vector<VideoRun*> runs_;
  Steps& steps_;
  CountPictures count_;
  SharedBuffering buffering_;
  double startSeconds_;
  int64_t number_ = 0;
};

/// The blocks of one stream that some run has not had yet.
class KeptBlocks {
 public:
  explicit KeptBlocks(OxAudioStream& stream) : stream_(stream) {}

  /// The block of this number, counted from the start of the stream. Throws what decoding it threw.
  AudioBlock at(int64_t number) {
    while (number >= first_ + static_cast<int64_t>(kept_.size())) {
      keepNext();
    }
    const Kept& kept = kept_[static_cast<std::size_t>(number - first_)];
    if (kept.failure != nullptr) {
      std::rethrow_exception(kept.failure);
    }
    return kept.block;
  }

  void forgetBefore(int64_t number) {
    while (first_ < number && !kept_.empty()) {
      kept_.pop_front();
      ++first_;
    }
  }

 private:
  struct Kept {
    AudioBlock block;
    std::exception_ptr failure;
  };

  void keepNext() {
    Kept& kept = kept_.emplace_back();
    try {
      kept.block = nextBlock(stream_);
    } catch (...) {
      kept.failure = std::current_exception();
    }
  }

  OxAudioStream& stream_;
  std::deque<Kept> kept_;
  int64_t first_ = 0;  ///< the number of the first one kept
};

class SoundReading {
 public:
  SoundReading(OxWrap& wrap, std::vector<AudioRun*> runs, Steps& steps)
      : wrap_(wrap), runs_(std::move(runs)), steps_(steps), buffering_(wrap, runs_.size() == 1) {}

  void read(const std::vector<int>& streams) {
    for (AudioRun* run : runs_) {
      steps_.take(*run, [&] { run->open(wrap_, buffering_); });
    }
    removeEnded(runs_, steps_);
    for (const int stream : streams) {
      kept_.emplace_back(*wrap_.getAudioStream(static_cast<unsigned short>(stream)));
    }
    for (AudioRun* run : runs_) {
      listeners_.push_back({run, std::vector<int64_t>(kept_.size())});
    }
    finishSatisfied();
    while (!runs_.empty()) {
      for (Listener& listener : listeners_) {
        offerNext(listener);
      }
      finishSatisfied();
      forgetHeard();
    }
    buffering_.stopForAll();
  }

 private:
  /// A run, and how many blocks of each stream it has had.
  struct Listener {
    AudioRun* run;
    std::vector<int64_t> had;
  };

  void finishSatisfied() {
    qatester::finishSatisfied(runs_, buffering_, steps_,
                              [](AudioRun& run) { return run.wanted().has_value(); });
    std::erase_if(listeners_, [](const Listener& one) { return one.run->hasEnded(); });
  }

  void offerNext(Listener& listener) {
    steps_.take(*listener.run, [&] {
      const std::optional<std::size_t> stream = listener.run->wanted();
      if (stream) {
        int64_t& had = listener.had[*stream];
        listener.run->offer([&] { return kept_[*stream].at(had++); });
      }
    });
  }

  void forgetHeard() {
    for (std::size_t stream = 0; stream < kept_.size() && !listeners_.empty(); ++stream) {
      int64_t least = listeners_.front().had[stream];
      for (const Listener& one : listeners_) {
        least = std::min(least, one.had[stream]);
      }
      kept_[stream].forgetBefore(least);
    }
  }

  OxWrap& wrap_;
  std::vector<AudioRun*> runs_;
  Steps& steps_;
  SharedBuffering buffering_;
  std::vector<KeptBlocks> kept_;
  std::vector<Listener> listeners_;
};

OxWrapOptions wrapOptions(const CheckContext& context) {
  return {context.options.pauses, context.options.stop};
}

void prepareForVideo(const CheckContext& context, OxWrap& wrap,
                     const std::vector<VideoRun*>& runs) {
  const bool discards = std::all_of(
      runs.begin(), runs.end(), [](const VideoRun* run) { return run->profile().discardsAudio; });
  if (discards) {
    wrap.discardAudio(true);
  } else if (context.untilReady()) {
    keepVideoOnly(wrap);
  }
}

/// Before the buffering, which works on the container.
template <typename Run>
void setSeries(OxWrap& wrap, const std::vector<Run*>& runs, std::optional<int> stream) {
  const bool any =
      std::any_of(runs.begin(), runs.end(), [](const Run* run) { return run->wantsSeries(); });
  if (!any || wrap.formatContext == nullptr) {
    return;
  }
  const ProgrammeFacts facts = ffmpeg::readProgrammeFacts(wrap.formatContext);
  double start = 0.0;
  if (stream.has_value()) {
    start = facts.media.streams[static_cast<std::size_t>(*stream)].startSeconds.value_or(0.0);
  }
  for (Run* run : runs) {
    if (run->wantsSeries()) {
      run->setSeries(facts, start);
    }
  }
}

std::vector<int> containerIndices(OxWrap& wrap, const std::vector<int>& streams) {
  std::vector<int> indices;
  for (const int stream : streams) {
    indices.push_back(wrap.getAudioStream(static_cast<unsigned short>(stream))->streamIndex);
  }
  return indices;
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// One check that asks the container, with a reading of its own.
void answerAlone(const CheckContext& context, CheckRun& run, Steps& steps) {
  OxWrap wrap(context.fileName, wrapOptions(context));
  SharedBuffering buffering(wrap, true);
  if (wrap.formatContext != nullptr && context.untilReady()) {
    wrap.bufferOnly({});  // nothing will be drained, so there is nothing to wait for
  }
  steps.take(run, [&] { run.answer(&wrap, buffering); });
  steps.ended(run);
}

}  // namespace

void Steps::take(CheckRun& run, const std::function<void()>& step) {
  try {
    step();
  } catch (...) {
    run.closeAfterException();
    throw;
  }
}

void readPictures(const CheckContext& context, const std::vector<CheckRun*>& runs, Steps& steps,
                  const CountPictures& count) {
  OxWrap wrap(context.fileName, wrapOptions(context));
  NoBuffering none;
  std::vector<VideoRun*> videoRuns;
  for (CheckRun* run : runs) {
    if (VideoRun* video = run->asVideo()) {
      videoRuns.push_back(video);
      continue;
    }
    steps.take(*run, [&] { run->answer(&wrap, none); });
    if (run->hasEnded()) {
      steps.ended(*run);
    }
  }
  if (videoRuns.empty()) {
    return;
  }
  if (wrap.formatContext != nullptr) {
    prepareForVideo(context, wrap, videoRuns);
  }
  setSeries(wrap, videoRuns, std::nullopt);
  PictureReading(wrap, std::move(videoRuns), steps, count).read();
}

void readSound(const CheckContext& context, const std::vector<AudioRun*>& runs, Steps& steps) {
  OxWrap wrap(context.fileName, wrapOptions(context));
  const std::vector<int> streams = runs.front()->streamsOf(wrap);
  std::vector<AudioRun*> fed;
  std::copy_if(runs.begin(), runs.end(), std::back_inserter(fed),
               [&](const AudioRun* run) { return run->streamsOf(wrap) == streams; });
  if (wrap.formatContext != nullptr) {
    wrap.discardVideo(true);
    if (context.untilReady()) {
      // Queues that nobody drains would fill up and hold back the blocks that are wanted.
      wrap.bufferOnly(containerIndices(wrap, streams));
    }
  }
  if (!streams.empty()) {
    setSeries(wrap, fed, containerIndices(wrap, streams).front());
  }
  SoundReading reading(wrap, std::move(fed), steps);
  reading.read(streams);
}

void readForOne(const CheckContext& context, CheckRun& run, Steps& steps) {
  if (!run.needsFile()) {
    NoBuffering none;
    steps.take(run, [&] { run.answer(nullptr, none); });
    steps.ended(run);
  } else if (run.asAudio() != nullptr) {
    readSound(context, {run.asAudio()}, steps);
  } else if (run.asVideo() != nullptr) {
    readPictures(context, {&run}, steps);
  } else {
    answerAlone(context, run, steps);
  }
}

void readAlone(const CheckContext& context, CheckRun& run) {
  Steps steps;
  const auto begin = std::chrono::steady_clock::now();
  run.begin();
  readForOne(context, run, steps);
  run.outcome().seconds = secondsSince(begin);
  if (context.options.outcome) {
    context.options.outcome(run.outcome());
  }
}

bool runVideoCheck(const CheckContext& context, const VideoCheckProfile& profile,
                   VideoMeasurement& measurement) {
  VideoRun run(context, profile, measurement);
  readAlone(context, run);
  return run.outcome().began;
}

bool runAudioCheck(const CheckContext& context, const AudioCheckProfile& profile,
                   AudioMeasurement& measurement) {
  AudioRun run(context, profile, measurement);
  readAlone(context, run);
  return run.outcome().began;
}

}  // namespace qatester
