#include <memory>
#include <string>

#include "checks/CheckList.h"
#include "media/OxWrap.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/Reasons.h"
#include "tester/StreamSetup.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "valid", .tag = "QATester"};

/// Asks an opened file what it has.
class ValidFile final : public CheckRun {
 public:
  explicit ValidFile(const CheckContext& context) : CheckRun(context, kProfile) {}

  void begin() override {}
  void answer(OxWrap* wrap, Buffering& buffering) override;
  bool record() const { return valid_; }

 protected:
  void describe() override {
    outcome_.values = {{"valid", valid_, ""}};
    outcome_.state = judged(valid_);
  }
  bool hasAnswer() const override { return true; }

 private:
  void refuseStreams(const std::string& logLine, const std::string& words,
                     const std::string& reason);

  bool valid_ = false;
};

void ValidFile::refuseStreams(const std::string& logLine, const std::string& words,
                              const std::string& reason) {
  log(logLine);
  message(words);
  refuse(reason);
}

void ValidFile::answer(OxWrap* wrap, Buffering& buffering) {
  if (wrap->formatContext == nullptr) {
    context_.log("QATester can't open the file '" + context_.fileName + ".");
    refuse(unopenedReason(*wrap));
    return;
  }
  outcome_.opened = outcome_.measured = true;
  buffering.start();
  const unsigned streams = wrap->getNumberOfAudioStreams();
  if (streams == 0) {
    refuseStreams("No audio stream.", "No Audio Stream.", streamSetupReason(0));
    return;
  }
  if (streamSetupOf(streams) == QA_STREAM_SETUP_UNSUPPORTED) {
    refuseStreams("Unsupported stream layout, bailing out.", "Unsupported stream setup",
                  streamSetupReason(streams));
    return;
  }
  OxVideoStream* video = wrap->getVideoStream();
  if (video == nullptr) {
    refuseStreams("No video stream.", "No video stream.", "no video stream");
    return;
  }
  if (video->getPixelFormat() == "Other") {
    log("Detected unsupported pixel format.");
    failure();
    refuse(pixelFormatReason(*video));
    return;
  }
  valid_ = true;
  end();
}

std::unique_ptr<ValidFile> make(const CheckContext& context) {
  return std::make_unique<ValidFile>(context);
}

}  // namespace

constinit const QACheck validCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::classic,
    .question =
        "Can the classic checks test the file: 8-bit video, and 1, 3, 4 or 8 audio streams?",
    .needs = QANeeds::container,
    .saysSomething = true,
    .settings = {},
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::isValidFile() {
  return qatester::runAlone(context(), qatester::make);
}
