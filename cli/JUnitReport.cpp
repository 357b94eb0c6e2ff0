#include "JUnitReport.h"

#include <cmath>
#include <cstdio>
#include <new>
#include <pugixml.hpp>

#include "CleanText.h"
#include "EventWords.h"
#include "Facts.h"
#include "tester/QACheck.h"
#include "tester/QAVersion.h"

namespace cli {

namespace {

/// Of a check. The JSON report has all.
constexpr std::size_t kMostListed = 20;

/// What was added, which fails for want of memory only.
template <typename Handle>
Handle checked(Handle added) {
  if (!added) {
    throw std::bad_alloc();
  }
  return added;
}

pugi::xml_node addNode(pugi::xml_node parent, const char* name) {
  return checked(parent.append_child(name));
}

std::string xmlText(const std::string& text) {
  return cleanText(text, "\t\n");
}

void addAttribute(pugi::xml_node node, const char* name, const std::string& value) {
  checked(checked(node.append_attribute(name)).set_value(xmlText(value).c_str()));
}

void addText(pugi::xml_node node, const std::string& text) {
  checked(checked(node.append_child(pugi::node_pcdata)).set_value(xmlText(text).c_str()));
}

void addProperty(pugi::xml_node properties, const std::string& name, const std::string& value) {
  if (!value.empty()) {
    const pugi::xml_node property = addNode(properties, "property");
    addAttribute(property, "name", name);
    addAttribute(property, "value", value);
  }
}

std::string secondsText(double seconds) {
  constexpr double kMost = 1e12;
  const bool isTime = seconds >= 0.0 && seconds < kMost;
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", isTime ? seconds : 0.0);
  return text;
}

/// Its date without a zone, as the dialect has it.
std::string timestampText(std::time_t time) {
  const std::string text = utcText(time);
  return text.substr(0, text.find('Z'));
}

struct Counts {
  int tests = 0;
  int failures = 0;
  int errors = 0;
  int skipped = 0;
  double seconds = 0.0;

  void add(const Counts& more) {
    tests += more.tests;
    failures += more.failures;
    errors += more.errors;
    skipped += more.skipped;
    seconds += more.seconds;
  }

  void writeTo(pugi::xml_node node) const {
    addAttribute(node, "tests", std::to_string(tests));
    addAttribute(node, "failures", std::to_string(failures));
    addAttribute(node, "errors", std::to_string(errors));
  }
};

class Suite {
 public:
  Suite(pugi::xml_node node, const FileReport& file, const Demands& demands)
      : node_(node), file_(file), demands_(demands) {}

  Counts write() {
    addAttribute(node_, "name", file_.file);
    addProperties();
    if (file_.error.empty()) {
      for (const QACheckOutcome& outcome : file_.checks) {
        addCheck(outcome);
      }
    } else {
      ++counts_.tests;
      const pugi::xml_node opening = addCase("open", "", 0.0);
      addError(opening, "unreadable", file_.error);
    }
    counts_.seconds = file_.seconds.value_or(counts_.seconds);
    counts_.writeTo(node_);
    addAttribute(node_, "skipped", std::to_string(counts_.skipped));
    addAttribute(node_, "time", secondsText(counts_.seconds));
    if (file_.begun) {
      addAttribute(node_, "timestamp", timestampText(*file_.begun));
    }
    return counts_;
  }

 private:
  void addProperties() {
    const pugi::xml_node properties = addNode(node_, "properties");
    addProperty(properties, "qatester", getQATesterVersion());
    addProperty(properties, "verdict", getStateText(getVerdict(file_.checks)));
    addProperty(properties, "profile", file_.profile);
    const QAFileFacts& facts = file_.facts;
    if (facts.opened) {
      addProperty(properties, "media", factsLine(facts.media, file_.file));
      addProperty(properties, "container", facts.media.container);
      if (facts.media.durationSeconds) {
        addProperty(properties, "duration", secondsText(*facts.media.durationSeconds));
      }
      addProperty(properties, "startTimecode", facts.media.startTimecode);
      addProperty(properties, "pictures", std::to_string(facts.pictures));
      addProperty(properties, "pictureSeconds", secondsText(facts.pictureSeconds));
      addProperty(properties, "soundSeconds", secondsText(facts.soundSeconds));
      addProperty(properties, "wholeFile", facts.wholeFile ? "true" : "false");
    }
    for (const QACheckOutcome& outcome : file_.checks) {
      // As in a settings file.
      addProperty(properties, "Severity." + outcome.name, getSeverityText(outcome.severity));
    }
  }

  pugi::xml_node addCase(const std::string& name, const std::string& family, double seconds) {
    const pugi::xml_node node = addNode(node_, "testcase");
    addAttribute(node, "classname", joined("qatester", ".", family));
    addAttribute(node, "name", name);
    addAttribute(node, "time", secondsText(seconds));
    return node;
  }

  void addCheck(const QACheckOutcome& outcome) {
    ++counts_.tests;
    counts_.seconds += outcome.seconds;
    const QACheck* check = findCheck(outcome.name);
    const pugi::xml_node node = addCase(
        outcome.name, check != nullptr ? getFamilyText(check->family) : "", outcome.seconds);
    const bool warningFails = demands_.warningsFail && outcome.state == QAState::warn;
    if (isTrouble(outcome, file_, demands_.named)) {
      addError(node, outcome.error != nullptr ? "error" : "not-measured", outcome.reason);
    } else if (outcome.state == QAState::notMeasured) {
      ++counts_.skipped;
      addAttribute(addNode(node, "skipped"), "message", outcome.reason);
    } else if (outcome.state == QAState::fail || warningFails) {
      ++counts_.failures;
      const pugi::xml_node failure = addNode(node, "failure");
      addAttribute(failure, "type", getStateText(outcome.state));
      addAttribute(failure, "message", joined(outcome.summary, "; ", outcome.reason));
      addText(failure, wordsOf(outcome));
    } else {
      addText(addNode(node, "system-out"), wordsOf(outcome));
    }
  }

  void addError(pugi::xml_node node, const char* type, const std::string& message) {
    ++counts_.errors;
    const pugi::xml_node error = addNode(node, "error");
    addAttribute(error, "type", type);
    addAttribute(error, "message", message);
  }

  /// The state and the summary; of what did not pass, the events below.
  static std::string wordsOf(const QACheckOutcome& outcome) {
    std::string text =
        joined(getStateText(outcome.state), ": ", joined(outcome.summary, "; ", outcome.reason));
    if (outcome.state != QAState::fail && outcome.state != QAState::warn) {
      return text;
    }
    const BreakingEvents breaking = breakingEvents(outcome, kMostListed, false);
    for (const std::string& line : breaking.lines) {
      text.append(1, '\n').append(line);
    }
    return breaking.more.empty() ? text : text.append("\nand ").append(breaking.more);
  }

  pugi::xml_node node_;
  const FileReport& file_;
  const Demands& demands_;
  Counts counts_;
};

struct TextWriter : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

}  // namespace

std::string junitText(const std::vector<FileReport>& files, const Demands& demands) {
  pugi::xml_document document;
  const pugi::xml_node declaration = checked(document.append_child(pugi::node_declaration));
  addAttribute(declaration, "version", "1.0");
  addAttribute(declaration, "encoding", "UTF-8");
  const pugi::xml_node root = addNode(document, "testsuites");
  addAttribute(root, "name", "qatester");
  Counts all;
  for (const FileReport& file : files) {
    all.add(Suite(addNode(root, "testsuite"), file, demands).write());
  }
  all.writeTo(root);
  addAttribute(root, "time", secondsText(all.seconds));
  TextWriter writer;
  document.save(writer, "  ");
  return std::move(writer.text);
}

}  // namespace cli
