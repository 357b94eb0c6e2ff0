#include "Facts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <utility>
#include <vector>

namespace cli {

namespace {

std::string twoDigits(int64_t value) {
  const std::string digits = std::to_string(value);
  return digits.size() < 2 ? "0" + digits : digits;
}

void addWord(std::string& text, const std::string& word) {
  text += (text.empty() || word.empty() ? "" : " ") + word;
}

void addPart(std::string& text, const std::string& part) {
  text += (text.empty() || part.empty() ? "" : ", ") + part;
}

std::string bitsText(int bits) {
  return bits > 0 ? std::to_string(bits) + " bit" : "";
}

std::string videoText(const QAStreamFacts& stream) {
  std::string shape;
  std::string coding = stream.codec;
  if (stream.video) {
    const QAVideoFacts& video = *stream.video;
    if (video.width > 0 && video.height > 0) {
      shape = std::to_string(video.width) + "x" + std::to_string(video.height);
    }
    addWord(shape, video.frameRate > 0.0 ? shortNumber(video.frameRate) + " fps" : "");
    addWord(shape, video.scan != "unknown" ? video.scan : "");
    addWord(coding, video.chroma);
    addWord(coding, bitsText(video.bits));
  }
  addPart(shape, coding);
  return shape;
}

std::string audioText(const QAStreamFacts& stream) {
  std::string text = stream.codec;
  if (stream.audio) {
    const QAAudioFacts& audio = *stream.audio;
    addWord(text, audio.channels > 0 ? std::to_string(audio.channels) + " ch" : "");
    addWord(text, audio.sampleRate > 0 ? shortNumber(audio.sampleRate / 1000.0) + " kHz" : "");
    addWord(text, bitsText(audio.bits));
  }
  return text;
}

/// Streams of a kind, those that are alike together: "2 audio: aac 2 ch 48 kHz".
std::string streamsText(const QAMedia& media, const std::string& kind,
                        std::string (*textOf)(const QAStreamFacts&)) {
  std::vector<std::pair<std::string, int>> groups;
  int count = 0;
  for (const QAStreamFacts& stream : media.streams) {
    if (stream.kind != kind) {
      continue;
    }
    ++count;
    const std::string text = textOf(stream);
    const auto group = std::find_if(groups.begin(), groups.end(),
                                    [&](const auto& known) { return known.first == text; });
    if (group == groups.end()) {
      groups.emplace_back(text, 1);
    } else {
      ++group->second;
    }
  }
  std::string list;
  for (const auto& [text, times] : groups) {
    const bool counted = groups.size() > 1 && times > 1;
    addPart(list, (counted ? std::to_string(times) + " x " : "") + text);
  }
  return count > 1 ? std::to_string(count) + " " + kind + ": " + list : list;
}

}  // namespace

std::string factsLine(const QAMedia& media, const std::string& fileName) {
  std::string line = containerName(media.container, fileName);
  const std::string pictures = streamsText(media, "video", videoText);
  const std::string sound = streamsText(media, "audio", audioText);
  addPart(line, pictures.empty() ? "no picture" : pictures);
  addPart(line, sound.empty() ? "no sound" : sound);
  addPart(line, media.durationSeconds ? clockText(*media.durationSeconds, 1) : "");
  addPart(line, media.startTimecode.empty() ? "" : "TC " + media.startTimecode);
  return line;
}

std::string containerName(const std::string& names, const std::string& fileName) {
  const std::size_t dot = fileName.rfind('.');
  const std::string ending = dot == std::string::npos ? "" : fileName.substr(dot + 1);
  std::istringstream list(names);
  for (std::string name; std::getline(list, name, ',');) {
    if (name == ending) {
      return name;
    }
  }
  return names.substr(0, names.find(','));
}

std::string shortNumber(double value) {
  // Larger numbers are few, and take many digits.
  constexpr double kMost = 1e12;
  char text[64];
  if (!(std::abs(value) < kMost)) {
    std::snprintf(text, sizeof text, "%g", value);
    return text;
  }
  std::snprintf(text, sizeof text, "%.3f", value);
  std::string result = text;
  result.erase(result.find_last_not_of('0') + 1);
  if (result.back() == '.') {
    result.pop_back();
  }
  return result;
}

std::string clockText(double seconds, int decimals) {
  // Beyond this no file goes, and no whole number of 64 bits either.
  constexpr double kMost = 1e12;
  const double unit = std::pow(10.0, decimals);
  const double length = std::abs(seconds) < kMost ? std::abs(seconds) : kMost;
  const auto whole = static_cast<int64_t>(std::round(length * unit));
  const auto units = static_cast<int64_t>(unit);
  const int64_t inSeconds = whole / units;
  std::string text = seconds < 0.0 ? "-" : "";
  text += twoDigits(inSeconds / 3600) + ":" + twoDigits(inSeconds / 60 % 60) + ":" +
          twoDigits(inSeconds % 60);
  if (decimals > 0) {
    const std::string fraction = std::to_string(whole % units);
    const std::size_t zeros = static_cast<std::size_t>(decimals) - fraction.size();
    text.append(".").append(zeros, '0').append(fraction);
  }
  return text;
}

std::optional<double> wholeMicroseconds(const std::optional<double>& seconds) {
  constexpr double kMicro = 1e6;
  return seconds.has_value() && std::isfinite(*seconds)
             ? std::optional(std::round(*seconds * kMicro) / kMicro)
             : seconds;
}

std::string utcText(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  char text[sizeof "2000-01-01T00:00:00Z"];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return std::string(text, size);
}

}  // namespace cli
