#include "PageData.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include "Report.h"
#include "SeriesReport.h"
#include "ThinSeries.h"

namespace cli {

namespace {

/// Points that a plot has, each with a lowest and a highest value.
constexpr std::size_t kMostPoints = 600;
constexpr int kPlotDigits = 5;
constexpr int kTimeDigits = 9;
/// Bands in a plot that are closer than this share of it are one.
constexpr double kClosestBands = 1.0 / 1000;

std::string jsonNumber(double number, int digits) {
  if (!std::isfinite(number)) {
    return "null";
  }
  char text[64];
  const auto end =
      std::to_chars(std::begin(text), std::end(text), number, std::chars_format::general, digits);
  return {text, end.ptr};
}

std::string jsonList(const std::vector<double>& numbers, int digits) {
  std::string text = "[";
  for (const double number : numbers) {
    text += text.size() > 1 ? "," : "";
    text += jsonNumber(number, digits);
  }
  return text + "]";
}

std::string jsonOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string inJsonBrackets(const char* open, const std::string& text, const char* close) {
  std::string result = open;
  result += text;
  return result + close;
}

/// A field of an object, whose name needs no escapes; with a comma first: another one.
void addField(std::string& json, std::string_view name, const std::string& value) {
  if (name.starts_with(',')) {
    json += ",\n";
    name.remove_prefix(1);
  }
  json += '"';
  json += name;
  json += "\":";
  json += value;
}

/// Curves of one plot, and the text of each.
struct Curves {
  PageChart chart;
  std::string json;
  std::vector<std::string> keys;
};

std::string nameOf(const QASeriesColumn& column) {
  const std::string words = keyInWords(column.key, column.unit);
  return column.channel.empty() ? words : words + " " + column.channel;
}

std::vector<Curves> curvesOf(const SeriesStore::Kept& kept, const ThinSeries& thin) {
  std::vector<Curves> all;
  for (std::size_t i = 0; i < kept.series.columns.size(); ++i) {
    const QASeriesColumn& column = kept.series.columns[i];
    auto its = std::find_if(all.begin(), all.end(),
                            [&](const Curves& curves) { return curves.chart.unit == column.unit; });
    if (its == all.end()) {
      its = all.insert(all.end(),
                       Curves{{kept.series.check, kept.series.part, column.unit, {}}, {}, {}});
    }
    its->chart.names.push_back(nameOf(column));
    its->keys.push_back(column.key);
    const ThinColumn& values = thin.columns[i];
    const std::string lowest = jsonList(values.lowest, kPlotDigits);
    const std::string highest = jsonList(values.highest, kPlotDigits);
    its->json += its->json.empty() ? "{" : ",{";
    addField(its->json, "name", jsonOf(its->chart.names.back()));
    addField(its->json, ",unit", jsonOf(column.unit));
    addField(its->json, ",lo", lowest);
    if (highest != lowest) {
      addField(its->json, ",hi", highest);
    }
    its->json += "}";
  }
  return all;
}

/// Limits of what a plot shows: of one of its figures, or of anything in its unit.
std::vector<double> limitsOf(const FileReport& file, const Curves& curves) {
  std::vector<double> found;
  for (const QACheckOutcome& outcome : file.checks) {
    if (outcome.name != curves.chart.check) {
      continue;
    }
    for (const QALimits& limits : outcome.limits) {
      const bool isOfFigure =
          std::find(curves.keys.begin(), curves.keys.end(), limits.of) != curves.keys.end();
      const bool isOfUnit = !limits.unit.empty() && limits.unit == curves.chart.unit;
      for (const double limit : {limits.min, limits.max}) {
        if ((isOfFigure || isOfUnit) && std::isfinite(limit)) {
          found.push_back(limit);
        }
      }
    }
  }
  return found;
}

/// How a band is coloured: 0 when nothing is broken, 1 for a warning, 2 for a failure.
int kindOf(const QACheckOutcome& outcome, const QAEvent& event) {
  if (!event.breaks) {
    return 0;
  }
  return outcome.state == QAState::fail ? 2 : outcome.state == QAState::warn ? 1 : 0;
}

/// Bands of a check's events, those that a screen cannot tell apart as one.
std::string bandsText(const QACheckOutcome& outcome, double end) {
  struct Band {
    double from;
    double to;
  };
  std::map<int, Band> open;
  std::string text;
  const auto add = [&](const Band& band, int kind) {
    text += text.empty() ? "" : ",";
    text += jsonList({band.from, band.to, static_cast<double>(kind)}, kTimeDigits);
  };
  for (const QAEvent& event : outcome.events) {
    if (!event.startSeconds) {
      continue;
    }
    const int kind = kindOf(outcome, event);
    const double from = *event.startSeconds;
    const double to = std::max(from, event.endSeconds.value_or(from));
    const auto [its, isNew] = open.try_emplace(kind, Band{from, to});
    if (isNew) {
      continue;
    }
    if (from - its->second.to <= end * kClosestBands) {
      its->second.to = std::max(its->second.to, to);
    } else {
      add(its->second, kind);
      its->second = {from, to};
    }
  }
  for (const auto& [kind, band] : open) {
    add(band, kind);
  }
  return text;
}

std::string axisText(const ThinSeries& thin) {
  std::string text = "{";
  addField(text, "t", jsonList(thin.seconds, kTimeDigits));
  const bool hasTimecodes =
      std::any_of(thin.timecodes.begin(), thin.timecodes.end(),
                  [](const std::string& timecode) { return !timecode.empty(); });
  if (hasTimecodes) {
    addField(text, ",tc", jsonOf(thin.timecodes));
  }
  return text + "}";
}

}  // namespace

PageData pageData(const FileReport& file, double end) {
  PageData data;
  std::vector<std::string> axes;
  std::string charts;
  if (file.series != nullptr) {
    for (const SeriesStore::Kept* kept : file.series->all()) {
      const ThinSeries thin = thinned(*kept, end, kMostPoints);
      if (thin.seconds.empty()) {
        continue;
      }
      const std::string axis = axisText(thin);
      const auto place = std::find(axes.begin(), axes.end(), axis);
      const auto number = std::to_string(place - axes.begin());
      if (place == axes.end()) {
        axes.push_back(axis);
      }
      for (Curves& curves : curvesOf(*kept, thin)) {
        charts += charts.empty() ? "{" : ",\n{";
        addField(charts, "check", jsonOf(curves.chart.check));
        addField(charts, ",axis", number);
        addField(charts, ",limits", jsonList(limitsOf(file, curves), kPlotDigits));
        addField(charts, ",columns", inJsonBrackets("[", curves.json, "]"));
        charts += "}";
        data.charts.push_back(std::move(curves.chart));
      }
    }
  }
  std::string events;
  for (const QACheckOutcome& outcome : file.checks) {
    const std::string bands = bandsText(outcome, end);
    if (!bands.empty()) {
      events += events.empty() ? "" : ",\n";
      addField(events, outcome.name, inJsonBrackets("[", bands, "]"));
    }
  }
  std::string joinedAxes;
  for (const std::string& axis : axes) {
    joinedAxes += joinedAxes.empty() ? "" : ",\n";
    joinedAxes += axis;
  }
  std::string json = "{";
  addField(json, "end", jsonNumber(end, kTimeDigits));
  addField(json, ",axes", inJsonBrackets("[", joinedAxes, "]"));
  addField(json, ",charts", inJsonBrackets("[", charts, "]"));
  addField(json, ",events", inJsonBrackets("{", events, "}"));
  json += "}";
  for (const char byte : json) {
    // Nothing may end the element, or begin a comment in it.
    data.json += byte == '<' ? std::string("\\u003c") : std::string(1, byte);
  }
  return data;
}

std::string keyInWords(const std::string& key, const std::string& unit) {
  std::string words;
  for (const char byte : key) {
    if (std::isupper(static_cast<unsigned char>(byte)) != 0) {
      words += ' ';
    }
    words += static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  }
  std::string last;
  last += ' ';
  if (unit == "%") {
    last += "percent";
  } else if (unit == "s") {
    last += "seconds";
  } else {
    for (const char byte : unit) {
      last += static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    }
  }
  if (last.size() > 1 && words.ends_with(last)) {
    words.erase(words.size() - last.size());
  }
  return words;
}

}  // namespace cli
