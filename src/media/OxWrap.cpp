#include "media/OxWrap.h"

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/SharedValue.h"
#include "media/BufferControl.h"
#include "media/FFmpeg.h"
#include "media/PacketQueue.h"

using qatester::BufferControl;
using qatester::loadShared;
using qatester::storeShared;
namespace ffmpeg = qatester::ffmpeg;

namespace {

constexpr int kStopped = 0;
constexpr int kBuffering = 1;
constexpr int kPaused = 2;

constexpr int32_t kQueueLimitBytes = 5000000;
/// The bytes of a queue are its payloads'. What else a packet takes, some 500 bytes, counts where
/// packets are tiny; with fixed pauses clients know the reader as it is.
constexpr int32_t kQueueLimitPackets = 20000;
constexpr unsigned kStartPauseSeconds = 500;
constexpr unsigned kStopPauseSeconds = 100;
constexpr unsigned kEndOfFilePauseSeconds = 100;
constexpr unsigned kFullQueuePauseSeconds = 10;
constexpr unsigned kPausedPauseSeconds = 1000;
constexpr int kDestructorWaitMilliseconds = 2000;

/// How often until-ready mode reads on after damage before it takes it for the end of the data:
/// about as many polls as the fixed pauses of a patient check leave time for.
constexpr int kMaxFailedReads = 16;

}  // namespace

/// What the wrapper shares with its buffering thread. Whoever lets go of it last destroys the
/// streams and closes the container.
struct OxWrap::Buffering {
  explicit Buffering(const OxWrapOptions& options);
  ~Buffering();

  /// False when the file cannot be read: `openError` then says why.
  bool openFile(const std::string& fileName);

  /// Of the file that is open: the first video stream and every audio stream.
  void makeStreams();

  void publishFacts();

  /// Reads and routes packets until `bufferState` is 0 or the input fails.
  void run();

  /// Tells until-ready getters that nothing more will come.
  void endSupply();

  void setState(int state);
  void noteChange();
  /// Lets the demultiplexer skip what would be dropped here: at once, or from the next read on.
  void skipUnwanted();
  bool hasLiveQueue() const;
  bool hasPackets() const;

  std::shared_ptr<BufferControl> control = std::make_shared<BufferControl>();
  std::optional<std::stop_callback<std::function<void()>>> onStop;

  AVFormatContext* formatContext = nullptr;
  std::vector<OxAudioStream*> audioStreams;
  OxVideoStream* videoStream = nullptr;
  /// These three are shared with the thread, see `loadShared`.
  int bufferState = kStopped;
  bool discardVideoPackets = false;
  bool discardAudioPackets = false;
  /// Set when the wrapper is gone: what the thread still reads is of no use to anybody.
  std::atomic<bool> abandoned{false};
  /// Set when the reader has reported the end of the data to the queues.
  std::atomic<bool> ended{false};
  /// Container streams to keep; all when unset. Guarded by the route lock.
  std::optional<std::vector<int>> onlyStreams;
  std::string openError;

 private:
  /// Lets a change of the queue end the pauses that wait for one.
  void reportChangesOf(PacketQueue* queue);
  bool isFull(const PacketQueue& queue) const;
  /// Allocates nothing: the end is reported even when memory is short.
  template <typename Action>
  void forEachQueue(Action action) const;
  bool isKept(int streamIndex) const;
  bool isWanted(int streamIndex) const;
  void updateSkips();
  PacketQueue* liveVideoQueue(int streamIndex) const;
  PacketQueue* liveAudioQueue(int streamIndex) const;
  void readAndRoute();
  void route(ffmpeg::ScopedPacket& packet);
  void setSupply(PacketSupply supply);
  bool markEnded(unsigned seeksBeforeRead);

  ffmpeg::UniqueContainer container_;  ///< outlives the streams
  std::atomic<unsigned> changes_{0};
  /// Set when the demultiplexer may skip other streams than it should.
  std::atomic<bool> skipsAreOld_{false};
  int videoIndex_ = -1;  ///< of the stream that `videoStream` was made for
  /// The buffering thread's own.
  PacketSupply supply_ = PacketSupply::unknown;
  int failedReads_ = 0;
};

OxWrap::Buffering::Buffering(const OxWrapOptions& options) {
  control->pauses = options.pauses;
  control->stop = options.stop;
  onStop.emplace(options.stop, [shared = control] { shared->readiness.notify(); });
}

OxWrap::Buffering::~Buffering() {
  delete videoStream;
  while (!audioStreams.empty()) {
    delete audioStreams.back();
    audioStreams.pop_back();
  }
}

bool OxWrap::Buffering::openFile(const std::string& fileName) {
  if (fileName.empty()) {
    openError = "no file name";
    return false;
  }
  const AVIOInterruptCB interrupt{
      [](void* self) -> int { return static_cast<Buffering*>(self)->abandoned ? 1 : 0; }, this};
  int result = ffmpeg::openContainer(fileName, interrupt, &container_);
  formatContext = container_.get();
  if (result == 0) {
    result = ffmpeg::findStreamInfo(formatContext);
  }
  if (result < 0) {
    openError = ffmpeg::errorText(result);
  }
  return result >= 0;
}

void OxWrap::Buffering::makeStreams() {
  for (uint16_t i = 0; i < formatContext->nb_streams && i < UINT16_MAX; ++i) {
    const AVMediaType type = formatContext->streams[i]->codecpar->codec_type;
    if (type == AVMEDIA_TYPE_VIDEO && videoStream == nullptr) {
      videoStream = new OxVideoStream(formatContext, i, control);
      videoIndex_ = i;
      reportChangesOf(videoStream->packetQueue);
    } else if (type == AVMEDIA_TYPE_AUDIO) {
      auto audio = std::make_unique<OxAudioStream>(formatContext, i);
      audioStreams.push_back(audio.get());
      static_cast<void>(audio.release());
      reportChangesOf(audioStreams.back()->packetQueue);
    }
  }
}

void OxWrap::Buffering::reportChangesOf(PacketQueue* queue) {
  if (queue == nullptr || !control->untilReady()) {
    return;
  }
  queue->changed = [this, queue] {
    // A reader that waits for a full queue is not woken before there is room, and one that has read
    // everything not at all: nobody waits for packets then. The first packet may fill the queue
    // alone; the start waits for it.
    if (!ended && (!isFull(*queue) || loadShared(queue->nb_packets) == 1)) {
      noteChange();
    }
  };
}

bool OxWrap::Buffering::isFull(const PacketQueue& queue) const {
  return loadShared(queue.size) > kQueueLimitBytes ||
         (control->untilReady() && loadShared(queue.nb_packets) >= kQueueLimitPackets);
}

void OxWrap::Buffering::noteChange() {
  changes_ += 1;
  control->readiness.notify();
}

void OxWrap::Buffering::setState(int state) {
  storeShared(bufferState, state);
  noteChange();
}

template <typename Action>
void OxWrap::Buffering::forEachQueue(Action action) const {
  if (videoStream != nullptr && videoStream->packetQueue != nullptr) {
    action(videoStream->packetQueue);
  }
  for (const OxAudioStream* audio : audioStreams) {
    if (audio->packetQueue != nullptr) {
      action(audio->packetQueue);
    }
  }
}

bool OxWrap::Buffering::isKept(int streamIndex) const {
  return !onlyStreams.has_value() ||
         std::find(onlyStreams->begin(), onlyStreams->end(), streamIndex) != onlyStreams->end();
}

PacketQueue* OxWrap::Buffering::liveVideoQueue(int streamIndex) const {
  const bool live = videoStream != nullptr && !loadShared(discardVideoPackets) &&
                    videoStream->streamIndex == streamIndex && isKept(streamIndex);
  return live ? videoStream->packetQueue : nullptr;
}

PacketQueue* OxWrap::Buffering::liveAudioQueue(int streamIndex) const {
  if (loadShared(discardAudioPackets) || !isKept(streamIndex)) {
    return nullptr;
  }
  const auto found =
      std::find_if(audioStreams.begin(), audioStreams.end(),
                   [&](const OxAudioStream* audio) { return audio->streamIndex == streamIndex; });
  return found != audioStreams.end() ? (*found)->packetQueue : nullptr;
}

bool OxWrap::Buffering::isWanted(int streamIndex) const {
  return liveVideoQueue(streamIndex) != nullptr || liveAudioQueue(streamIndex) != nullptr;
}

bool OxWrap::Buffering::hasLiveQueue() const {
  const unsigned count = formatContext != nullptr ? formatContext->nb_streams : 0;
  for (unsigned i = 0; i < count; ++i) {
    if (isWanted(static_cast<int>(i))) {
      return true;
    }
  }
  return false;
}

bool OxWrap::Buffering::hasPackets() const {
  bool any = false;
  forEachQueue([&](const PacketQueue* queue) { any = any || loadShared(queue->nb_packets) > 0; });
  return any;
}

/// With the demultiplexer's lock held, or before the thread starts.
void OxWrap::Buffering::publishFacts() {
  control->publishFacts(ffmpeg::readVideoFacts(formatContext, videoIndex_));
}

void OxWrap::Buffering::skipUnwanted() {
  if (formatContext == nullptr) {
    return;
  }
  skipsAreOld_ = true;
  const std::unique_lock<std::mutex> reading(control->demuxMutex, std::try_to_lock);
  if (reading.owns_lock()) {
    updateSkips();
  }
}

/// With the demultiplexer's lock held.
void OxWrap::Buffering::updateSkips() {
  if (!skipsAreOld_.exchange(false)) {
    return;
  }
  const std::lock_guard<std::mutex> routing(control->routeMutex);
  // With nothing wanted each read must still return, so that a stop is seen in time.
  const bool anyWanted = hasLiveQueue();
  for (unsigned i = 0; i < formatContext->nb_streams; ++i) {
    const bool skip = anyWanted && !isWanted(static_cast<int>(i));
    formatContext->streams[i]->discard = skip ? AVDISCARD_ALL : AVDISCARD_DEFAULT;
  }
}

void OxWrap::Buffering::setSupply(PacketSupply supply) {
  if (!control->untilReady() || supply_ == supply) {
    return;
  }
  supply_ = supply;
  ended = false;
  const std::lock_guard<std::mutex> routing(control->routeMutex);
  forEachQueue([&](PacketQueue* queue) { OxPackets::packet_queue_set_supply(queue, supply); });
}

/// Tells the queues that the data has ended, unless the container was repositioned meanwhile.
bool OxWrap::Buffering::markEnded(unsigned seeksBeforeRead) {
  {
    const std::lock_guard<std::mutex> routing(control->routeMutex);
    const std::lock_guard<std::mutex> positioning(control->readiness.mutex());
    if (control->seeks != seeksBeforeRead) {
      return false;
    }
    supply_ = PacketSupply::ended;
    ended = true;
    forEachQueue(
        [](PacketQueue* queue) { OxPackets::packet_queue_set_supply(queue, PacketSupply::ended); });
  }
  noteChange();
  return true;
}

void OxWrap::Buffering::route(ffmpeg::ScopedPacket& packet) {
  const int streamIndex = packet->stream_index;
  std::unique_lock<std::mutex> routing(control->routeMutex);
  for (;;) {
    PacketQueue* queue = liveVideoQueue(streamIndex);
    if (queue == nullptr) {
      queue = liveAudioQueue(streamIndex);
    }
    if (queue == nullptr) {
      return;
    }
    // Read first: room that is made from here on ends the pause.
    const unsigned changesBefore = changes_;
    if (loadShared(bufferState) != kBuffering || !isFull(*queue)) {
      if (OxPackets::packet_queue_put(queue, packet.get()) == 1) {
        packet.release();
      }
      return;
    }
    routing.unlock();
    setSupply(PacketSupply::unknown);
    control->pauseReader(kFullQueuePauseSeconds, [&] {
      return loadShared(bufferState) != kBuffering || changes_ != changesBefore;
    });
    routing.lock();
  }
}

void OxWrap::Buffering::readAndRoute() {
  setSupply(PacketSupply::flowing);
  ffmpeg::ScopedPacket packet;
  int result = 0;
  bool failed = false;
  unsigned seeksBefore = 0;
  {
    const std::lock_guard<std::mutex> reading(control->demuxMutex);
    updateSkips();
    seeksBefore = control->seeks;
    result = ffmpeg::readPacket(formatContext, packet.get());
    failed = result < 0 && ffmpeg::hasReadError(formatContext);
    publishFacts();
  }
  if (result >= 0) {
    failedReads_ = 0;
    route(packet);
    return;
  }
  if (failed) {
    setState(kStopped);
    return;
  }
  if (!control->untilReady()) {
    qatester::pause(kEndOfFilePauseSeconds);
    return;
  }
  if (result != AVERROR_EOF && ++failedReads_ < kMaxFailedReads) {
    return;
  }
  if (markEnded(seeksBefore)) {
    control->pauseReader(kEndOfFilePauseSeconds, [&] {
      return loadShared(bufferState) != kBuffering || control->seeks != seeksBefore;
    });
  }
}

void OxWrap::Buffering::run() {
  try {
    for (;;) {
      const int state = loadShared(bufferState);
      if (state == kBuffering && formatContext != nullptr) {
        readAndRoute();
      } else if (state == kPaused) {
        setSupply(PacketSupply::unknown);
        control->pauseReader(kPausedPauseSeconds,
                             [&] { return loadShared(bufferState) != kPaused; });
      } else {
        break;
      }
    }
  } catch (const std::exception&) {
    // Out of memory: what is queued can still be drained.
    storeShared(bufferState, kStopped);
  }
  endSupply();
}

void OxWrap::Buffering::endSupply() {
  if (control->untilReady()) {
    markEnded(control->seeks);
  }
}

OxWrap::OxWrap(const std::string& fileName, const OxWrapOptions& options)
    : buffering_(std::make_shared<Buffering>(options)),
      fileName(fileName),
      formatContext(buffering_->formatContext),
      audioStreams(buffering_->audioStreams),
      videoStream(buffering_->videoStream),
      bufferState(buffering_->bufferState),
      discardVideoPackets(buffering_->discardVideoPackets),
      discardAudioPackets(buffering_->discardAudioPackets) {
  if (buffering_->openFile(fileName)) {
    buffering_->makeStreams();
    buffering_->publishFacts();
    buffering_->skipUnwanted();
  }
}

OxWrap::~OxWrap() {
  if (loadShared(bufferState) != kStopped) {
    buffering_->setState(kStopped);
    // A join may throw in a thread that is being interrupted; a destructor must not.
    const boost::this_thread::disable_interruption uninterrupted;
    bufferThread.timed_join(boost::posix_time::microsec_clock::universal_time() +
                            boost::posix_time::milliseconds(kDestructorWaitMilliseconds));
  }
  buffering_->abandoned = true;
}

void OxWrap::startBuffering() {
  if (loadShared(bufferState) != kStopped) {
    buffering_->setState(kBuffering);
    return;
  }
  const bool anyLiveQueue = buffering_->hasLiveQueue();
  storeShared(bufferState, kBuffering);
  buffering_->ended = false;
  try {
    bufferThread = boost::thread(boost::bind(&Buffering::run, buffering_));
  } catch (const boost::thread_resource_error&) {
    storeShared(bufferState, kStopped);
    buffering_->endSupply();
    return;
  } catch (...) {
    storeShared(bufferState, kStopped);
    throw;
  }
  buffering_->control->pauseCaller(kStartPauseSeconds, [&] {
    return !anyLiveQueue || buffering_->ended || loadShared(bufferState) != kBuffering ||
           buffering_->hasPackets();
  });
}

void OxWrap::pauseBuffering() {
  buffering_->setState(kPaused);
}

void OxWrap::stopBuffering() {
  buffering_->setState(kStopped);
  if (bufferThread.joinable()) {
    bufferThread.join();
  }
  buffering_->control->pauseCaller(kStopPauseSeconds, [] { return true; });
}

void OxWrap::discardVideo(bool discard) {
  storeShared(discardVideoPackets, discard);
  if (discard) {
    const std::lock_guard<std::mutex> routing(buffering_->control->routeMutex);
    delete videoStream;
    videoStream = nullptr;
  }
  buffering_->skipUnwanted();
  buffering_->noteChange();
}

void OxWrap::discardAudio(bool discard) {
  storeShared(discardAudioPackets, discard);
  buffering_->skipUnwanted();
  buffering_->noteChange();
}

void OxWrap::bufferOnly(const std::vector<int>& streamIndices) {
  {
    const std::lock_guard<std::mutex> routing(buffering_->control->routeMutex);
    buffering_->onlyStreams = streamIndices;
  }
  buffering_->skipUnwanted();
  buffering_->noteChange();
}

OxVideoStream* OxWrap::getVideoStream() {
  return videoStream;
}

OxAudioStream* OxWrap::getAudioStream(unsigned short index) {
  return audioStreams.empty() ? nullptr : audioStreams[index];
}

unsigned int OxWrap::getNumberOfAudioStreams() {
  return static_cast<unsigned int>(audioStreams.size());
}

void OxWrap::freeSample(OxAudioSample sample) {
  if (sample.numberOfSamples != 0 && sample.buffer != nullptr) {
    std::free(sample.buffer);
  }
}

void OxWrap::getMoreData() {
  buffering_->run();
}

std::string OxWrap::getOpenError() {
  return buffering_->openError;
}
