#include "PageReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "CleanText.h"
#include "EventWords.h"
#include "Facts.h"
#include "PageData.h"
#include "PageParts.h"
#include "PagePictures.h"
#include "SeriesReport.h"
#include "Table.h"
#include "tester/QACheck.h"
#include "tester/QAVersion.h"

namespace cli {

namespace {

/// Rows of a check's table of events; the JSON report has all.
constexpr std::size_t kMostRows = 200;
/// Items of a list that is a value.
constexpr std::size_t kMostItems = 12;
/// Bars of a lane that are closer than this share of it are one.
constexpr double kClosestBars = 1.0 / 400;
/// Times at the foot of the timeline.
constexpr int kTicks = 6;

/// Text as HTML has it, between tags and in attributes.
std::string html(std::string_view text) {
  std::string result;
  for (const char byte : cleanText(text, "\t\n")) {
    switch (byte) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += byte;
    }
  }
  return result;
}

std::string inTag(std::string_view tag, std::string_view attributes, const std::string& inner) {
  std::string text = "<";
  text += tag;
  text += attributes.empty() ? "" : " ";
  text += attributes;
  text += ">";
  text += inner;
  text += "</";
  text += tag;
  return text + ">";
}

std::string stateBadge(QAState state) {
  const std::string word = getStateText(state);
  return inTag("span", "class=\"state " + word + "\"", word);
}

/// A pair of a list of facts; nothing where there is none.
std::string fact(std::string_view name, const std::string& value) {
  return value.empty() ? "" : inTag("dt", "", html(name)) + inTag("dd", "", html(value)) + "\n";
}

std::string percentText(double share) {
  const double percent = 100.0 * share;
  return percent > 0.0 && percent < 1.0 ? "under 1 %" : std::to_string(std::lround(percent)) + " %";
}

std::string valueText(double number) {
  if (!std::isfinite(number)) {
    return std::isnan(number) ? "none" : number > 0 ? "infinite" : "-infinite";
  }
  return figureText(number);
}

// Values of a result.

std::string cellOf(const QAValue& value);

std::string recordsTable(const std::vector<QAValues>& records) {
  std::string head;
  std::vector<std::string> keys;
  for (const QAValues& record : records) {
    for (const QAValue& value : record) {
      if (std::find(keys.begin(), keys.end(), value.key) == keys.end()) {
        keys.push_back(value.key);
        const std::string unit = value.unit.empty() ? "" : " [" + value.unit + "]";
        head += inTag("th", "", html(keyInWords(value.key, value.unit) + unit));
      }
    }
  }
  std::string rows = inTag("tr", "", head);
  for (const QAValues& record : records) {
    std::string cells;
    for (const std::string& key : keys) {
      const auto found = std::find_if(record.begin(), record.end(),
                                      [&](const QAValue& value) { return value.key == key; });
      cells += inTag("td", "", found == record.end() ? "" : cellOf(*found));
    }
    rows += inTag("tr", "", cells);
  }
  return inTag("div", "class=scroll", inTag("table", "", rows));
}

template <typename Number>
std::string valuesText(const std::vector<Number>& numbers) {
  std::string text;
  for (std::size_t i = 0; i < std::min(numbers.size(), kMostItems); ++i) {
    text += i > 0 ? ", " : "";
    text += valueText(static_cast<double>(numbers[i]));
  }
  const bool all = numbers.size() <= kMostItems;
  return all ? text : text + ", ... (" + std::to_string(numbers.size()) + " in all)";
}

constexpr const char* kNoValue = "none";

/// As HTML.
std::string cellOf(const QAValue& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, QANothing>) {
          return "";
        } else if constexpr (std::is_same_v<Held, bool>) {
          return held ? "yes" : "no";
        } else if constexpr (std::is_same_v<Held, int64_t>) {
          return std::to_string(held);
        } else if constexpr (std::is_same_v<Held, double>) {
          return html(valueText(held));
        } else if constexpr (std::is_same_v<Held, std::string>) {
          return html(held);
        } else if constexpr (std::is_same_v<Held, std::vector<QAValues>>) {
          return held.empty() ? kNoValue : recordsTable(held);
        } else {
          return held.empty() ? "none" : html(valuesText(held));
        }
      },
      value.value);
}

std::string resultList(const QACheckOutcome& outcome) {
  std::string pairs;
  std::string tables;
  const auto figure = [](const std::string& name, const std::string& value) {
    return inTag("div", "", inTag("dt", "", html(name)) + inTag("dd", "", value)) + "\n";
  };
  for (const QAValue& value : outcome.values) {
    const std::string cell = cellOf(value);
    const std::string words = keyInWords(value.key, value.unit);
    if (std::holds_alternative<std::vector<QAValues>>(value.value)) {
      tables += cell == kNoValue ? "" : inTag("h4", "", html(words)) + cell + "\n";
    } else if (!cell.empty()) {
      const bool hasUnit = !value.unit.empty() && std::holds_alternative<double>(value.value);
      pairs += figure(words, cell + (hasUnit ? " " + html(value.unit) : ""));
    }
  }
  for (const QALimits& limits : outcome.limits) {
    std::string range;
    if (std::isfinite(limits.min) && std::isfinite(limits.max)) {
      range = valueText(limits.min) + " to " + valueText(limits.max);
    } else if (std::isfinite(limits.max)) {
      range = "at most " + valueText(limits.max);
    } else if (std::isfinite(limits.min)) {
      range = "at least " + valueText(limits.min);
    }
    const bool isKey = limits.of != "RGB" && limits.of != "Y";
    pairs += figure("limit of " + (isKey ? keyInWords(limits.of, limits.unit) : limits.of),
                    html(joined(range, " ", limits.unit)));
  }
  return tables + (pairs.empty() ? "" : inTag("dl", "class=figures", "\n" + pairs));
}

/// A page that is being made.
class Page {
 public:
  Page(const FileReport& file, const Demands& demands)
      : file_(file),
        named_(demands.named),
        end_(endOf(file)),
        data_(pageData(file, end_)),
        pictures_(file) {
    for (const QACheckOutcome& outcome : file.checks) {
      if (outcome.state != QAState::notMeasured && isWorthReading(outcome)) {
        ordered_.push_back(&outcome);
      }
    }
    std::stable_sort(ordered_.begin(), ordered_.end(),
                     [](const QACheckOutcome* one, const QACheckOutcome* other) {
                       return rankOf(one->state) < rankOf(other->state);
                     });
  }

  std::string text() {
    const QAState result = resultOf(file_, named_);
    const std::string name = std::filesystem::path(file_.file).filename().string();
    std::string body = header(result, name) + timeline();
    if (!ordered_.empty()) {
      body += inTag("h2", "", "Checks") + "\n";
    }
    for (const QACheckOutcome* outcome : ordered_) {
      body += panel(*outcome);
    }
    // Of a file that cannot be read all has been said.
    body += (file_.error.empty() ? unmeasured() + settings() : "") + footer();
    return head(std::string(getStateText(result)) + ": " + name) + inTag("body", "", "\n" + body) +
           "\n</html>\n";
  }

  /// What both kinds of pages begin with.
  static std::string head(const std::string& title) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src "
           "data:; "
           "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
           "<title>" +
           html(title) + "</title>\n<style>\n" + std::string(pageStyle()) + "</style>\n</head>\n";
  }

 private:
  /// No panel is worth reading that says nothing of the file, unless somebody asked for it.
  bool isWorthReading(const QACheckOutcome& outcome) const {
    const QACheck* check = findCheck(outcome.name);
    return named_ || check == nullptr || check->saysSomething;
  }

  static int rankOf(QAState state) {
    constexpr QAState kOrder[] = {QAState::fail, QAState::warn, QAState::info, QAState::pass};
    return static_cast<int>(std::find(std::begin(kOrder), std::end(kOrder), state) -
                            std::begin(kOrder));
  }

  /// How long the file is: what was found, or else what it declares.
  static double endOf(const FileReport& file) {
    const double found = std::max(file.facts.pictureSeconds, file.facts.soundSeconds);
    const double declared = file.facts.media.durationSeconds.value_or(0.0);
    double end = found > 0.0 ? found : declared;
    end = std::isfinite(end) ? end : 0.0;
    for (const QACheckOutcome& outcome : file.checks) {
      for (const QAEvent& event : outcome.events) {
        const double last = event.endSeconds.value_or(event.startSeconds.value_or(0.0));
        end = std::isfinite(last) ? std::max(end, last) : end;
      }
    }
    return end;
  }

  std::string header(QAState result, const std::string& name) const {
    std::string verdict = stateBadge(result) + "\n" + inTag("h1", "", html(name));
    const std::string blame = blameOf(file_, named_, result);
    verdict += blame.empty() ? "" : "\n" + inTag("p", "", html(blame));
    const QAFileFacts& facts = file_.facts;
    std::string pairs = fact("File", file_.file);
    if (facts.opened) {
      pairs += fact("Media", factsLine(facts.media, file_.file));
    }
    if (facts.pictures > 0 || facts.soundSeconds > 0.0) {
      std::string seen;
      if (facts.pictures > 0) {
        seen = std::to_string(facts.pictures) + " pictures (" + clockText(facts.pictureSeconds, 1) +
               ")";
      }
      if (facts.soundSeconds > 0.0) {
        seen = joined(seen, ", ", "sound " + clockText(facts.soundSeconds, 1));
      }
      pairs +=
          fact("Looked at", (facts.wholeFile ? "the whole file: " : "not the whole file: ") + seen);
    }
    pairs += fact("Profile", file_.profile);
    if (file_.begun) {
      pairs +=
          fact("Tested",
               utcText(*file_.begun) +
                   (file_.seconds
                        ? ", in " + shortNumber(std::round(*file_.seconds * 10.0) / 10.0) + " s"
                        : ""));
    }
    return inTag("header", "",
                 inTag("div", "class=\"verdict " + std::string(getStateText(result)) + "\"",
                       verdict) +
                     "\n" + inTag("dl", "", "\n" + pairs)) +
           "\n";
  }

  // The timeline.

  std::string timeAt(double seconds) const {
    if (file_.series != nullptr) {
      for (const SeriesStore::Kept* kept : file_.series->all()) {
        std::string timecode;
        // Times rise, but a picture may have none.
        for (std::size_t i = 0; i < kept->seconds.size(); ++i) {
          if (kept->seconds[i] && *kept->seconds[i] > seconds + 1e-6) {
            break;
          }
          timecode = kept->seconds[i] ? kept->timecodes[i] : timecode;
        }
        if (!timecode.empty()) {
          return timecode;
        }
      }
    }
    return clockText(seconds, 0);
  }

  std::string timeline() const {
    std::string lanes;
    for (const QACheckOutcome* outcome : ordered_) {
      lanes += lane(*outcome);
    }
    if (lanes.empty() || !(end_ > 0.0)) {
      return "";
    }
    std::string ticks;
    for (int i = 0; i <= kTicks; ++i) {
      const double share = static_cast<double>(i) / kTicks;
      ticks += inTag("span", "style=\"left:" + shareText(share) + "\"", html(timeAt(share * end_)));
    }
    lanes += inTag("div", "class=\"lane scale\"",
                   inTag("b", "", "") + inTag("div", "class=track", ticks));
    return inTag("h2", "", "The programme") + "\n" + inTag("div", "class=timeline", "\n" + lanes) +
           "\n";
  }

  static std::string shareText(double share) {
    return shortNumber(share > 0.0 ? std::min(100.0 * share, 100.0) : 0.0) + "%";
  }

  struct Bar {
    double from;
    double to;
    std::size_t first;
    std::size_t count;
    bool breaks;
  };

  std::vector<Bar> barsOf(const QACheckOutcome& outcome) const {
    std::vector<Bar> bars;
    std::map<bool, std::size_t> last;
    for (std::size_t i = 0; i < outcome.events.size(); ++i) {
      const QAEvent& event = outcome.events[i];
      if (!event.startSeconds || !std::isfinite(*event.startSeconds)) {
        continue;
      }
      const double from = *event.startSeconds;
      const double to = std::max(from, event.endSeconds.value_or(from));
      const auto known = last.find(event.breaks);
      if (known != last.end() && from - bars[known->second].to <= end_ * kClosestBars) {
        Bar& bar = bars[known->second];
        bar.to = std::max(bar.to, to);
        ++bar.count;
      } else {
        last[event.breaks] = bars.size();
        bars.push_back({from, to, i, 1, event.breaks});
      }
    }
    return bars;
  }

  std::string lane(const QACheckOutcome& outcome) const {
    const std::vector<Bar> bars = barsOf(outcome);
    if (bars.empty()) {
      return "";
    }
    const std::vector<std::size_t> listed = listedEvents(outcome);
    std::string track;
    for (const Bar& bar : bars) {
      const auto row = std::lower_bound(listed.begin(), listed.end(), bar.first);
      const bool hasRow = row != listed.end() && *row < bar.first + bar.count;
      const std::string target = hasRow ? eventId(outcome, *row) : panelId(outcome);
      const std::string what = eventLine(outcome.events[bar.first], outcome) +
                               (bar.count > 1 ? "; " + std::to_string(bar.count) + " events" : "");
      track += inTag("a",
                     "href=\"#" + html(target) + "\"" + (bar.breaks ? " class=breaks" : "") +
                         " style=\"left:" + shareText(bar.from / end_) +
                         ";width:" + shareText((bar.to - bar.from) / end_) + "\" title=\"" +
                         html(what) + "\" aria-label=\"" + html(outcome.name + ": " + what) + "\"",
                     "");
    }
    return inTag("div", "class=\"lane " + std::string(getStateText(outcome.state)) + "\"",
                 inTag("a", "href=\"#" + html(panelId(outcome)) + "\"", html(outcome.name)) +
                     inTag("div", "class=track", track)) +
           "\n";
  }

  // A check.

  static std::string panelId(const QACheckOutcome& outcome) { return "check-" + outcome.name; }
  static std::string eventId(const QACheckOutcome& outcome, std::size_t number) {
    return outcome.name + "-" + std::to_string(number + 1);
  }

  /// What share of the file it saw.
  std::string shareSeen(const QACheckOutcome& outcome) const {
    const QACheck* check = findCheck(outcome.name);
    const QAFileFacts& facts = file_.facts;
    if (check == nullptr) {
      return "";
    }
    if (check->family == QAFamily::programme) {
      return check->needs == QANeeds::nothing || check->needs == QANeeds::container ? ""
             : facts.wholeFile ? "the whole file"
                               : "not the whole file";
    }
    if (check->needs == QANeeds::sound && outcome.endSeconds > outcome.startSeconds) {
      std::string text = "sound from " + shortNumber(outcome.startSeconds) + " s to " +
                         shortNumber(outcome.endSeconds) + " s";
      if (facts.soundSeconds > 0.0) {
        text += ", " +
                percentText((outcome.endSeconds - outcome.startSeconds) / facts.soundSeconds) +
                " of it";
      }
      return text;
    }
    if (outcome.count > 0 && check->needs == QANeeds::pictures) {
      std::string text = std::to_string(outcome.count) + " pictures";
      if (facts.pictures > 0) {
        text +=
            " of " + std::to_string(facts.pictures) + ", " +
            percentText(static_cast<double>(outcome.count) / static_cast<double>(facts.pictures));
      }
      return text;
    }
    return "";
  }

  std::string panel(const QACheckOutcome& outcome) {
    const QACheck* check = findCheck(outcome.name);
    const bool judged = outcome.state == QAState::fail || outcome.state == QAState::warn;
    const std::string plots = charts(outcome);
    const bool isOfProgramme = check != nullptr && check->family == QAFamily::programme;
    const bool isOpen =
        judged || (outcome.state == QAState::info && isOfProgramme && !plots.empty());
    std::string inner;
    if (check != nullptr) {
      const std::string seen = joined("Saw ", "", shareSeen(outcome));
      const std::string severity = getSeverityText(outcome.severity);
      inner +=
          inTag("p", "class=soft",
                html(std::string(check->question) + (seen == "Saw " ? "" : " " + seen + ".") +
                     (severity == "info" ? " Judges nothing." : " Counts as " + severity + ".") +
                     (outcome.reason.empty() ? "" : " Left out: " + outcome.reason + "."))) +
          "\n";
    }
    inner += plots + eventTable(outcome) + displays(outcome) + resultList(outcome);
    const std::string said =
        joined(outcome.summary, "; ", outcome.summary.empty() ? outcome.reason : "");
    return inTag("details",
                 "class=\"check " + std::string(getStateText(outcome.state)) + "\" id=\"" +
                     html(panelId(outcome)) + "\"" + (isOpen ? " open" : ""),
                 inTag("summary", "",
                       stateBadge(outcome.state) + inTag("b", "", html(outcome.name)) +
                           inTag("span", "class=said", html(said))) +
                     inTag("div", "", inner)) +
           "\n";
  }

  std::string charts(const QACheckOutcome& outcome) const {
    std::string figures;
    for (std::size_t i = 0; i < data_.charts.size(); ++i) {
      const PageChart& chart = data_.charts[i];
      if (chart.check != outcome.name) {
        continue;
      }
      std::string keys;
      std::string names;
      for (std::size_t k = 0; k < chart.names.size(); ++k) {
        keys += inTag("span", "class=key style=\"--colour:var(--c" + std::to_string(k % 8) + ")\"",
                      html(chart.names[k]) + inTag("output", "", ""));
        names = joined(names, ", ", chart.names[k]);
      }
      const std::string of =
          joined(chart.part, ": ", names) + (chart.unit.empty() ? "" : " in " + chart.unit);
      std::string caption = inTag(
          "b", "", html(joined(chart.part, " ", chart.unit.empty() ? "" : "[" + chart.unit + "]")));
      figures +=
          inTag("figure", "data-chart=" + std::to_string(i),
                inTag("figcaption", "", caption + keys + inTag("span", "class=reading", "")) +
                    inTag("div", "class=plot",
                          inTag("canvas",
                                "tabindex=0 role=img aria-label=\"" +
                                    html(outcome.name + ": " + of +
                                         " over time; arrow keys read values") +
                                    "\"",
                                ""))) +
          "\n";
    }
    return figures.empty() ? "" : inTag("div", "class=charts", "\n" + figures) + "\n";
  }

  /// The numbers of the events that have rows: those that break limits go before, then the worst.
  static std::vector<std::size_t> listedEvents(const QACheckOutcome& outcome) {
    std::vector<std::size_t> numbers(outcome.events.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = i;
    }
    if (numbers.size() > kMostRows) {
      std::stable_sort(numbers.begin(), numbers.end(), [&](std::size_t one, std::size_t other) {
        const QAEvent& a = outcome.events[one];
        const QAEvent& b = outcome.events[other];
        return a.breaks != b.breaks ? a.breaks : getEventWeight(a) > getEventWeight(b);
      });
      numbers.resize(kMostRows);
      std::sort(numbers.begin(), numbers.end());
    }
    return numbers;
  }

  std::string pictureButton(const QADisplayPicture& picture, const std::string& caption) {
    return inTag("button", "type=button class=picture title=\"" + html(caption) + "\"",
                 "<img alt=\"" + html(caption) + "\" src=\"" + dataUri(picture) + "\">");
  }

  static const char* weightOf(const QAEvent& event, const QACheckOutcome& outcome) {
    const bool judged = outcome.state == QAState::fail || outcome.state == QAState::warn;
    return !event.breaks ? "reported only" : judged ? "breaks the limit" : "beyond, not judged";
  }

  std::string eventTable(const QACheckOutcome& outcome) {
    if (outcome.events.empty()) {
      return "";
    }
    const std::vector<std::size_t> listed = listedEvents(outcome);
    std::string rows;
    bool hasPictures = false;
    for (const std::size_t number : listed) {
      const QAEvent& event = outcome.events[number];
      std::string shown;
      for (const QADisplayPicture* picture : pictures_.of(outcome, number)) {
        shown += pictureButton(*picture, outcome.name + ", " + eventLine(event, outcome) +
                                             ", picture " + std::to_string(picture->index));
        hasPictures = true;
      }
      const std::string from = placeOf(event);
      const std::string line = eventLine(event, outcome);
      std::string attributes = "id=\"" + html(eventId(outcome, number)) + "\" tabindex=-1";
      if (event.startSeconds) {
        attributes += " data-start=" + shortNumber(*event.startSeconds) +
                      " data-end=" + shortNumber(event.endSeconds.value_or(*event.startSeconds));
      }
      std::string where = line;
      const std::string words = eventWords(event, outcome);
      where.resize(where.size() - std::min(where.size(), words.size()));
      rows +=
          inTag("tr", attributes,
                inTag("td", "class=time", html(where)) + inTag("td", "class=wide", html(words)) +
                    inTag("td", "class=soft", weightOf(event, outcome)) + inTag("td", "", shown)) +
          "\n";
    }
    const std::string head =
        inTag("tr", "",
              inTag("th", "", "Where") + inTag("th", "", "What") + inTag("th", "", "") +
                  inTag("th", "", hasPictures ? "Picture" : ""));
    std::string title =
        std::to_string(outcome.eventCount) + (outcome.eventCount == 1 ? " event" : " events");
    if (static_cast<int64_t>(listed.size()) < outcome.eventCount) {
      title += ", the worst " + std::to_string(listed.size()) + " listed";
    }
    return inTag("div", "class=cut",
                 inTag("h4", "", title) +
                     inTag("div", "class=scroll", inTag("table", "", head + "\n" + rows))) +
           "\n";
  }

  /// Displays that are of no event.
  std::string displays(const QACheckOutcome& outcome) {
    std::string figures;
    for (const QADisplayPicture* picture : pictures_.displaysOf(outcome)) {
      const QACheck* check = findCheck(outcome.name);
      const bool isOfSound = check != nullptr && check->needs == QANeeds::sound;
      const std::string caption = picture->display + ", after " +
                                  std::to_string(int64_t{picture->index} + 1) +
                                  (isOfSound ? " blocks" : " pictures");
      figures += inTag("figure", "",
                       pictureButton(*picture, caption) + inTag("figcaption", "", html(caption)));
    }
    return figures.empty()
               ? ""
               : inTag("div", "class=cut",
                       inTag("h4", "", "Displays") + inTag("div", "class=pictures", figures)) +
                     "\n";
  }

  std::string unmeasured() const {
    std::vector<std::pair<std::string, std::string>> reasons;
    for (const QACheckOutcome& outcome : file_.checks) {
      if (outcome.state != QAState::notMeasured || !isWorthReading(outcome)) {
        continue;
      }
      const std::string name =
          isMissed(outcome, named_) ? outcome.name + " (should have been)" : outcome.name;
      auto found = std::find_if(reasons.begin(), reasons.end(),
                                [&](const auto& known) { return known.first == outcome.reason; });
      if (found == reasons.end()) {
        found = reasons.insert(reasons.end(), {outcome.reason, ""});
      }
      found->second = joined(found->second, ", ", name);
    }
    std::string pairs;
    for (const auto& [reason, names] : reasons) {
      pairs += fact(reason, names);
    }
    return pairs.empty() ? ""
                         : inTag("h2", "", "Not measured") + "\n" + inTag("dl", "", pairs) + "\n";
  }

  std::string settings() const {
    std::string rows;
    std::size_t changed = 0;
    for (const FileReport::Setting& setting : file_.settings) {
      const std::string value =
          joined(setting.value.empty() ? "any" : setting.value, " ", setting.row->unit);
      const std::string preset = setting.row->defaultValue;
      const bool isOther = !setting.isDefault;
      changed += isOther ? 1 : 0;
      rows += inTag("tr", "",
                    inTag("td", "", html(setting.check)) + inTag("td", "", html(setting.row->key)) +
                        inTag("td", "", isOther ? inTag("b", "", html(value)) : html(value)) +
                        inTag("td", "class=soft",
                              isOther ? "default " + html(preset.empty() ? "any" : preset) : "") +
                        inTag("td", "class=\"soft wide\"", html(setting.row->meaning))) +
              "\n";
    }
    if (rows.empty()) {
      return "";
    }
    const std::string head =
        inTag("tr", "",
              inTag("th", "", "Check") + inTag("th", "", "Setting") + inTag("th", "", "In effect") +
                  inTag("th", "", "") + inTag("th", "", "Meaning"));
    return inTag("h2", "", "Settings") + "\n" +
           inTag("details", "class=check",
                 inTag("summary", "",
                       inTag("span", "class=said",
                             std::to_string(file_.settings.size()) + " in effect, " +
                                 std::to_string(changed) + " of them not the default")) +
                     inTag("div", "class=scroll", inTag("table", "", head + "\n" + rows))) +
           "\n";
  }

  std::string footer() {
    std::string text = inTag("footer", "",
                             html("qatester " + std::string(getQATesterVersion()) + ", " +
                                  utcText(std::time(nullptr)))) +
                       "\n";
    text +=
        "<dialog aria-label=\"picture\"><img alt=\"\" src=\"data:,\"><p><button type=button "
        "class=before>Previous</button>"
        "<span></span><button type=button class=after>Next</button>"
        "<button type=button class=close>Close</button></p></dialog>\n";
    text += inTag("script", "type=\"application/json\" id=data", data_.json) + "\n";
    if (!data_.charts.empty()) {
      text += inTag("script", "", std::string(plottingLibrary())) + "\n";
    }
    return text + inTag("script", "", std::string(pageScript())) + "\n";
  }

  const FileReport& file_;
  bool named_;
  double end_;
  PageData data_;
  PagePictures pictures_;
  std::vector<const QACheckOutcome*> ordered_;  ///< the worst first
};

/// A name as a link has it.
std::string linkTo(const std::string& name) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string link;
  for (const char byte : name) {
    const auto code = static_cast<unsigned char>(byte);
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') || byte == '-' || byte == '_' || byte == '.';
    if (plain) {
      link += byte;
    } else {
      link += '%';
      link += kDigits[code >> 4U];
      link += kDigits[code & 15U];
    }
  }
  return link;
}

}  // namespace

std::string pageText(const FileReport& file, const Demands& demands) {
  return Page(file, demands).text();
}

std::string pageIndexText(const std::vector<PageLink>& links, const Demands& demands) {
  constexpr QAState kOrder[] = {QAState::fail, QAState::notMeasured, QAState::warn, QAState::info,
                                QAState::pass};
  const auto rankOf = [&](const PageLink& link) {
    const QAState result = resultOf(*link.file, demands.named);
    return std::find(std::begin(kOrder), std::end(kOrder), result) - std::begin(kOrder);
  };
  std::vector<std::string> names;
  for (const PageLink& link : links) {
    names.push_back(link.file->file);
  }
  const std::size_t common = names.empty() ? 0 : commonFolder(names).size();
  std::vector<PageLink> ordered = links;
  std::stable_sort(ordered.begin(), ordered.end(), [&](const PageLink& one, const PageLink& other) {
    return rankOf(one) < rankOf(other);
  });
  std::map<QAState, int> counts;
  std::string rows = inTag("tr", "",
                           inTag("th", "", "") + inTag("th", "", "File") + inTag("th", "", "Why") +
                               inTag("th", "", "Length"));
  for (const PageLink& link : ordered) {
    const QAState result = resultOf(*link.file, demands.named);
    ++counts[result];
    const std::string name = html(link.file->file.substr(common));
    const auto& duration = link.file->facts.media.durationSeconds;
    rows += "\n" + inTag("tr", "",
                         inTag("td", "", stateBadge(result)) +
                             inTag("td", "class=wide",
                                   link.page.empty()
                                       ? name
                                       : inTag("a", "href=\"" + linkTo(link.page) + "\"", name)) +
                             inTag("td", "", html(blameOf(*link.file, demands.named, result))) +
                             inTag("td", "class=number", duration ? clockText(*duration, 0) : ""));
  }
  std::string summary = std::to_string(links.size()) + (links.size() == 1 ? " file" : " files");
  for (const QAState state : kOrder) {
    if (counts[state] > 0) {
      summary += ", " + std::to_string(counts[state]) + " " + getStateText(state);
    }
  }
  return Page::head(summary) +
         inTag("body", "",
               "\n" + inTag("h1", "", html(summary)) + "\n" +
                   inTag("div", "class=scroll", inTag("table", "", rows)) + "\n" +
                   inTag("footer", "",
                         html("qatester " + std::string(getQATesterVersion()) + ", " +
                              utcText(std::time(nullptr)))) +
                   "\n") +
         "\n</html>\n";
}

}  // namespace cli
