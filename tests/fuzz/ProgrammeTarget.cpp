// A media file of any bytes, but for the last one, read as a whole: with threads and without, with
// a stop in the middle, and with a consumer that throws.

#include <algorithm>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "media/ProgrammeReader.h"

extern "C" {
#include <libavutil/adler32.h>
#include <libavutil/mem.h>
}

using qafuzz::MemoryFile;
using qafuzz::require;

namespace {

/// Bits of the last byte.
constexpr int kStops = 1;
constexpr int kThrows = 2;
/// Of the number of the picture or block at which one of them happens.
constexpr int kWhenShift = 2;

/// Holds the reader to what it promises, and keeps what came of it.
class Witness final : public qatester::ProgrammeConsumer {
 public:
  Witness(bool slow, std::stop_source* stop, int throwAt, int stopAt)
      : slow_(slow), stop_(stop), throwAt_(throwAt), stopAt_(stopAt) {}

  using ProgrammeConsumer::take;
  qatester::ProgrammeWants wants() const override {
    return {.pictures = true, .sound = true, .packets = true};
  }
  bool isSlow() const override { return slow_; }

  void begin(const qatester::ProgrammeFacts& facts) override {
    require(!began_, "a reading begins once");
    began_ = true;
    streams_ = facts.streams.size();
    require(facts.media.streams.size() == streams_, "each stream has its facts");
    require(facts.videoStream < static_cast<int>(streams_), "the video stream is one of them");
  }
  void take(const qatester::ProgrammePicture& picture) override {
    listen();
    require(picture.frame != nullptr && picture.frame->width > 0 && picture.frame->height > 0,
            "a picture has a size");
    require(picture.number == pictures_, "pictures are counted from 0");
    ++pictures_;
    said_ += "picture " + std::to_string(picture.damage) + " " + hashOf(*picture.frame) + "\n";
    act();
  }
  void take(const qatester::ProgrammeBlock& block) override {
    listen();
    require(block.samples > 0 && block.frame != nullptr, "a block has samples");
    require(block.firstSample == samples_[block.stream], "samples follow each other");
    samples_[block.stream] += block.samples;
    said_ += "block " + std::to_string(block.samples) + "\n";
    act();
  }
  void take(const qatester::ProgrammePacket& packet) override {
    listen();
    require(packet.stream >= 0 && packet.bytes >= 0, "a packet is of a stream");
  }
  void take(const qatester::ProgrammeComplaint& complaint) override {
    listen();
    require(!complaint.text.empty(), "a complaint has words");
    said_ += "complaint " + complaint.text + "\n";
  }
  void end(const qatester::ProgrammeEnd& end) override {
    listen();
    ended_ = true;
    require(end.readCleanly || end.stopped || !end.readError.empty(),
            "what was not read has a reason");
    said_ += "end " + end.readError;
  }

  bool hasEnded() const { return ended_; }
  const std::string& said() const { return said_; }

 private:
  void listen() const { require(began_ && !ended_, "calls come between begin and end"); }

  static std::string hashOf(const AVFrame& picture) {
    AVAdler sum = 1;
    if (picture.buf[0] != nullptr && picture.linesize[0] > 0) {
      sum = av_adler32_update(sum, picture.data[0], static_cast<std::size_t>(picture.width));
    }
    return std::to_string(sum);
  }

  void act() {
    ++taken_;
    if (stop_ != nullptr && taken_ == stopAt_) {
      stop_->request_stop();
    }
    if (taken_ == throwAt_) {
      throw std::runtime_error("a consumer fails");
    }
  }

  bool slow_;
  std::stop_source* stop_;
  int throwAt_;
  int stopAt_;
  bool began_ = false;
  bool ended_ = false;
  std::size_t streams_ = 0;
  int64_t pictures_ = 0;
  std::map<int, int64_t> samples_;
  int taken_ = 0;
  std::string said_;
};

/// What came of the file.
std::string read(const MemoryFile& file, int choice, bool threads) {
  const int when = 1 + (choice >> kWhenShift);
  std::stop_source stop;
  double share = 0.0;
  qatester::ProgrammeReaderOptions options;
  options.stop = stop.get_token();
  options.threads = threads ? 0 : 1;
  options.progress = [&](const qatester::ProgrammeProgress& progress) {
    require(progress.share >= share && progress.share <= 1.0, "progress never falls");
    share = progress.share;
  };
  qatester::ProgrammeReader reader(file.name(), options);
  if (reader.facts() == nullptr) {
    require(!reader.openError().empty(), "what does not open says why");
    return reader.openError();
  }
  const bool throws = (choice & kThrows) != 0;
  Witness inStep(false, nullptr, throws ? when : 0, 0);
  Witness behind(true, (choice & kStops) != 0 ? &stop : nullptr, 0, when);
  reader.add(inStep);
  reader.add(behind);
  const qatester::ProgrammeEnd end = reader.run();
  require(inStep.hasEnded() != (reader.errorOf(inStep) != nullptr),
          "who did not throw hears of the end");
  require(behind.hasEnded() && reader.errorOf(behind) == nullptr, "the other one hears of it too");
  // Where the reading stops depends on how far behind a thread is.
  return end.stopped ? "stopped" : behind.said();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  // Large pictures would take their time, and tell nothing more: there is no memory for them.
  av_max_alloc((1U << 20U) + (1U << 16U));
  const int choice = data[size - 1];
  const MemoryFile file(data, size - 1);
  const std::string one = read(file, choice, false);
  const std::string several = read(file, choice, true);
  require((choice & kStops) != 0 || one == several, "threads change no result");
  return 0;
}
