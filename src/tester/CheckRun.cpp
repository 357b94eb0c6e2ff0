#include "tester/CheckRun.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "media/OxWrap.h"
#include "tester/Reasons.h"

namespace qatester {

CheckRun::CheckRun(const CheckContext& context, const CheckProfile& profile)
    : context_(context), check_(profile) {
  outcome_.name = profile.name;
  outcome_.tag = profile.tag;
}

void CheckRun::begin() {
  log(check_.beginning);
}

void CheckRun::answer(OxWrap*, Buffering&) {}

void CheckRun::setSeries(const ProgrammeFacts& facts, double startSeconds) {
  series_ = SeriesMaker(context_.classicSeries, check_.name, facts);
  startSeconds_ = startSeconds;
}

void CheckRun::refuseUnopened(OxWrap& wrap) {
  log("Failed to load file...");
  refuse(unopenedReason(wrap));
}

void CheckRun::refuse(const std::string& reason, bool ofFile) {
  outcome_.reason = reason;
  outcome_.reasonIsOfFile = ofFile;
  end();
}

void CheckRun::lose(const std::string& reason, std::exception_ptr error) {
  ended_ = true;
  outcome_.began = outcome_.measured = false;
  outcome_.count = outcome_.budget = 0;
  outcome_.stopped = context_.stopped();
  outcome_.error = std::move(error);
  outcome_.events.clear();
  describe();
  outcome_.state = QAState::notMeasured;
  outcome_.summary.clear();
  outcome_.reasonIsOfFile = false;
  outcome_.reason = reason;
}

void CheckRun::closeAfterException() const {
  if (outcome_.began && check_.closesWindows) {
    context_.displays.close();
  }
}

void CheckRun::advance(int index, int budget) {
  // Single precision throughout, required: at a budget of 100 it leaves out 53 and 59.
  const int percent =
      static_cast<int>(static_cast<float>(index) / static_cast<float>(budget) * 100.0F);
  if (percent == lastPercent_ || check_.progress == nullptr) {
    return;
  }
  if (context_.listener != nullptr) {
    (context_.listener->*check_.progress)(static_cast<float>(percent));
  }
  lastPercent_ = percent;
  outcome_.progress.push_back(percent);
}

void CheckRun::finish(Buffering& buffering) {
  if (check_.logsBuffering) {
    context_.log(std::string(check_.stopTag != nullptr ? check_.stopTag : check_.tag) +
                 ": Stopping Test...");
  }
  buffering.stop();
  if (check_.closesWindows) {
    context_.displays.close();
  }
  conclude();
  if (check_.complete != nullptr) {
    log(check_.complete);
  }
  end();
}

void CheckRun::end() {
  context_.displays.handOut();
  outcome_.stopped = context_.stopped();
  describe();
  outcome_.eventCount = std::max(outcome_.eventCount, static_cast<int64_t>(outcome_.events.size()));
  settleState();
  ended_ = true;
}

void CheckRun::settleState() {
  const bool cutShort = outcome_.stopped && outcome_.count < outcome_.budget;
  if (outcome_.count > 0 && cutShort) {
    outcome_.reason = "stopped before the check was complete";
  }
  if (!hasAnswer()) {
    outcome_.summary.clear();
    if (outcome_.reason.empty()) {
      outcome_.reason = reasonForNothing();
    }
  }
  if (!hasAnswer() || cutShort) {
    outcome_.state = QAState::notMeasured;
  }
}

void CheckRun::messageWhole(const std::string& text) {
  outcome_.messages.push_back(text);
  context_.message(text);
}

void CheckRun::failure() {
  ++outcome_.failures;
  context_.failure();
}

std::string CheckRun::line(const std::string& text) const {
  return check_.tag + std::string(": ") + text;
}

}  // namespace qatester
