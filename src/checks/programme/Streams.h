#pragma once

#include <string>
#include <vector>

#include "tester/ProgrammeRun.h"

namespace qatester {

/// Something that is demanded of a file's streams, and what was found.
struct StreamDemand {
  const char* what;  ///< in words, such as "frame rate"
  std::vector<std::string> wanted;
  /// Of one that holds for several streams, what differs is joined with ", ".
  std::string found;
  bool met = true;
};

/// What a profile demands; an empty list demands nothing.
struct StreamDemands {
  bool video = true;
  bool audio = true;
  std::vector<std::string> containers;
  std::vector<std::string> videoCodecs;
  std::vector<std::string> pictureSizes;
  std::vector<std::string> frameRates;
  std::vector<std::string> scan;
  std::vector<std::string> chromaFormats;
  std::vector<std::string> bitDepths;
  std::vector<std::string> matrices;
  std::vector<std::string> audioCodecs;
  std::vector<std::string> sampleRates;
  std::vector<std::string> audioStreamChannels;
};

/// Goes through all demands that are made. `video` and `audio` are the streams that count.
std::vector<StreamDemand> judgeStreams(const ProgrammeFacts& facts, const StreamDemands& demands);

class StreamsMeasurement final : public ProgrammeMeasurement {
 public:
  explicit StreamsMeasurement(StreamDemands demands) : demands_(std::move(demands)) {}

  bool hasSubject(const ProgrammeFacts&, std::string&) const override { return true; }
  ProgrammeWants wants() const override { return {}; }
  void begin(const ProgrammeFacts& facts) override { facts_ = facts; }
  void describe(QACheckOutcome& outcome) const override;

 private:
  StreamDemands demands_;
  ProgrammeFacts facts_;
};

}  // namespace qatester
