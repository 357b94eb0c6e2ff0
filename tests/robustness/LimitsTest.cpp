// What checks leave open when they return, however they return.

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "robustness/EveryCheck.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/RecordingListener.h"
#include "support/Sanitized.h"
#include "tester/QATester.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;
using std::chrono::milliseconds;

constexpr int kFrames = 30;
/// All displays, no slate, and budgets of a few frames or blocks: enough for a percent to be sent.
constexpr const char* kFewFrames =
    "QATesterSlateSeconds=0\nChromaFrameChecks=5\nFieldFrameChecks=5\nFrameRateFrameChecks=5\n"
    "GamutFrameChecks=5\nPullDownFrameChecks=10\nTearingFrameChecks=5\nTransitionFrameChecks=5\n"
    "LevelFrameChecks=5\nLoudnessFrameChecks=5\nMonoFrameChecks=5\nPhaseFrameChecks=5\n";
constexpr const char* kSlate = "QATesterSlateSeconds=5\n";

/// Whose calls end in an exception, after they were recorded.
enum class Thrower { nobody, message, failure, progress, outcome };

struct Thrown : std::runtime_error {
  Thrown() : std::runtime_error("the client has had enough") {}
};

/// A tester whose client may throw, or stop the check that runs.
class TroubledTester : public RecordingListener {
 public:
  TroubledTester(const std::string& file, QAPauses pauses, const std::string& settings,
                 bool displays = true)
      : settings_(folder_.file("qa.settings")) {
    writeFile(settings_, settings);
    QATesterOptions options;
    options.pauses = pauses;
    options.lookup = QALookup::stored;
    options.displays = displays ? QADisplays::windows : QADisplays::nowhere;
    options.stop = stop_.get_token();
    options.console = [this](const std::string& line) {
      if (stopsInSlate_ && line.find("Dumping slate...") != std::string::npos) {
        stopper_ = std::jthread([this] {
          std::this_thread::sleep_for(milliseconds(10));
          stop_.request_stop();
        });
      }
    };
    options.outcome = [this](const QACheckOutcome&) { hear(Thrower::outcome); };
    tester_ = std::make_unique<QATester>(file.c_str(), this, settings_.c_str(), "", options);
  }

  void stopInSlate() { stopsInSlate_ = true; }
  void stopAtFirstPercent() { stopsAtPercent_ = true; }
  void setThrower(Thrower thrower) { thrower_ = thrower; }

  std::string run(const NamedRun& check) {
    heard_.clear();
    return resultOf(*tester_, check);
  }

  /// Whom the check that ran last called.
  const std::set<Thrower>& heard() const { return heard_; }

 private:
  void onFailure() override { hear(Thrower::failure); }
  void onMessage(const std::string&) override { hear(Thrower::message); }
  void onPercent(float) override {
    if (stopsAtPercent_) {
      stop_.request_stop();
    }
    hear(Thrower::progress);
  }
  void hear(Thrower who) {
    heard_.insert(who);
    if (who == thrower_) {
      throw Thrown();
    }
  }

  TempDir folder_;
  std::string settings_;
  std::stop_source stop_;
  bool stopsInSlate_ = false;
  bool stopsAtPercent_ = false;
  Thrower thrower_ = Thrower::nobody;
  std::set<Thrower> heard_;
  std::jthread stopper_;
  std::unique_ptr<QATester> tester_;
};

ClipSpec pictureAndSound(int frames = kFrames) {
  return {{ffv1(frames)}, {audio("pcm_s16le", 2, frames / 25.0)}};
}

class NothingIsLeft : public testing::TestWithParam<QAPauses> {
 protected:
  NothingIsLeft() {
    // What libraries keep once they have been used at all is no leftover of a check.
    for (const NamedRun& check : everyRun()) {
      TroubledTester(good_, GetParam(), kFewFrames).run(check);
    }
  }

  std::string make(const std::string& name, const ClipSpec& spec) const {
    return makeClip(folder_, name, spec);
  }

  /// Every check once, each on a tester of its own that `prepare` makes ready.
  void runEveryCheck(const std::string& file, const std::string& settings,
                     const std::function<void(TroubledTester&)>& prepare) {
    for (const NamedRun& check : everyRun()) {
      SCOPED_TRACE(check.name);
      runCheck([&] {
        TroubledTester tester(file, GetParam(), settings);
        prepare(tester);
        tester.run(check);
      });
    }
  }

  /// `action` leaves nothing open behind.
  template <typename Action>
  static void runCheck(Action action) {
    clearPauses();
    clearOpenCV();
    const OpenThings before = openThings();
    action();
    const OpenThings after = settledThings(before);
    EXPECT_LE(after.descriptors, before.descriptors);
    EXPECT_LE(after.threads, before.threads);
    if (!openCVCalls().shown.empty()) {
      ++checksWithWindows;
      EXPECT_GT(openCVCalls().windowsDestroyed, 0);
    }
  }

  static inline int checksWithWindows = 0;
  TempDir folder_;
  QuickWaits quick_;
  WindowSystem windows_{WindowSystem::State::available};
  std::string good_ = make("good.mkv", pictureAndSound());
};

INSTANTIATE_TEST_SUITE_P(Pauses, NothingIsLeft,
                         testing::Values(QAPauses::fixed, QAPauses::untilReady),
                         [](const auto& pauses) {
                           return pauses.param == QAPauses::fixed ? "fixed" : "untilReady";
                         });

TEST_P(NothingIsLeft, OfFilesThatCannotBeMeasured) {
  writeFile(folder_.file("text.mp4"), "no media\n");
  const AudioSpec sound = audio("pcm_s16le", 2, 1.0);
  const std::vector<std::string> files = {
      folder_.file("missing.mov"),
      folder_.file("text.mp4"),
      make("sound.wav", {{}, {sound}}),
      make("silent.mkv", {{ffv1(5)}, {}}),
      make("ten-bits.mov", {{proRes(5)}, {sound}}),
      make("two-streams.mkv", {{ffv1(5)}, audioStreams(2, sound)}),
      make("short.mkv", pictureAndSound(5)),
  };
  for (const std::string& file : someOf(files)) {
    SCOPED_TRACE(file);
    runEveryCheck(file, "QATesterSlateSeconds=0\n", [](TroubledTester&) {});
  }
}

TEST_P(NothingIsLeft, OfChecksThatReachTheirEnd) {
  checksWithWindows = 0;
  runEveryCheck(good_, kFewFrames, [](TroubledTester&) {});
  // Tearing, timecode, transitions, chroma, gamut, mono and phase show something.
  // And so do all at once.
  EXPECT_EQ(checksWithWindows, 7 + 1);
}

TEST_P(NothingIsLeft, OfChecksThatAreStopped) {
  runEveryCheck(good_, kFewFrames, [](TroubledTester& tester) { tester.stopAtFirstPercent(); });
  runEveryCheck(good_, kSlate, [](TroubledTester& tester) { tester.stopInSlate(); });
}

TEST_P(NothingIsLeft, OfAFileThatEndsEarlierThanItDeclares) {
  const std::string whole = make("whole.mkv", pictureAndSound(200));
  const std::string cut = truncatedCopy(folder_, "cut.mkv", whole, readFile(whole).size() / 4);
  // Side by side: with fixed pauses each waits for a hundred frames that do not come.
  runCheck([&] {
    std::vector<std::jthread> threads;
    for (const NamedRun& check : everyRun()) {
      threads.emplace_back(
          [&] { TroubledTester(cut, GetParam(), "QATesterSlateSeconds=0\n", false).run(check); });
    }
  });
}

/// A check ends in an exception if and only if its client throws, and the tester is as good as new
/// after it.
void expectExceptionToPass(TroubledTester& tester, const NamedRun& check, Thrower thrower,
                           int& thrown) {
  const std::string untroubled = tester.run(check);
  // The loudness check takes exceptions of its measuring for its own, and existing clients count
  // on its result.
  const bool kept = check.name == "loudness" && thrower == Thrower::progress;
  const bool reached = tester.heard().count(thrower) > 0 && !kept;
  tester.setThrower(thrower);
  if (reached) {
    EXPECT_THROW(tester.run(check), Thrown);
    ++thrown;
  } else {
    EXPECT_NO_THROW(tester.run(check));
  }
  tester.setThrower(Thrower::nobody);
  EXPECT_EQ(tester.run(check), untroubled);
}

TEST_P(NothingIsLeft, OfClientsThatThrow) {
  const AudioSpec sound = audio("pcm_s16le", 2, 1.0);
  struct Row {
    Thrower thrower;
    std::string file;
    /// How many checks reach the call, and pass its exception on; then all at once.
    int checks;
  };
  const std::vector<Row> rows = {
      // The check of the file itself and those of pictures. The first row runs everywhere.
      {Thrower::message, make("sound.wav", {{}, {sound}}), 9 + 1},
      // Eleven with frames or blocks to count; loudness keeps the exception.
      {Thrower::progress, good_, 11 + 1},
      {Thrower::failure, make("ten-bits.mov", {{proRes(5)}, {sound}}), 9 + 1},
      {Thrower::outcome, good_, static_cast<int>(allChecks().size()) + 1},
      // The check of the file itself and those of sound.
      {Thrower::message, make("silent.mkv", {{ffv1(kFrames)}, {}}), 5 + 1},
  };
  for (const Row& row : someOf(rows)) {
    SCOPED_TRACE(row.file);
    int thrown = 0;
    for (const NamedRun& check : everyRun()) {
      SCOPED_TRACE(check.name);
      runCheck([&] {
        TroubledTester tester(row.file, GetParam(), kFewFrames);
        expectExceptionToPass(tester, check, row.thrower, thrown);
      });
    }
    EXPECT_EQ(thrown, row.checks);
  }
}

TEST_P(NothingIsLeft, OfWindowsWhenAClientThrows) {
  for (const NamedRun& check : everyRun()) {
    SCOPED_TRACE(check.name);
    runCheck([&] {
      TroubledTester tester(good_, GetParam(), kFewFrames);
      tester.setThrower(Thrower::progress);
      try {
        tester.run(check);
      } catch (const Thrown&) {
      }
    });
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

std::size_t bytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST(Memory, DoesNotGrowWithTheNumberOfChecks) {
  constexpr int kRounds = 18;  // of 14 checks, and all at once: 504
  constexpr std::size_t kMost = 2'000'000;
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.mkv", pictureAndSound());
  const auto round = [&] {
    TroubledTester tester(file, QAPauses::untilReady, kFewFrames, false);
    for (const NamedRun& check : everyRun()) {
      tester.run(check);
    }
  };
  round();
  round();
  const std::size_t before = bytesInUse();
  for (int i = 0; i < kRounds; ++i) {
    round();
  }
  const std::size_t after = bytesInUse();
  RecordProperty("grownBytes", std::to_string(static_cast<long long>(after - before)));
  EXPECT_LE(after, before + kMost);
}

#endif

}  // namespace
