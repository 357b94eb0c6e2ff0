// Many testers in one process: at once, one after the other, and cut short.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "robustness/EveryCheck.h"
#include "support/CheckNames.h"
#include "support/Clips.h"
#include "support/Console.h"
#include "support/FakeSleep.h"
#include "support/Outcomes.h"
#include "support/RecordingListener.h"
#include "support/Sanitized.h"
#include "tester/QATester.h"

namespace {

using namespace qatest;
using std::chrono::microseconds;

// Under a sanitizer each round takes several times as long, and finds more.
constexpr int kStoppedChecks = kSanitized ? 50 : 500;
constexpr int kRepetitions = kSanitized ? 3 : 10;
constexpr int kTesters = kSanitized ? 4 : 8;
constexpr const char* kLogNameLine = "[T] Log File:\t\t";
/// No check asks for more than a file of two seconds holds: with fixed pauses a block that is late
/// is a block that is missing, and how late one may be is not what is tested here.
constexpr const char* kSettings =
    "QATesterSlateSeconds=0\nChromaFrameChecks=20\nFieldFrameChecks=20\nFrameRateFrameChecks=20\n"
    "GamutFrameChecks=20\nPullDownFrameChecks=20\nTearingFrameChecks=20\n"
    "TransitionFrameChecks=20\nLevelFrameChecks=40\nLoudnessFrameChecks=40\nMonoFrameChecks=40\n"
    "PhaseFrameChecks=40\n";

/// All that a client gets of every check on a file. Checks that run at once may send their percents
/// by turns: those of a slot are sorted.
struct Everything {
  std::vector<std::string> results;
  std::map<std::string, std::vector<float>> progress;
  std::vector<std::string> messages;
  int failures = 0;
  /// Without times and date, and without the line that names the log.
  std::string console;
};

void expectSame(const Everything& found, const Everything& expected) {
  EXPECT_EQ(found.results, expected.results);
  EXPECT_EQ(found.progress, expected.progress);
  EXPECT_EQ(found.messages, expected.messages);
  EXPECT_EQ(found.failures, expected.failures);
  EXPECT_EQ(found.console, expected.console);
}

enum class Way { inTurn, together };

Everything runAll(const std::string& file, const std::string& settings, const std::string& log,
                  QAPauses pauses, Way way = Way::inTurn) {
  RecordingListener listener;
  Everything all;
  QATesterOptions options;
  options.pauses = pauses;
  options.lookup = QALookup::stored;
  options.displays = QADisplays::nowhere;
  options.console = [&](const std::string& line) {
    const std::string plain = withoutTimesAndDate(line);
    if (plain.rfind(kLogNameLine, 0) != 0) {
      all.console += plain;
    }
  };
  QATester tester(file.c_str(), &listener, settings.c_str(), log.c_str(), options);
  if (way == Way::together) {
    all.results = textsOf(tester.runChecks(checkNames()));
  } else {
    for (const std::string& name : checkNames()) {
      all.results.push_back(textOf(tester.runChecks({name}).at(0)));
    }
  }
  all.progress = listener.progress;
  for (auto& [slot, percents] : all.progress) {
    std::sort(percents.begin(), percents.end());
  }
  all.messages = listener.messages;
  all.failures = listener.failures;
  return all;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

class ManyTesters : public testing::TestWithParam<QAPauses> {
 protected:
  ManyTesters() { writeFile(settings_, kSettings); }

  /// Files of different pictures, lengths, sounds and containers.
  std::vector<std::string> makeFiles() const {
    std::vector<std::string> files;
    const AVPixelFormat formats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P,
                                     AV_PIX_FMT_YUV420P10};
    const char* containers[] = {"mkv", "nut"};
    for (int i = 0; i < kTesters; ++i) {
      VideoSpec picture = ffv1(50 + 2 * i, formats[i % 4]);
      picture.pixel = [i](int component, int x, int y, int frame) {
        return static_cast<uint8_t>(clipPixel(component, x + i, y, frame * (i + 1)));
      };
      const int streams = i % 4 == 2 ? 4 : 1;
      files.push_back(makeClip(folder_, "clip" + std::to_string(i) + "." + containers[i % 2],
                               {{picture}, audioStreams(streams, audio("pcm_s16le", 2, 2.0))}));
    }
    return files;
  }

  std::vector<Everything> oneAfterTheOther(const std::vector<std::string>& files) const {
    std::vector<Everything> all;
    for (const std::string& file : files) {
      all.push_back(runAll(file, settings_, "", GetParam()));
    }
    return all;
  }

  void expectAtOnce(const std::vector<std::string>& files, const std::string& log, Way way,
                    const std::vector<Everything>& expected) const {
    std::vector<Everything> all(files.size());
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < files.size(); ++i) {
      threads.emplace_back([&, i] { all[i] = runAll(files[i], settings_, log, GetParam(), way); });
    }
    threads.clear();
    for (std::size_t i = 0; i < files.size(); ++i) {
      SCOPED_TRACE(files[i]);
      expectSame(all[i], expected[i]);
    }
  }

  TempDir folder_;
  std::string settings_ = folder_.file("qa.settings");
};

INSTANTIATE_TEST_SUITE_P(Pauses, ManyTesters,
                         testing::Values(QAPauses::fixed, QAPauses::untilReady),
                         [](const auto& pauses) {
                           return pauses.param == QAPauses::fixed ? "fixed" : "untilReady";
                         });

TEST_P(ManyTesters, AtOnceFindWhatTheyFindOneAfterTheOther) {
  const std::vector<std::string> files = makeFiles();
  const std::vector<Everything> expected = oneAfterTheOther(files);
  EXPECT_NE(expected[0].results, expected[1].results);
  expectAtOnce(files, "", Way::together, expected);

  const std::string log = folder_.file("common.log");
  expectAtOnce(files, log, Way::inTurn, expected);
  // In the common log every line is whole, and none is missing.
  std::multiset<std::string> lines;
  for (const Everything& alone : expected) {
    for (const std::string& line : linesOf(alone.console)) {
      lines.insert(line);
    }
    lines.insert(std::string(kLogNameLine) + log);
  }
  std::multiset<std::string> found;
  for (const std::string& line : linesOf(withoutTimesAndDate(readFile(log)))) {
    found.insert(line);
  }
  EXPECT_EQ(found, lines);
}

TEST_P(ManyTesters, OnOneFileInTurnFindTheSame) {
  const std::string file = makeFiles().front();
  std::string firstLog;
  Everything first;
  for (int i = 0; i < kRepetitions; ++i) {
    const std::string log = folder_.file("turn.log");
    const Everything all = runAll(file, settings_, log, GetParam());
    const std::string logged = withoutTimesAndDate(readFile(log));
    std::filesystem::remove(log);
    if (i == 0) {
      first = all;
      firstLog = logged;
    }
    expectSame(all, first);
    EXPECT_EQ(logged, firstLog);
  }
  EXPECT_NE(firstLog.find("QAPhase: Test Complete.\n"), std::string::npos) << firstLog;
}

/// What a tester is asked for while it is stopped.
struct Moment {
  const NamedRun& run;
  microseconds delay;
};

class Moments {
 public:
  Moment next() {
    const auto& runs = everyRun();
    const std::size_t which = engine_() % runs.size();
    return {runs[which], microseconds(engine_() % 4000)};
  }

 private:
  std::mt19937 engine_{20240229};
};

TEST_P(ManyTesters, StoppedAtAnyMomentLeaveNothing) {
  const std::string file =
      makeClip(folder_, "clip.mkv", {{ffv1(50)}, audioStreams(1, audio("pcm_s16le", 2, 2.0))});
  Moments moments;
  runAll(file, settings_, "", GetParam());
  const OpenThings before = openThings();
  int cutShort = 0;
  for (int i = 0; i < kStoppedChecks; ++i) {
    const Moment moment = moments.next();
    clearPauses();
    QATesterOptions options;
    options.pauses = GetParam();
    options.lookup = QALookup::stored;
    options.displays = QADisplays::nowhere;
    options.console = [](const std::string&) {};
    options.outcome = [&](const QACheckOutcome& outcome) { cutShort += outcome.stopped ? 1 : 0; };
    std::stop_source stop;
    options.stop = stop.get_token();
    QATester tester(file.c_str(), nullptr, settings_.c_str(), "", options);
    const std::jthread stopper([&] {
      std::this_thread::sleep_for(moment.delay);
      stop.request_stop();
    });
    tester.runChecks(moment.run.checks);
  }
  EXPECT_GT(cutShort, 0);
  const OpenThings after = settledThings(before);
  EXPECT_LE(after.descriptors, before.descriptors);
  EXPECT_LE(after.threads, before.threads);
}

}  // namespace
