// Runs the timecode check with OpenCV's own windows, for a test that looks at the screen.
//
// usage: check_windows FILE
//
// Writes "shown" when the check first reports progress, goes on when it gets SIGUSR1, writes
// "closed" and what the check returned, and ends after SIGTERM.

#include "support/FakeSleep.h"
#include "support/RecordingListener.h"
#include "tester/QATester.h"
#include "visual/Orders.h"

namespace {

class HoldingListener : public qatest::RecordingListener {
 public:
  void onTimecodeProgress(float) override {
    if (!held_) {
      held_ = true;
      qatest::say("shown");
      qatest::pumpUntil(SIGUSR1);
    }
  }

 private:
  bool held_ = false;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    return 2;
  }
  qatest::awaitOrders();
  HoldingListener listener;
  QATester tester(arguments[1], &listener, "", "");
  const bool completed = tester.checkTimecode();
  qatest::say("closed");
  qatest::pumpUntil(SIGTERM);
  qatest::say(completed ? "completed" : "not completed");
  return 0;
}
