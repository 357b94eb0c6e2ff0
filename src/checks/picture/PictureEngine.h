#pragma once

#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "checks/picture/DamagedPictures.h"
#include "checks/picture/PictureMeasurement.h"
#include "media/LumaPicture.h"
#include "tester/SharedListeners.h"

namespace qatester {

/// Reads the luma of each picture once and hands its numbers to all measurements, some pictures
/// later: by then it is known where shots begin.
class PictureEngine final : public SharedConsumer {
 public:
  /// A `PictureMeasurement`.
  void add(ProgrammeMeasurement& measurement) override;
  std::exception_ptr errorOf(const ProgrammeMeasurement& measurement) const override;

  using SharedConsumer::take;
  /// Packets as well: with pictures alone a damaged file would end elsewhere.
  ProgrammeWants wants() const override { return {.pictures = true, .packets = true}; }
  bool isSlow() const override { return true; }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammePicture& picture) override;
  void end(const ProgrammeEnd& end) override;

 private:
  double blackShareOf(const LumaRows& rows, const PictureRecord& record) const;
  FieldFlag flagOf(const AVFrame& frame);
  void handOutDecided();

  SharedListeners<PictureMeasurement> listeners_;
  PictureNeeds needs_;
  std::shared_ptr<PictureTimes> times_ = std::make_shared<PictureTimes>();
  /// Of the stream; it holds for decoders that say nothing of their pictures.
  FieldFlag declaredFields_ = FieldFlag::progressive;
  bool anyInterlaced_ = false;
  DamagedPictures damaged_;
  /// This picture's and the one's before, by turns.
  LumaPicture lumas_[2];
  int current_ = 0;
  std::vector<BlockSums> blocks_;
  ShotFinder shots_;
  std::deque<PictureRecord> waiting_;
  std::string unreadable_;  ///< the format of pictures that could not be read
};

}  // namespace qatester
