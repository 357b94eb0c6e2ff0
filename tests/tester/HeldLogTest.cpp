#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

#include "foundation/Logger.h"
#include "support/Console.h"
#include "tester/CheckContext.h"

namespace {

using qatester::HeldLog;

class HeldLogTest : public testing::Test {
 protected:
  HeldLogTest() {
    logger_.SetConsole([this](const std::string& line) { heard_.push_back(line); });
  }

  /// What came out, without time stamps.
  std::vector<std::string> heard() const {
    std::vector<std::string> plain;
    for (const std::string& line : heard_) {
      plain.push_back(qatest::withoutTimes(line));
    }
    return plain;
  }

  Logger logger_{""};
  std::vector<std::string> heard_;
  HeldLog log_{&logger_, [this](const std::string& problem) { heard_.push_back("! " + problem); }};
};

TEST_F(HeldLogTest, HoldsLinesAndComplaintsAndLetsThemOutInTheirOrder) {
  log_.log("one");
  log_.complain("broken");
  log_.log("two");
  EXPECT_TRUE(heard_.empty());
  log_.release();
  EXPECT_EQ(heard(), (std::vector<std::string>{"[T] one\n", "! broken", "[T] two\n"}));
}

TEST_F(HeldLogTest, LetsAllOutAtOnceFromThenOn) {
  log_.log("one");
  log_.release();
  log_.log("two");
  EXPECT_EQ(heard_.size(), 2U);
  log_.complain("broken");
  EXPECT_EQ(heard(), (std::vector<std::string>{"[T] one\n", "[T] two\n", "! broken"}));
  log_.release();
  EXPECT_EQ(heard_.size(), 3U) << "nothing comes twice";
}

/// While one lives, local time is some hours ahead of universal time.
class LocalTime {
 public:
  explicit LocalTime(int hours) {
    setenv("TZ", ("UTC-" + std::to_string(hours)).c_str(), 1);
    tzset();
  }
  ~LocalTime() {
    unsetenv("TZ");
    tzset();
  }
  LocalTime(const LocalTime&) = delete;
  LocalTime& operator=(const LocalTime&) = delete;
};

TEST_F(HeldLogTest, LinesHaveTheStampOfTheMomentAtWhichTheyCame) {
  std::string before;
  std::string after;
  {
    const LocalTime early(0);
    before = logger_.GetTimeStamp();
    log_.log("one");
    after = logger_.GetTimeStamp();
  }
  const LocalTime late(5);
  log_.release();
  ASSERT_EQ(heard_.size(), 1U);
  const std::string stamp = heard_[0].substr(0, before.size());
  EXPECT_TRUE(stamp == before || stamp == after) << heard_[0];
}

TEST_F(HeldLogTest, WithoutALoggerOnlyComplaintsComeOut) {
  HeldLog silent(nullptr, [this](const std::string& problem) { heard_.push_back(problem); });
  silent.log("one");
  silent.complain("broken");
  silent.release();
  silent.log("two");
  EXPECT_EQ(heard_, std::vector<std::string>{"broken"});
}

}  // namespace
