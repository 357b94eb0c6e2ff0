#include "tester/EventPictures.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "media/ProgrammeReader.h"

namespace qatester {

EventPictures::EventPictures(const std::vector<ProgrammeRun*>& runs) {
  for (ProgrammeRun* run : runs) {
    for (const int64_t number : run->picturesToShow()) {
      std::vector<ProgrammeRun*>& of = wanted_[number];
      if (std::find(of.begin(), of.end(), run) == of.end()) {
        of.push_back(run);
      }
    }
  }
}

void EventPictures::read(const CheckContext& context) {
  std::string problem;
  try {
    const std::stop_callback forward(context.options.stop, [this] { stop_.request_stop(); });
    ProgrammeReaderOptions options;
    options.stop = stop_.get_token();
    options.threads = context.options.threads;
    ProgrammeReader reader(context.fileName, std::move(options));
    problem = reader.openError();
    if (reader.facts() != nullptr) {
      reader.add(*this);
      reader.run();
      if (const std::exception_ptr error = reader.errorOf(*this)) {
        std::rethrow_exception(error);
      }
    }
  } catch (const std::exception& exception) {
    problem = exception.what();
  }
  if (!problem.empty()) {
    context.displays.giveUp("the file cannot be read for pictures of events: " + problem);
  }
}

void EventPictures::take(const ProgrammePicture& picture) {
  if (wanted_.empty()) {
    return;
  }
  const auto found = wanted_.find(picture.number);
  if (found != wanted_.end() && picture.frame != nullptr) {
    OxVideoFrameYUV record;
    // The converter reads it only.
    record.frame = const_cast<AVFrame*>(picture.frame.get());
    record.width = picture.frame->width;
    record.height = picture.frame->height;
    record.valid = true;
    OxVideoFrameRGB converted;
    if (converter_.canConvert(record)) {
      converted = converter_.whole(record);
    }
    const std::unique_ptr<uint8_t, decltype(&std::free)> buffer(converted.buffer, &std::free);
    for (ProgrammeRun* run : found->second) {
      run->show(picture, converted);
    }
  }
  if (picture.number >= wanted_.rbegin()->first) {
    stop_.request_stop();
  }
}

}  // namespace qatester
