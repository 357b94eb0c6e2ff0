// What a check that is added by a file of its own and a line in the list has without more ado.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "support/CheckNames.h"
#include "support/Clips.h"
#include "support/LoggedTester.h"
#include "support/Outcomes.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "tester/QATester.h"

namespace {

using namespace qatest;

constexpr const char* kName = "brightness";
constexpr int kLuma = 60;

class NewCheck : public testing::Test {
 protected:
  NewCheck() {
    VideoSpec video = ffv1(60);
    video.pixel = [](int component, int, int, int) -> uint8_t {
      return component == 0 ? kLuma : 128;
    };
    file_ = makeClip(folder_, "clip.mkv", {{video}, {audio("pcm_s16le")}});
  }

  /// The outcomes of these checks with these settings.
  std::vector<QACheckOutcome> run(const std::vector<std::string>& names,
                                  const std::string& settings) {
    LoggedTester tester(file_, stored(), settings);
    const std::vector<QACheckOutcome> outcomes =
        tester.run([&](QATester& t) { return t.runChecks(names); });
    logged_ = tester.logged();
    return outcomes;
  }

  TempDir folder_;
  std::string file_;
  std::string logged_;
};

TEST_F(NewCheck, IsInTheListAfterAllOthers) {
  const std::vector<std::string> names = checkNames();
  EXPECT_EQ(names.back(), kName);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  EXPECT_EQ(names.front(), allChecks().front()->name);
  const QACheck* check = findCheck(kName);
  ASSERT_NE(check, nullptr);
  EXPECT_EQ(check, allChecks().back());
  EXPECT_STREQ(check->tag, "QABrightness");
  EXPECT_STREQ(getFamilyText(check->family), "programme");
  EXPECT_STREQ(check->settings[0].key, "BrightnessFrameChecks");
}

TEST_F(NewCheck, RunsByItsName) {
  const QACheckOutcome outcome = run({kName}, smallBudgets(7)).at(0);
  EXPECT_EQ(outcome.state, QAState::pass);
  EXPECT_EQ(numberOf(outcome, "brightest"), kLuma);
  EXPECT_EQ(outcome.summary, "brightest pixel 60");
  EXPECT_EQ(outcome.count, 7) << "its budget is found among the settings";
  EXPECT_EQ(logged_,
            "QABrightness: Beginning Test.\n"
            "QABrightness: Buffering...\n"
            "QABrightness: Detected YUV420P pixel format.\n"
            "QABrightness: Dumping slate...\n"
            "QABrightness: Starting Checks.\n"
            "QABrightness: Stopping Test...\n"
            "QABrightness: Test Complete.\n");
}

TEST_F(NewCheck, GoesByItsSetting) {
  struct {
    const char* min;
    double limit;
    QAState state;
  } const cases[] = {{"60", 60.0, QAState::pass},
                     {"61", 61.0, QAState::fail},
                     {"999", 255.0, QAState::fail},  // the row's greatest value
                     {"", 40.0, QAState::pass}};
  for (const auto& c : cases) {
    const std::string setting = std::string("BrightnessMin=") + c.min + "\n";
    const QACheckOutcome outcome = run({kName}, smallBudgets(3) + setting).at(0);
    EXPECT_EQ(outcome.limits.at(0).min, c.limit) << c.min;
    EXPECT_EQ(outcome.state, c.state) << c.min;
  }
}

TEST_F(NewCheck, RunsWithAllOthersInOneReading) {
  const std::vector<QACheckOutcome> all = run(checkNames(), smallBudgets());
  ASSERT_EQ(all.size(), allChecks().size());
  EXPECT_EQ(all.back().name, kName);
  EXPECT_EQ(textOf(all.back()), textOf(run({kName}, smallBudgets()).at(0)));
}

}  // namespace
