// Timecodes, rates and budgets of whatever a file may declare.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "checks/video/FieldDominance.h"
#include "checks/video/FrameRate.h"
#include "checks/video/Tearing.h"
#include "checks/video/Timecode.h"
#include "checks/video/Timecodes.h"
#include "checks/video/TransitionCounter.h"
#include "foundation/Conversions.h"
#include "fuzz/Input.h"
#include "tester/VideoRun.h"

using namespace qatester;
using qafuzz::Input;
using qafuzz::require;

namespace {

void tellTimecodes(Input& input) {
  const int frame = input.value<int32_t>();
  const int fps = input.flag() ? input.value<int32_t>() : input.within(0, 255);
  const std::string plain = getTimeCode(frame, false, fps);
  const std::string drop = getTimeCode(frame, true, fps);
  require(plain.size() >= 11 && drop.size() >= 11, "a timecode has four pairs of digits");
  // Frame 1 has number 0.
  require(frame < 2 || convertToDrop(frame) >= frame, "drop-frame counting leaves numbers out");

  // Single precision tells quotients of numbers up to here from whole ones.
  constexpr int kMostExact = 1 << 22;
  const int rate = std::max(fps, 1);
  if (frame < 0 || frame >= kMostExact || rate > 999) {
    return;
  }
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  int last = 0;
  require(std::sscanf(plain.c_str(), "%d:%d:%d:%d", &hours, &minutes, &seconds, &last) == 4,
          "a timecode reads back");
  require(minutes < 60 && seconds < 60 && last < rate, "its numbers stay in their ranges");
  const int64_t number = (int64_t{hours} * 3600 + minutes * 60 + seconds) * rate + last;
  require(number == frame % (int64_t{24} * 3600 * rate), "it is that of the frame");
}

void boundBudgets(Input& input) {
  const int budget = input.value<int32_t>();
  const auto fps = static_cast<float>(input.number());
  const double duration = input.number();
  const int slate = slateFrames(input.value<int32_t>(), fps);
  const bool forwards = fps >= 0.0F;
  require(!forwards || boundBudget(budget, fps, duration, slate) <= budget, "a bound adds nothing");
  // In single precision, which tells whole numbers up to here apart.
  constexpr int kMostExact = 1 << 24;
  const int bounded = boundTearingBudget(budget, fps, duration, slate);
  require(!forwards || std::abs(int64_t{budget}) > kMostExact || bounded <= budget,
          "nor does that of tearing");
  framesButLastSecond(budget, fps, duration, slate);
  nominalRate(fps);
}

void measureRates(Input& input) {
  FrameRateMeasurement rates;
  FieldDominanceMeasurement fields;
  const int budget = input.value<int32_t>();
  rates.begin(static_cast<float>(input.number()), budget);
  fields.begin(0.0F, budget);
  for (int index = 0; index < 40 && !input.empty(); ++index) {
    rates.addTime(input.flag() ? index : input.within(0, 0x7ffffffe), input.number());
    fields.addFlags(input.within(0, 1), input.within(0, 1));
  }
  const QA_FrameRate rate = rates.verdict();
  require(rate.passed == (budget > 0 && rate.measuredFps == rate.declaredFps),
          "rates that are equal pass");
  const QA_FieldDominance field = fields.verdict();
  require(field.fieldType == QA_FIELD_TYPE_UNKNOWN || field.frameType == QA_FRAME_TYPE_INTERLACED,
          "only interlaced frames have a first field");
}

void countTransitions(Input& input) {
  TransitionCounter counter(static_cast<float>(input.number()));
  int begun = 0;
  for (int picture = 0; picture < 64 && !input.empty(); ++picture) {
    const float relation = input.value<float>();
    begun += counter.add(std::isnan(relation) ? 0 : levelOf(relation)) ? 1 : 0;
    require(counter.lastJump() >= 0 && counter.lastJump() <= 254, "levels go from 0 to 254");
  }
  require(counter.transitions() == begun, "every change that began counts once");
}

void convert(Input& input) {
  const double value = input.number();
  const int64_t wide = truncateTo<int64_t>(value);
  require(clampToInt(wide) == truncateTo<int>(value), "both ways to an int give the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  for (int step = 0; step < 16 && !input.empty(); ++step) {
    switch (input.within(0, 4)) {
      case 0:
        tellTimecodes(input);
        break;
      case 1:
        boundBudgets(input);
        break;
      case 2:
        measureRates(input);
        break;
      case 3:
        countTransitions(input);
        break;
      default:
        convert(input);
    }
  }
  return 0;
}
