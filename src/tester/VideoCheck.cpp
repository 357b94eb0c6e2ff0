#include "tester/VideoCheck.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "foundation/Conversions.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"
#include "tester/Reasons.h"

namespace qatester {

namespace {

constexpr unsigned kMissPauseSeconds = 10;
constexpr int kMaxMisses = 100;

/// One run of a video check.
class VideoRun {
 public:
  VideoRun(const CheckContext& context, const VideoCheckProfile& profile,
           VideoMeasurement& measurement)
      : context_(context), profile_(profile), measurement_(measurement) {
    outcome_.check = profile.tag;
  }

  bool run() {
    log(std::string(": ") + profile_.beginning);
    if (!profile_.startsBeforeBudget) {
      readBudget();
    }
    OxWrap wrap(context_.fileName, {context_.options.pauses, context_.options.stop});
    const bool ran = runOn(wrap);
    outcome_.stopped = context_.stopped();
    measurement_.describe(outcome_);
    if (!outcome_.measured && outcome_.reason.empty()) {
      outcome_.reason = reasonForNothing();
    }
    context_.finished(outcome_);
    return ran;
  }

 private:
  bool runOn(OxWrap& wrap) {
    if (wrap.formatContext == nullptr) {
      log(": Failed to load file...");
      outcome_.reason = unopenedReason(wrap);
      return false;
    }
    outcome_.opened = true;
    if (profile_.discardsAudio) {
      wrap.discardAudio(true);
    } else if (context_.options.pauses == QAPauses::untilReady) {
      keepVideoOnly(wrap);
    }
    log(": Buffering...");
    wrap.startBuffering();

    OxVideoStream* video = wrap.getVideoStream();
    if (video == nullptr) {
      const std::string text = profile_.tag + std::string(": No video stream");
      context_.log(text + ".");
      context_.message(profile_.messageEndsWithFullStop ? text + "." : text);
      outcome_.reason = "no video stream";
      return false;
    }
    const std::string pixelFormat = video->getPixelFormat();
    log(": Detected " + pixelFormat);
    if (pixelFormat == "Other") {
      context_.failure();
      outcome_.reason = pixelFormatReason(*video);
      return false;
    }
    prepare(*video);
    try {
      measure(*video);
    } catch (...) {
      closeWindows();
      throw;
    }
    context_.log(std::string(profile_.stopTag != nullptr ? profile_.stopTag : profile_.tag) +
                 ": Stopping Test...");
    wrap.stopBuffering();
    closeWindows();
    if (profile_.logsCompletion) {
      log(": Test Complete.");
    }
    return true;
  }

  void closeWindows() const {
    if (profile_.closesWindows) {
      context_.displays.close();
    }
  }

  /// Audio queues that nobody drains would fill up and hold the pictures back.
  static void keepVideoOnly(OxWrap& wrap) {
    wrap.bufferOnly(wrap.videoStream != nullptr ? std::vector<int>{wrap.videoStream->streamIndex}
                                                : std::vector<int>{});
  }

  void prepare(OxVideoStream& video) {
    const float fps = video.getFPS();
    int slate = 0;
    if (profile_.skipsSlate) {
      log(": Dumping slate...");
      slate = slateFrames(context_.slateSeconds, fps);
      skipSlate(video, slate);
    }
    if (profile_.startsBeforeBudget) {
      log(": Starting Checks.");
      readBudget();
    }
    boundTheBudget(video, fps, slate);
    if (!profile_.startsBeforeBudget) {
      log(": Starting Checks.");
    }
    measurement_.begin(fps, budget_);
  }

  void boundTheBudget(OxVideoStream& video, float fps, int slate) {
    try {
      budget_ = profile_.bound(budget_, fps, video.getDurationSeconds(), slate);
    } catch (...) {
      if (profile_.boundFailure == nullptr) {
        throw;
      }
      log(profile_.boundFailure);
    }
  }

  void readBudget() {
    if (profile_.budgetKey == nullptr) {
      return;
    }
    budget_ = std::max(1, context_.intSetting(profile_.budgetKey, profile_.budgetDefault));
  }

  /// Drops frames until the slate is through, at least one. With fixed pauses there is no giving
  /// up.
  void skipSlate(OxVideoStream& video, int slate) {
    int left = slate;
    do {
      const OxVideoFrameYUV picture = video.getNextYUVFrame();
      if (picture.valid) {
        releasePicture(picture);
        --left;
      } else if (video.hasEnded()) {
        endedInSlate_ = true;
        return;
      } else {
        video.pauseForPacket(kMissPauseSeconds);
      }
    } while (left > 0 && !context_.stopped());
  }

  void measure(OxVideoStream& video) {
    Progress progress(context_.listener, profile_.progress, budget_);
    int misses = 0;
    for (int index = 0; index < budget_ && !context_.stopped();) {
      OxVideoFrameYUV picture = video.getNextYUVFrame();
      const PictureGuard guard(picture);
      const Added added = picture.valid ? measurement_.add(index, DecodedPicture(video, picture))
                                        : Added::unconvertible;
      if (added == Added::unconvertible) {
        if (++misses > kMaxMisses) {
          break;
        }
        video.pauseForPacket(kMissPauseSeconds);
        continue;
      }
      note(added, picture);
      if (added == Added::unreadableEndsCheck) {
        break;
      }
      if (added != Added::gathered) {
        progress.measured(index);
        misses = 0;
      }
      ++index;
    }
    outcome_.budget = budget_;
  }

  /// Keeps for the outcome what became of a picture.
  void note(Added added, const OxVideoFrameYUV& picture) {
    if (added == Added::measured || added == Added::gathered) {
      ++outcome_.count;
      outcome_.measured = outcome_.measured || added == Added::measured;
    } else {
      outcome_.reason = pixelFormatReason(picture);
    }
  }

  std::string reasonForNothing() const {
    if (context_.stopped()) {
      return "stopped before the first frame";
    }
    if (endedInSlate_) {
      return "the file ends within the slate of " + std::to_string(context_.slateSeconds) + " s";
    }
    if (budget_ <= 0) {
      return "too short, or of unknown duration: no frames are left to measure";
    }
    return "no frame could be decoded";
  }

  void log(const std::string& text) const { context_.log(profile_.tag + text); }

  const CheckContext& context_;
  const VideoCheckProfile& profile_;
  VideoMeasurement& measurement_;
  QACheckOutcome outcome_;
  int budget_ = 0;
  bool endedInSlate_ = false;
};

}  // namespace

int slateFrames(int slateSeconds, float fps) {
  return truncateTo<int>(static_cast<double>(static_cast<float>(slateSeconds) * fps));
}

int boundBudget(int budget, float fps, double durationSeconds, int slateFrames) {
  const int64_t inFile = truncateTo<int>(static_cast<double>(fps) * durationSeconds);
  const int64_t available = inFile - slateFrames;
  if (budget <= available) {
    return budget;
  }
  return clampToInt(available - truncateTo<int>(static_cast<double>(fps)));
}

bool runVideoCheck(const CheckContext& context, const VideoCheckProfile& profile,
                   VideoMeasurement& measurement) {
  return VideoRun(context, profile, measurement).run();
}

}  // namespace qatester
