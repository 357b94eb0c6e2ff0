#include "Report.h"

#include <cmath>
#include <ctime>
#include <optional>
#include <sstream>
#include <variant>

#include "Facts.h"
#include "tester/QACheck.h"
#include "tester/QAVersion.h"

namespace cli {

namespace {

/// Of a stream whose scan is not known.
constexpr const char* kUnknown = "unknown";

Json valuesJson(const QAValues& values);

struct ValueToJson {
  Json operator()(const QANothing&) const { return nullptr; }
  Json operator()(double number) const { return numberJson(number); }
  Json operator()(const std::vector<double>& numbers) const {
    Json list = Json::array();
    for (const double number : numbers) {
      list.push_back(numberJson(number));
    }
    return list;
  }
  Json operator()(const std::vector<QAValues>& records) const {
    Json list = Json::array();
    for (const QAValues& record : records) {
      list.push_back(valuesJson(record));
    }
    return list;
  }
  /// A flag, a whole number, a text.
  template <typename Value>
  Json operator()(const Value& value) const {
    return value;
  }
};

Json valuesJson(const QAValues& values) {
  Json json = Json::object();
  for (const QAValue& value : values) {
    json[value.key] = std::visit(ValueToJson(), value.value);
  }
  return json;
}

Json limitsJson(const QALimits& limits) {
  Json json{{"of", limits.of}};
  if (!std::isinf(limits.min)) {
    json["min"] = numberJson(limits.min);
  }
  if (!std::isinf(limits.max)) {
    json["max"] = numberJson(limits.max);
  }
  json["unit"] = limits.unit;
  return json;
}

void addText(Json& json, const char* key, const std::string& text) {
  if (!text.empty()) {
    json[key] = text;
  }
}

template <typename Number>
void addNumber(Json& json, const char* key, const std::optional<Number>& number) {
  if (number) {
    json[key] = ValueToJson()(*number);
  }
}

Json eventJson(const QAEvent& event) {
  Json json = Json::object();
  addNumber(json, "startSeconds", wholeMicroseconds(event.startSeconds));
  addNumber(json, "endSeconds", wholeMicroseconds(event.endSeconds));
  addNumber(json, "startFrame", event.startFrame);
  addNumber(json, "endFrame", event.endFrame);
  addText(json, "startTimecode", event.startTimecode);
  addText(json, "endTimecode", event.endTimecode);
  addNumber(json, "worstSeconds", wholeMicroseconds(event.worstSeconds));
  addNumber(json, "worstFrame", event.worstFrame);
  addNumber(json, "value", event.value);
  addNumber(json, "limit", event.limit);
  addText(json, "unit", event.unit);
  addText(json, "what", event.what);
  json["breaks"] = event.breaks;
  addNumber(json, "stream", event.stream);
  addNumber(json, "channel", event.channel);
  addText(json, "channelName", event.channelName);
  return json;
}

/// Undeclared: not there.
template <typename Number>
void addPositive(Json& json, const char* key, Number number) {
  if (number > 0 && std::isfinite(number)) {
    json[key] = number;
  }
}

template <typename Item>
Json listJson(const std::vector<Item>& items, Json (*toJson)(const Item&)) {
  Json list = Json::array();
  for (const Item& item : items) {
    list.push_back(toJson(item));
  }
  return list;
}

Json checkJson(const QACheckOutcome& outcome) {
  Json json{{"name", outcome.name}};
  if (const QACheck* check = findCheck(outcome.name)) {
    json["family"] = getFamilyText(check->family);
  }
  json["severity"] = getSeverityText(outcome.severity);
  json["state"] = getStateText(outcome.state);
  addText(json, "reason", outcome.reason);
  json["result"] = outcome.values.empty() ? Json(nullptr) : valuesJson(outcome.values);
  json["limits"] = listJson(outcome.limits, limitsJson);
  json["events"] = listJson(outcome.events, eventJson);
  json["eventCount"] = outcome.eventCount;
  json["messages"] = outcome.messages;
  json["failures"] = outcome.failures;
  json["progress"] = outcome.progress;
  json["seconds"] = std::round(outcome.seconds * 1000.0) / 1000.0;
  return json;
}

void addVideo(Json& json, const QAVideoFacts& video) {
  addPositive(json, "width", video.width);
  addPositive(json, "height", video.height);
  addText(json, "sampleAspect", video.sampleAspect);
  addText(json, "displayAspect", video.displayAspect);
  addPositive(json, "frameRate", video.frameRate);
  addText(json, "pixelFormat", video.pixelFormat);
  addPositive(json, "bits", video.bits);
  addText(json, "chroma", video.chroma);
  addText(json, "scan", video.scan == kUnknown ? "" : video.scan);
  addText(json, "matrix", video.matrix);
  addText(json, "primaries", video.primaries);
  addText(json, "transfer", video.transfer);
  addText(json, "range", video.range);
}

void addAudio(Json& json, const QAAudioFacts& audio) {
  addPositive(json, "sampleRate", audio.sampleRate);
  addPositive(json, "channels", audio.channels);
  addText(json, "layout", audio.layoutDeclared ? audio.layout : "");
  addPositive(json, "bits", audio.bits);
  addText(json, "sampleFormat", audio.sampleFormat);
}

Json streamJson(const QAStreamFacts& stream) {
  Json json{{"index", stream.index}, {"kind", stream.kind}};
  addText(json, "codec", stream.codec);
  addText(json, "profile", stream.profile);
  addPositive(json, "bitRate", stream.bitRate);
  addText(json, "language", stream.language);
  addText(json, "title", stream.title);
  addNumber(json, "start", stream.startSeconds);
  addNumber(json, "duration", stream.durationSeconds);
  if (stream.video) {
    addVideo(json, *stream.video);
  }
  if (stream.audio) {
    addAudio(json, *stream.audio);
  }
  return json;
}

Json mediaJson(const QAMedia& media) {
  Json json{{"container", media.container}};
  addNumber(json, "duration", media.durationSeconds);
  addText(json, "startTimecode", media.startTimecode);
  json["streams"] = listJson(media.streams, streamJson);
  return json;
}

Json measuredJson(const QAFileFacts& facts) {
  return {{"pictures", facts.pictures},
          {"pictureSeconds", numberJson(facts.pictureSeconds)},
          {"soundSeconds", numberJson(facts.soundSeconds)},
          {"wholeFile", facts.wholeFile}};
}

/// Versions by the names of what they belong to.
Json generatorJson() {
  Json json{{"qatester", getQATesterVersion()}};
  std::istringstream lines(getQATesterLibraryVersions());
  for (std::string name, version; lines >> name && std::getline(lines >> std::ws, version);) {
    json[name] = version;
  }
  return json;
}

}  // namespace

Json numberJson(double value) {
  if (std::isnan(value)) {
    return "nan";
  }
  if (std::isinf(value)) {
    return value > 0.0 ? "inf" : "-inf";
  }
  return value;
}

Json fileJson(const FileReport& report) {
  Json json{{"file", report.file}, {"verdict", getStateText(getVerdict(report.checks))}};
  addText(json, "profile", report.profile);
  addText(json, "error", report.error);
  if (report.facts.opened) {
    json["media"] = mediaJson(report.facts.media);
    json["measured"] = measuredJson(report.facts);
  }
  json["checks"] = listJson(report.checks, checkJson);
  return json;
}

Json reportJson(const std::vector<FileReport>& files) {
  return {{"files", listJson(files, fileJson)},
          {"generator", generatorJson()},
          {"created", utcText(std::time(nullptr))}};
}

std::string reportText(const std::vector<FileReport>& files) {
  return reportJson(files).dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace cli
