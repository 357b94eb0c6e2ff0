#pragma once

#include <cstdint>
#include <map>
#include <stop_token>
#include <vector>

#include "media/PictureConverter.h"
#include "tester/ProgrammeRun.h"

namespace qatester {

/// Writes the pictures that show the events of checks as picture files: reads the file again, up to
/// the last of them.
class EventPictures final : public ProgrammeConsumer {
 public:
  /// The runs have ended. Wants nothing where no run has events to show, or none is to.
  explicit EventPictures(const std::vector<ProgrammeRun*>& runs);

  /// Whether there is anything to show.
  bool any() const { return !wanted_.empty(); }

  /// Reads and shows. What goes wrong is said once, as of displays; no result depends on it.
  void read(const CheckContext& context);

  /// Packets as well: with pictures alone a damaged file would give others.
  ProgrammeWants wants() const override { return {.pictures = true, .packets = true}; }
  using ProgrammeConsumer::take;
  void take(const ProgrammePicture& picture) override;

 private:
  /// By their numbers, with those who show them.
  std::map<int64_t, std::vector<ProgrammeRun*>> wanted_;
  PictureConverter converter_;
  std::stop_source stop_;
};

}  // namespace qatester
