#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tester/ProgrammeRun.h"
#include "tester/Spans.h"

namespace qatester {

/// What demultiplexer and decoders complain of, gathered in the order in which it comes.
class DecodingMeasurement final : public ProgrammeMeasurement {
 public:
  explicit DecodingMeasurement(int errorsAllowed) : allowed_(errorsAllowed) {}

  using ProgrammeMeasurement::take;
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const override {
    return {.pictures = true, .sound = true, .packets = true};
  }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammePicture& picture) override;
  void take(const ProgrammeBlock& block) override;
  void take(const ProgrammePacket& packet) override;
  void take(const ProgrammeComplaint& complaint) override;
  void end(const ProgrammeEnd& end) override;
  void describe(QACheckOutcome& outcome) const override;

 private:
  /// A stream, and how far the file is known to begin in the middle of what it carries.
  struct Stream {
    std::string name;
    int number = -1;  ///< among the audio streams
    bool sawPacket = false;
    bool beginsWithKey = true;
    std::optional<double> firstKeySeconds;
    std::optional<double> firstGoodSeconds;
    int64_t packets = 0;
    int64_t flaggedPackets = 0;
    int64_t damaged = 0;     ///< pictures or blocks, not by their packet alone
    int64_t complaints = 0;  ///< of its decoder
  };
  /// What a span of complaints is known by.
  struct Words {
    std::string text;  ///< of the first
    /// Before the first good picture or block of the stream.
    bool beforeGood = false;
    /// Packets that the demultiplexer flags, or what came of them, and nothing else.
    bool flagsOnly = true;
  };
  /// Complaints of one stream: those that come close together are one span.
  struct Complaints {
    Spans spans;
    std::vector<Words> words;  ///< of each span
  };

  bool isAtStart(int stream, const Span& span, const Words& words) const;
  bool isOfCountersAlone(int stream, const Words& words) const;
  Stream* find(int stream);

  int allowed_;
  std::map<int, Stream> streams_;
  std::vector<int> audioStreams_;
  int videoStream_ = -1;
  int64_t pictures_ = 0;
  int64_t blocks_ = 0;
  int64_t corruptPictures_ = 0;
  int64_t corruptPackets_ = 0;
  bool truncated_ = false;
  std::map<int, Complaints> complaints_;  ///< by the index in the container; -1: the container's
  ProgrammeEnd end_;
};

}  // namespace qatester
