#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/Values.h"
#include "tester/QACheckOutcome.h"

namespace qatest {

inline std::string textOf(const std::optional<double>& number) {
  return number ? exactly(*number) : "-";
}

template <typename Whole>
std::string textOfWhole(const std::optional<Whole>& number) {
  return number ? std::to_string(*number) : "-";
}

inline std::string textOf(const QAEvent& event) {
  return event.what + " " + textOf(event.startSeconds) + " " + textOf(event.endSeconds) + " " +
         textOfWhole(event.startFrame) + " " + textOfWhole(event.endFrame) + " " +
         event.startTimecode + " " + event.endTimecode + " " + textOf(event.worstSeconds) + " " +
         textOfWhole(event.worstFrame) + " " + textOf(event.value) + " " + textOf(event.limit) +
         event.unit + (event.breaks ? " breaks " : " ") + textOfWhole(event.stream) + " " +
         textOfWhole(event.channel);
}

/// Everything in an outcome but the time that it took and the exception, if there was one: two runs
/// went the same way if their texts are equal.
inline std::string textOf(const QACheckOutcome& outcome) {
  std::string text = outcome.name + " (" + outcome.tag + "): " + getStateText(outcome.state) +
                     "\nvalues: " + textOf(outcome.values) + "\nsummary: " + outcome.summary +
                     "\nreason: " + outcome.reason + (outcome.reasonIsOfFile ? " (of file)" : "");
  for (const QALimits& one : outcome.limits) {
    text +=
        "\nlimits of " + one.of + ": " + exactly(one.min) + " to " + exactly(one.max) + one.unit;
  }
  for (const QAEvent& event : outcome.events) {
    text += "\nevent: " + textOf(event);
  }
  for (const bool flag :
       {outcome.opened, outcome.began, outcome.measured, outcome.stopped, outcome.reachedEnd}) {
    text += flag ? "\nyes" : "\nno";
  }
  text += "\n" + std::to_string(outcome.count) + " of " + std::to_string(outcome.budget) +
          ", from " + exactly(outcome.startSeconds) + " to " + exactly(outcome.endSeconds);
  for (const std::string& message : outcome.messages) {
    text += "\nmessage: " + message;
  }
  text += "\nfailures: " + std::to_string(outcome.failures) + "\nprogress:";
  for (const int percent : outcome.progress) {
    text += " " + std::to_string(percent);
  }
  return text + "\n";
}

inline std::vector<std::string> textsOf(const std::vector<QACheckOutcome>& outcomes) {
  std::vector<std::string> texts;
  for (const QACheckOutcome& outcome : outcomes) {
    texts.push_back(textOf(outcome));
  }
  return texts;
}

}  // namespace qatest
