#include "tester/ProgrammeReading.h"

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <system_error>
#include <utility>

#include "tester/EventPictures.h"
#include "tester/Reasons.h"

namespace qatester {

/// Counts what comes.
class ProgrammeReading::Tally final : public ProgrammeConsumer {
 public:
  explicit Tally(ProgrammeWants wants) : wants_(wants) {}

  using ProgrammeConsumer::take;
  ProgrammeWants wants() const override { return wants_; }

  void begin(const ProgrammeFacts& facts) override { counted_.stream = facts.videoStream; }

  void take(const ProgrammePicture& picture) override {
    ++pictures_;
    const AVFrame& frame = *picture.frame;
    if (pictures_ == 1) {
      counted_.format = frame.format;
      counted_.width = frame.width;
      counted_.height = frame.height;
    }
    isClean_ = isClean_ && picture.damage == kNoDamage && frame.format == counted_.format &&
               frame.width == counted_.width && frame.height == counted_.height;
    if (picture.seconds.has_value()) {
      first_ = std::min(first_.value_or(*picture.seconds), *picture.seconds);
      last_ = std::max(last_.value_or(*picture.seconds), *picture.seconds);
    }
  }
  void take(const ProgrammeBlock& block) override {
    if (block.sampleRate > 0) {
      sound_[block.stream] += static_cast<double>(block.samples) / block.sampleRate;
    }
  }

  /// Of the sound, too, as far as it is read: a file with faults is not counted on.
  void take(const ProgrammeComplaint&) override { isClean_ = false; }

  std::optional<CountedPictures> counted() const {
    if (!isClean_ || pictures_ == 0) {
      return std::nullopt;
    }
    CountedPictures all = counted_;
    all.pictures = pictures_;
    return all;
  }

  void count(QAFileFacts& facts, double framesPerSecond) const {
    facts.pictures = pictures_;
    if (first_.has_value()) {
      const double oneFrame = framesPerSecond > 0.0 ? 1.0 / framesPerSecond : 0.0;
      facts.pictureSeconds = *last_ - *first_ + oneFrame;
    }
    for (const auto& [stream, seconds] : sound_) {
      facts.soundSeconds = std::max(facts.soundSeconds, seconds);
    }
  }

 private:
  ProgrammeWants wants_;
  int64_t pictures_ = 0;
  CountedPictures counted_;
  bool isClean_ = true;
  std::optional<double> first_;
  std::optional<double> last_;
  std::map<int, double> sound_;
};

ProgrammeReading::ProgrammeReading(const CheckContext& context, std::vector<ProgrammeRun*> runs)
    : context_(context), runs_(std::move(runs)) {}

ProgrammeReading::~ProgrammeReading() {
  stop_.request_stop();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void ProgrammeReading::start(Steps& steps) {
  ProgrammeReaderOptions options;
  options.stop = stop_.get_token();
  options.threads = context_.options.threads;
  options.progress = [this](const ProgrammeProgress& progress) {
    for (ProgrammeRun* run : runs_) {
      run->setShare(progress.share);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const int percent = static_cast<int>(100.0 * progress.share);
    if (std::exchange(percent_, percent) != percent) {
      changed_.notify_one();
    }
  };
  reader_.emplace(context_.fileName, std::move(options));
  const ProgrammeFacts* file = reader_->facts();
  if (file != nullptr) {
    facts_.opened = true;
    facts_.media = file->media;
  }
  for (ProgrammeRun* run : runs_) {
    steps.take(*run, [&] {
      file != nullptr ? run->open(*file) : run->refuseFile(unopenedReason(reader_->openError()));
    });
    if (run->hasEnded()) {
      steps.ended(*run);
    }
  }
  std::erase_if(runs_, [](const ProgrammeRun* run) { return run->hasEnded(); });

  ProgrammeWants wants;
  for (ProgrammeRun* run : runs_) {
    const ProgrammeWants its = run->consumer().wants();
    wants.pictures = wants.pictures || its.pictures;
    wants.sound = wants.sound || its.sound;
    wants.packets = wants.packets || its.packets;
    seat(run->consumer());
  }
  if (!wants.pictures && !wants.sound && !wants.packets) {
    // What the container says is known.
    for (ProgrammeRun* run : runs_) {
      steps.take(*run, [&] { run->consumer().begin(*file); });
    }
    done_ = true;
    return;
  }
  tally_ = std::make_unique<Tally>(wants);
  reader_->add(*tally_);
  try {
    thread_ = std::thread([this] { read(); });
  } catch (const std::system_error&) {
    read();  // no thread can be had
  }
}

/// Adds the measurement to the reader, or to what takes from the reader for it.
void ProgrammeReading::seat(ProgrammeMeasurement& measurement) {
  const MakeShared make = measurement.sharedBy();
  if (make == nullptr) {
    reader_->add(measurement);
    return;
  }
  auto found = shared_.find(make);
  if (found == shared_.end()) {
    found = shared_.emplace(make, make(context_)).first;
    reader_->add(*found->second);
  }
  found->second->add(measurement);
}

std::exception_ptr ProgrammeReading::errorOf(const ProgrammeMeasurement& measurement) const {
  const auto found = shared_.find(measurement.sharedBy());
  if (found == shared_.end()) {
    return reader_->errorOf(measurement);
  }
  const std::exception_ptr own = found->second->errorOf(measurement);
  return own != nullptr ? own : reader_->errorOf(*found->second);
}

void ProgrammeReading::read() noexcept {
  try {
    const std::stop_callback forward(context_.options.stop, [this] { stop_.request_stop(); });
    end_ = reader_->run();
  } catch (...) {
    error_ = std::current_exception();
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  done_ = true;
  changed_.notify_one();
}

/// The calling thread says how far the reading has come.
void ProgrammeReading::wait(Steps& steps) {
  std::unique_lock<std::mutex> lock(mutex_);
  int told = -1;
  while (!done_) {
    changed_.wait(lock, [&] { return done_ || percent_ != told; });
    told = percent_;
    lock.unlock();
    for (ProgrammeRun* run : runs_) {
      steps.take(*run, [] {});
    }
    lock.lock();
  }
}

void ProgrammeReading::finish(Steps& steps) {
  wait(steps);
  if (thread_.joinable()) {
    thread_.join();
  }
  for (ProgrammeRun* run : runs_) {
    steps.take(*run, [&] {
      if (const std::exception_ptr error = error_ != nullptr ? error_ : errorOf(run->consumer())) {
        std::rethrow_exception(error);
      }
      run->finish(end_);
    });
  }
  try {
    if (EventPictures pictures(runs_); pictures.any()) {
      pictures.read(context_);
    }
  } catch (const std::bad_alloc&) {
    // The results are there all the same.
  }
  for (ProgrammeRun* run : runs_) {
    if (run->hasEnded()) {
      steps.ended(*run);
    }
  }
  settleFacts();
}

std::optional<CountedPictures> ProgrammeReading::countPictures(Steps& steps) {
  wait(steps);
  if (tally_ == nullptr || error_ != nullptr || reader_->errorOf(*tally_) != nullptr ||
      !end_.readCleanly || end_.stopped) {
    return std::nullopt;
  }
  const std::optional<CountedPictures> counted = tally_->counted();
  if (!counted || counted->stream < 0) {
    return std::nullopt;
  }
  // Their packets may hold pictures that are not shown.
  const std::string& codec = facts_.media.streams[static_cast<std::size_t>(counted->stream)].codec;
  const bool hides = codec == "av1" || codec == "vp8" || codec == "vp9";
  return hides ? std::nullopt : counted;
}

void ProgrammeReading::settleFacts() {
  if (tally_ == nullptr) {
    return;
  }
  const int video = reader_->facts()->videoStream;
  const auto& streams = facts_.media.streams;
  const double rate = video >= 0 && streams[static_cast<std::size_t>(video)].video.has_value()
                          ? streams[static_cast<std::size_t>(video)].video->frameRate
                          : 0.0;
  tally_->count(facts_, rate);
  facts_.wholeFile = error_ == nullptr && end_.readCleanly && !end_.stopped;
}

}  // namespace qatester
