#include "media/ProgrammeReader.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "media/FFmpeg.h"
#include "media/FFmpegLog.h"
#include "media/FFmpegMedia.h"
#include "media/FFmpegPass.h"

namespace qatester {

namespace {

/// How often the reading goes on after damage before it takes it for the end of the data.
constexpr int kMaxFailedReads = 16;

/// A decoder that fails while it gives what it held back is asked again so often: more than it can
/// hold.
constexpr int kMaxFailedDrains = 64;

/// Packets whose time is remembered: more than a decoder holds back.
constexpr std::size_t kRememberedPackets = 128;

/// Of a file: progress is reported when it has grown by so much.
constexpr double kProgressStep = 0.001;

using Item = std::variant<ProgrammePicture, ProgrammeBlock, ProgrammePacket, ProgrammeComplaint>;

/// A consumer with its queue and thread, if it has any.
class Seat {
 public:
  /// Items that a consumer with a thread of its own may hold back.
  static constexpr std::size_t kMaxItems = 6;

  Seat(ProgrammeConsumer& consumer, std::stop_token stop)
      : consumer_(consumer), stop_(std::move(stop)), wants_(consumer.wants()) {}
  ~Seat() { close(); }
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;

  const ProgrammeConsumer& consumer() const { return consumer_; }
  const ProgrammeWants& wants() const { return wants_; }
  bool isAlive() const { return !dead_; }
  /// After `end`.
  std::exception_ptr error() const { return error_; }

  void begin(const ProgrammeFacts& facts, bool ownThread) {
    call([&] { consumer_.begin(facts); });
    if (!ownThread || dead_) {
      return;
    }
    try {
      thread_ = std::thread([this] { work(); });
    } catch (const std::system_error&) {
      // No thread to be had: it is called like the others.
    }
  }

  /// Waits while the queue is full. After a stop the item is dropped.
  template <typename T>
  void give(const T& item) {
    if (dead_) {
      return;
    }
    if (!thread_.joinable()) {
      call([&] { consumer_.take(item); });
      return;
    }
    {
      std::unique_lock<std::mutex> lock(mutex_);
      const bool hasRoom =
          changed_.wait(lock, stop_, [this] { return items_.size() < kMaxItems || dead_; });
      if (!hasRoom || dead_) {
        return;
      }
      items_.emplace_back(item);
    }
    changed_.notify_all();
  }

  /// Waits until the consumer has had all that was given, or after a stop for its current call.
  void end(const ProgrammeEnd& end) {
    if (thread_.joinable() && end.stopped) {
      const std::lock_guard<std::mutex> lock(mutex_);
      items_.clear();
    }
    close();
    if (!dead_) {
      call([&] { consumer_.end(end); });
    }
  }

 private:
  template <typename Call>
  void call(const Call& call) noexcept {
    try {
      call();
    } catch (...) {
      error_ = std::current_exception();
      dead_ = true;
    }
  }

  void close() {
    if (!thread_.joinable()) {
      return;
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

  /// The thread's own.
  void work() {
    for (;;) {
      std::optional<Item> item;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !items_.empty() || closed_; });
        if (items_.empty()) {
          return;
        }
        item.emplace(std::move(items_.front()));
        items_.pop_front();
      }
      changed_.notify_all();
      call([&] { std::visit([this](const auto& value) { consumer_.take(value); }, *item); });
      if (dead_) {
        const std::lock_guard<std::mutex> lock(mutex_);
        items_.clear();
        break;
      }
    }
    changed_.notify_all();
  }

  ProgrammeConsumer& consumer_;
  std::stop_token stop_;
  ProgrammeWants wants_;
  std::exception_ptr error_;
  std::atomic<bool> dead_{false};
  std::mutex mutex_;  ///< of the two below
  std::deque<Item> items_;
  bool closed_ = false;
  std::condition_variable_any changed_;
  std::thread thread_;
};

/// All who look at the file.
class Audience {
 public:
  void add(ProgrammeConsumer& consumer, const std::stop_token& stop) {
    seats_.push_back(std::make_unique<Seat>(consumer, stop));
  }

  void begin(const ProgrammeFacts& facts, bool threads) {
    for (const auto& seat : seats_) {
      seat->begin(facts, threads && seat->consumer().isSlow());
    }
  }

  void end(const ProgrammeEnd& end) {
    for (const auto& seat : seats_) {
      seat->end(end);
    }
  }

  /// What those who are still there want.
  ProgrammeWants wants() const {
    ProgrammeWants all;
    for (const auto& seat : seats_) {
      if (seat->isAlive()) {
        all.pictures = all.pictures || seat->wants().pictures;
        all.sound = all.sound || seat->wants().sound;
        all.packets = all.packets || seat->wants().packets;
      }
    }
    return all;
  }

  void give(const ProgrammePicture& picture) { giveWhere(&ProgrammeWants::pictures, picture); }
  void give(const ProgrammeBlock& block) { giveWhere(&ProgrammeWants::sound, block); }
  void give(const ProgrammePacket& packet) { giveWhere(&ProgrammeWants::packets, packet); }
  void give(const ProgrammeComplaint& complaint) {
    for (const auto& seat : seats_) {
      seat->give(complaint);
    }
  }

  std::exception_ptr errorOf(const ProgrammeConsumer& consumer) const {
    const auto found = std::find_if(seats_.begin(), seats_.end(), [&](const auto& seat) {
      return &seat->consumer() == &consumer;
    });
    return found != seats_.end() ? (*found)->error() : nullptr;
  }

 private:
  template <typename T>
  void giveWhere(bool ProgrammeWants::*wanted, const T& item) {
    for (const auto& seat : seats_) {
      if (seat->wants().*wanted) {
        seat->give(item);
      }
    }
  }

  std::vector<std::unique_ptr<Seat>> seats_;
};

/// Converts the time stamps of a stream to seconds from the file's start.
class StreamClock {
 public:
  StreamClock(const ProgrammeRatio& timeBase, int64_t startMicroseconds)
      : unit_(timeBase), start_(static_cast<double>(startMicroseconds) / 1000000.0) {}

  std::optional<double> seconds(std::optional<int64_t> stamp) const {
    if (!stamp.has_value() || *stamp == AV_NOPTS_VALUE) {
      return std::nullopt;
    }
    return length(*stamp) - start_;
  }

  double length(int64_t stamps) const {
    return static_cast<double>(stamps) * unit_.numerator / unit_.denominator;
  }

 private:
  ProgrammeRatio unit_;
  double start_;
};

/// What was known of the last packets of a stream.
class PacketMemory {
 public:
  struct Facts {
    int64_t number = -1;
    std::optional<double> seconds;
    bool corrupt = false;
  };

  void add(const Facts& facts) { place(facts.number) = facts; }

  /// Null: it was too long ago, or never.
  const Facts* find(int64_t number) const {
    if (number < 0) {
      return nullptr;
    }
    const Facts& facts = memory_[static_cast<std::size_t>(number) % kRememberedPackets];
    return facts.number == number ? &facts : nullptr;
  }

 private:
  Facts& place(int64_t number) {
    return memory_[static_cast<std::size_t>(number) % kRememberedPackets];
  }

  std::array<Facts, kRememberedPackets> memory_;
};

/// Decodes a stream and hands out what comes of it, complaints first.
class StreamReading {
 public:
  StreamReading(const AVStream* stream, int index, const StreamClock& clock, Audience& audience)
      : decoder_(stream), index_(index), clock_(clock), audience_(audience) {}
  virtual ~StreamReading() = default;
  StreamReading(const StreamReading&) = delete;
  StreamReading& operator=(const StreamReading&) = delete;

  bool isOpen() const { return decoder_.isOpen(); }

  void decode(const AVPacket& packet, std::optional<double> seconds) {
    const int64_t number = packets_++;
    memory_.add({number, seconds, (packet.flags & AV_PKT_FLAG_CORRUPT) != 0});
    const int64_t complete = number - decoder_.lag();
    int sent = decoder_.send(&packet, number);
    if (sent == AVERROR(EAGAIN)) {
      receiveAll(complete);
      sent = decoder_.send(&packet, number);
    }
    noteRefusal(sent, complete);
    receiveAll(complete);
    handOut(complete);
  }

  /// What the decoder held back.
  void drain() {
    noteRefusal(decoder_.sendEnd(), packets_ - 1);
    for (int failures = 0; failures < kMaxFailedDrains && !receiveAll(packets_ - 1); ++failures) {
    }
    // Sorted by packet: all of them are complete.
    handOut(std::numeric_limits<int64_t>::max());
  }

 protected:
  virtual void handOut(ffmpeg::UniqueFrame frame) = 0;

  const StreamClock& clock() const { return clock_; }
  Audience& audience() { return audience_; }

  /// What is wrong with the frame. Complains of what the decoder flags.
  unsigned judge(const AVFrame& frame, std::optional<double> seconds) {
    unsigned damage = kNoDamage;
    if (ffmpeg::isFlaggedCorrupt(frame)) {
      damage |= kFlaggedCorrupt;
      complain(ProgrammeComplaint::By::picture, seconds, "flagged as corrupt");
    }
    const std::string errors = ffmpeg::decodeErrorsOf(frame);
    if (!errors.empty()) {
      damage |= kDecodeErrors;
      complain(ProgrammeComplaint::By::picture, seconds, errors);
    }
    const PacketMemory::Facts* packet = memory_.find(ffmpeg::packetOf(frame));
    return packet != nullptr && packet->corrupt ? damage | kFromBadPacket : damage;
  }

 private:
  struct Refusal {
    int64_t packet = 0;
    std::string text;
  };

  void complain(ProgrammeComplaint::By by, std::optional<double> seconds, std::string text) {
    audience_.give(ProgrammeComplaint{by, index_, seconds, std::move(text)});
  }

  std::optional<double> secondsOf(int64_t packet) const {
    const PacketMemory::Facts* facts = memory_.find(packet);
    return facts != nullptr ? facts->seconds : std::nullopt;
  }

  void noteRefusal(int result, int64_t packet) {
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
      refusals_.push_back({std::max<int64_t>(packet, 0), ffmpeg::errorText(result)});
    }
  }

  /// Collects what the decoder has complete; false when it failed on the way.
  bool receiveAll(int64_t packet) {
    for (;;) {
      ffmpeg::UniqueFrame frame;
      const int result = decoder_.receive(&frame);
      if (frame == nullptr) {
        noteRefusal(result, packet);
        return result == 0 || result == AVERROR_EOF;
      }
      frames_.push_back(std::move(frame));
    }
  }

  /// With complaints of packets up to that number: those of later ones are still coming in, in
  /// an order that depends on the decoder's threads.
  void handOut(int64_t complete) {
    for (ffmpeg::LogLine& line : decoder_.log().takeUpTo(complete)) {
      complain(ProgrammeComplaint::By::decoder, secondsOf(line.packet), std::move(line.text));
    }
    for (Refusal& refusal : refusals_) {
      complain(ProgrammeComplaint::By::call, secondsOf(refusal.packet), std::move(refusal.text));
    }
    refusals_.clear();
    for (ffmpeg::UniqueFrame& frame : frames_) {
      handOut(std::move(frame));
    }
    frames_.clear();
  }

  ffmpeg::PassDecoder decoder_;
  int index_;
  StreamClock clock_;
  Audience& audience_;
  PacketMemory memory_;
  int64_t packets_ = 0;
  std::vector<ffmpeg::UniqueFrame> frames_;
  std::vector<Refusal> refusals_;
};

class PictureReading : public StreamReading {
 public:
  using StreamReading::StreamReading;
  int64_t pictures() const { return pictures_; }

 private:
  void handOut(ffmpeg::UniqueFrame frame) override {
    ProgrammePicture picture;
    picture.stamp = ffmpeg::pictureStamp(*frame);
    picture.seconds = clock().seconds(picture.stamp);
    picture.number = pictures_++;
    picture.key = frame->key_frame != 0;
    picture.damage = judge(*frame, picture.seconds);
    picture.timecodeWords = ffmpeg::timecodeWordsOf(*frame);
    picture.gopTimecode = ffmpeg::gopTimecodeOf(*frame);
    picture.frame = std::move(frame);
    audience().give(picture);
  }

  int64_t pictures_ = 0;
};

class SoundReading : public StreamReading {
 public:
  SoundReading(const AVStream* stream, int index, int audioStream, const StreamClock& clock,
               Audience& audience)
      : StreamReading(stream, index, clock, audience), audioStream_(audioStream) {}

 private:
  void handOut(ffmpeg::UniqueFrame frame) override {
    ProgrammeBlock block;
    block.stream = audioStream_;
    block.firstSample = samples_;
    block.samples = frame->nb_samples;
    block.sampleRate = frame->sample_rate;
    block.seconds = clock().seconds(ffmpeg::blockStamp(*frame));
    samples_ += block.samples;
    block.damage = judge(*frame, block.seconds);
    block.frame = std::move(frame);
    if (layout_ == nullptr || !ffmpeg::hasSameLayout(*block.frame, *last_)) {
      layout_ = ffmpeg::layoutOf(*block.frame);
      last_ = block.frame;
    }
    block.layout = layout_;
    audience().give(block);
  }

  int audioStream_;
  int64_t samples_ = 0;
  std::shared_ptr<const SoundLayout> layout_;
  std::shared_ptr<const AVFrame> last_;  ///< the first block that has it
};

}  // namespace

class ProgrammeReader::Reading {
 public:
  Reading(const std::string& file, ProgrammeReaderOptions options) : options_(std::move(options)) {
    open(file);
  }

  const ProgrammeFacts* facts() const { return facts_.has_value() ? &*facts_ : nullptr; }
  const std::string& openError() const { return openError_; }
  Audience& audience() { return audience_; }
  const std::stop_token& stop() const { return options_.stop; }
  ProgrammeEnd run();

 private:
  void open(const std::string& file);
  /// Makes decoders for what is wanted and has the demultiplexer skip the rest.
  void prepare();
  void makeSound(std::size_t audioStream);
  bool isWanted(int stream) const;
  void readAll();
  void take(AVPacket& packet);
  void complainOfContainer(std::optional<double> seconds);
  void drain();
  void reportProgress(const AVPacket& packet);
  bool isStopped() const { return options_.stop.stop_requested(); }
  StreamClock clockOf(int stream) const;

  ProgrammeReaderOptions options_;
  ffmpeg::UniqueContainer container_;
  ffmpeg::LogLines log_;  ///< goes before the container
  std::optional<ProgrammeFacts> facts_;
  std::string openError_;
  Audience audience_;
  ProgrammeWants wants_;
  /// By the index in the container; null: not decoded. Streams that turn up later have no place.
  std::vector<std::unique_ptr<StreamReading>> streams_;
  PictureReading* pictures_ = nullptr;
  ProgrammeEnd end_;
  std::optional<double> lastSeconds_;  ///< of a packet
  double progress_ = 0.0;
};

void ProgrammeReader::Reading::open(const std::string& file) {
  if (file.empty()) {
    openError_ = "no file name";
    return;
  }
  const AVIOInterruptCB interrupt{
      [](void* self) -> int { return static_cast<Reading*>(self)->isStopped() ? 1 : 0; }, this};
  int result = ffmpeg::openContainer(file, interrupt, &container_, &log_);
  if (result >= 0) {
    result = ffmpeg::findStreamInfo(container_.get());
  }
  if (result < 0) {
    openError_ = ffmpeg::errorText(result);
    return;
  }
  facts_ = ffmpeg::readProgrammeFacts(container_.get());
}

StreamClock ProgrammeReader::Reading::clockOf(int stream) const {
  return {facts_->streams[static_cast<std::size_t>(stream)].timeBase,
          ffmpeg::startMicroseconds(container_.get())};
}

bool ProgrammeReader::Reading::isWanted(int stream) const {
  const bool isVideo = stream == facts_->videoStream;
  const bool isAudio = std::find(facts_->audioStreams.begin(), facts_->audioStreams.end(),
                                 stream) != facts_->audioStreams.end();
  return (isVideo && (wants_.pictures || wants_.packets)) ||
         (isAudio && (wants_.sound || wants_.packets));
}

void ProgrammeReader::Reading::prepare() {
  wants_ = audience_.wants();
  streams_.resize(facts_->streams.size());
  const int video = facts_->videoStream;
  if (wants_.pictures && video >= 0) {
    auto reading = std::make_unique<PictureReading>(container_->streams[video], video,
                                                    clockOf(video), audience_);
    if (reading->isOpen()) {
      pictures_ = reading.get();
      streams_[static_cast<std::size_t>(video)] = std::move(reading);
    }
  }
  for (std::size_t i = 0; wants_.sound && i < facts_->audioStreams.size(); ++i) {
    makeSound(i);
  }
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    facts_->streams[i].decoded = streams_[i] != nullptr;
  }
}

void ProgrammeReader::Reading::makeSound(std::size_t audioStream) {
  const int index = facts_->audioStreams[audioStream];
  auto reading = std::make_unique<SoundReading>(
      container_->streams[index], index, static_cast<int>(audioStream), clockOf(index), audience_);
  if (reading->isOpen()) {
    streams_[static_cast<std::size_t>(index)] = std::move(reading);
  }
}

void ProgrammeReader::Reading::complainOfContainer(std::optional<double> seconds) {
  for (ffmpeg::LogLine& line : log_.takeUpTo(0)) {
    const auto by = ffmpeg::isOfTimecode(line.text) ? ProgrammeComplaint::By::timecode
                                                    : ProgrammeComplaint::By::container;
    audience_.give(ProgrammeComplaint{by, -1, seconds, std::move(line.text)});
  }
}

void ProgrammeReader::Reading::take(AVPacket& packet) {
  const int stream = packet.stream_index;
  // Streams that turn up late are nobody's.
  if (stream < 0 || static_cast<std::size_t>(stream) >= streams_.size() || !isWanted(stream)) {
    complainOfContainer(lastSeconds_);
    return;
  }
  const StreamClock clock = clockOf(stream);
  ProgrammePacket facts;
  facts.stream = stream;
  facts.seconds = clock.seconds(packet.pts);
  facts.decodeSeconds = clock.seconds(packet.dts);
  facts.durationSeconds = std::max(clock.length(packet.duration), 0.0);
  facts.bytes = packet.size;
  facts.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  facts.corrupt = (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
  facts.discarded = (packet.flags & AV_PKT_FLAG_DISCARD) != 0;
  const std::optional<double> seconds =
      facts.seconds.has_value() ? facts.seconds : facts.decodeSeconds;
  if (seconds.has_value()) {
    lastSeconds_ = seconds;
  }
  complainOfContainer(lastSeconds_);
  if (facts.corrupt) {
    audience_.give(ProgrammeComplaint{ProgrammeComplaint::By::packet, stream, seconds,
                                      "packet flagged as corrupt"});
  }
  audience_.give(facts);
  end_.packets += 1;
  if (StreamReading* reading = streams_[static_cast<std::size_t>(stream)].get()) {
    reading->decode(packet, seconds);
  }
}

void ProgrammeReader::Reading::reportProgress(const AVPacket& packet) {
  if (!options_.progress) {
    return;
  }
  double share = 0.0;
  const std::optional<double>& duration = facts_->media.durationSeconds;
  if (duration.has_value() && lastSeconds_.has_value()) {
    share = *lastSeconds_ / *duration;
  } else if (end_.fileBytes > 0) {
    // The first packets were read long before, to find out what streams there are.
    const int64_t position = packet.pos >= 0 ? packet.pos + packet.size : end_.bytesRead;
    share = static_cast<double>(position) / static_cast<double>(end_.fileBytes);
  }
  share = std::clamp(share, 0.0, 1.0);
  if (share >= progress_ + kProgressStep) {
    progress_ = share;
    options_.progress({progress_});
  }
}

void ProgrammeReader::Reading::readAll() {
  int failures = 0;
  for (;;) {
    if (isStopped()) {
      end_.stopped = true;
      return;
    }
    const ProgrammeWants wants = audience_.wants();
    if (!wants.pictures && !wants.sound && !wants.packets) {
      return;
    }
    for (unsigned i = 0; i < container_->nb_streams; ++i) {
      const bool wanted = i < streams_.size() && isWanted(static_cast<int>(i));
      container_->streams[i]->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    ffmpeg::ScopedPacket packet;
    const int result = ffmpeg::readPacket(container_.get(), packet.get());
    end_.bytesRead = std::max(end_.bytesRead, ffmpeg::filePosition(container_.get()));
    if (result >= 0) {
      failures = 0;
      take(*packet);
      reportProgress(*packet);
      continue;
    }
    complainOfContainer(lastSeconds_);
    if (isStopped()) {
      end_.stopped = true;
      return;
    }
    const bool inputFailed = ffmpeg::hasReadError(container_.get());
    if (ffmpeg::isEndOfData(result) && !inputFailed) {
      end_.readCleanly = end_.readError.empty();
      return;
    }
    if (result == AVERROR(EAGAIN) && ++failures < kMaxFailedReads) {
      continue;
    }
    const std::string text = ffmpeg::errorText(inputFailed ? container_->pb->error : result);
    if (end_.readError != text || failures == 0) {
      audience_.give(ProgrammeComplaint{ProgrammeComplaint::By::read, -1, lastSeconds_, text});
    }
    end_.readError = text;
    if (inputFailed || ++failures >= kMaxFailedReads) {
      return;
    }
  }
}

void ProgrammeReader::Reading::drain() {
  for (const auto& stream : streams_) {
    if (stream != nullptr && !isStopped()) {
      stream->drain();
    }
  }
  end_.stopped = end_.stopped || isStopped();
}

ProgrammeEnd ProgrammeReader::Reading::run() {
  if (!facts_.has_value()) {
    end_.readError = openError_;
    return end_;
  }
  prepare();
  end_.fileBytes = ffmpeg::fileBytes(container_.get());
  audience_.begin(*facts_, options_.threads != 1);
  complainOfContainer(std::nullopt);
  readAll();
  if (!end_.stopped) {
    drain();
  }
  end_.pictures = pictures_ != nullptr ? pictures_->pictures() : 0;
  audience_.end(end_);
  if (!end_.stopped && options_.progress) {
    options_.progress({1.0});
  }
  return end_;
}

ProgrammeReader::ProgrammeReader(const std::string& file, ProgrammeReaderOptions options)
    : reading_(std::make_unique<Reading>(file, std::move(options))) {}

ProgrammeReader::~ProgrammeReader() = default;

const ProgrammeFacts* ProgrammeReader::facts() const {
  return reading_->facts();
}

std::string ProgrammeReader::openError() const {
  return reading_->openError();
}

void ProgrammeReader::add(ProgrammeConsumer& consumer) {
  reading_->audience().add(consumer, reading_->stop());
}

ProgrammeEnd ProgrammeReader::run() {
  return reading_->run();
}

std::exception_ptr ProgrammeReader::errorOf(const ProgrammeConsumer& consumer) const {
  return reading_->audience().errorOf(consumer);
}

}  // namespace qatester
