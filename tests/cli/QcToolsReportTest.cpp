// Figures as ffprobe writes those of its filters, held against what ffprobe itself writes.

#include "QcToolsReport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Client.h"
#include "support/TempDir.h"
#include "support/Unpacked.h"

namespace cli {

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// A frame, by the names of its attributes and the keys of its tags.
using FrameTexts = std::map<std::string, std::string>;

std::vector<FrameTexts> framesOf(const std::string& xml, std::string_view mediaType) {
  pugi::xml_document document;
  EXPECT_TRUE(document.load_buffer(xml.data(), xml.size()));
  std::vector<FrameTexts> frames;
  for (const pugi::xml_node frame : document.first_child().child("frames").children("frame")) {
    if (frame.attribute("media_type").value() != mediaType) {
      continue;
    }
    FrameTexts& texts = frames.emplace_back();
    for (const pugi::xml_attribute attribute : frame.attributes()) {
      texts[attribute.name()] = attribute.value();
    }
    for (const pugi::xml_node tag : frame.children("tag")) {
      texts[tag.attribute("key").value()] = tag.attribute("value").value();
    }
  }
  return frames;
}

/// What ffprobe writes of a file, or of a graph of its filters.
std::string ffprobed(const std::string& input, bool isGraph = true) {
  qatest::Arguments arguments = {"ffprobe",      "-v",  "error",  "-noprivate",
                                 "-show_frames", "-of", "xml=q=1"};
  if (isGraph) {
    arguments.insert(arguments.end(), {"-f", "lavfi"});
  }
  arguments.push_back(input);
  const qatest::Finished end = qatest::run({"/usr/bin/env", arguments});
  EXPECT_EQ(end.code, 0) << end.err;
  return end.out;
}

std::string xmlOf(const std::string& clip, const qatest::TempDir& dir) {
  const std::string name = dir.file("report.qctools.xml.gz");
  qatest::runClient({"-q", "--qctools", name, clip});
  return qatest::unpacked(name);
}

/// Sums of squares are added up in single precision: 16 sums side by side of a cell of 10 ms, each
/// of `rate` / 1600 additions that are off by half a unit of 2^-23. Both texts round to six
/// decimals.
double boundOfRms(int rate) {
  return 10.0 / std::log(10.0) * (rate / 1600.0) * std::ldexp(1.0, -24) + 1e-6;
}

/// How often each key was compared.
std::map<std::string, int> expectSame(const std::vector<FrameTexts>& found,
                                      const std::vector<FrameTexts>& wanted,
                                      const std::vector<std::string>& keys, int rate = 48000) {
  std::map<std::string, int> counts;
  // Sound that fills no tenth of a second is left out.
  EXPECT_LE(wanted.size() - found.size(), 1U);
  for (std::size_t i = 0; i < std::min(found.size(), wanted.size()); ++i) {
    for (const auto& [key, value] : found[i]) {
      // A graph has streams and key frames of its own.
      if (key == "stream_index" || key == "key_frame") {
        continue;
      }
      const auto other = wanted[i].find(key);
      if (other == wanted[i].end()) {
        ADD_FAILURE() << key << " of " << i;
        continue;
      }
      ++counts[key];
      const bool isRms = key.ends_with("RMS_level");
      if (isRms && value != other->second) {
        EXPECT_NEAR(std::stod(value), std::stod(other->second), boundOfRms(rate)) << key << i;
      } else {
        EXPECT_EQ(value, other->second) << key << " of " << i;
      }
    }
  }
  for (const auto& [key, count] : counts) {
    EXPECT_TRUE(std::find(keys.begin(), keys.end(), key) != keys.end() ||
                key.find("lavfi.") == std::string::npos)
        << key;
  }
  return counts;
}

TEST(QcToolsReport, HasOfPicturesWhatFfprobeFinds) {
  const qatest::TempDir dir;
  qatest::VideoSpec spec = qatest::h264WithBFrames(30);
  spec.width = 128;
  spec.height = 96;
  const std::string clip = qatest::makeClip(dir, "clip.mov", {{spec}, {}});
  const auto found = framesOf(xmlOf(clip, dir), "video");
  ASSERT_EQ(found.size(), 30U);
  const auto counts =
      expectSame(found, framesOf(ffprobed("movie=" + clip + ",signalstats"), "video"),
                 {"lavfi.signalstats.YAVG", "lavfi.signalstats.YDIF"});
  for (const char* key : {"lavfi.signalstats.YAVG", "lavfi.signalstats.YDIF", "pts_time", "width",
                          "height", "pix_fmt", "media_type"}) {
    EXPECT_EQ(counts.count(key) > 0 ? counts.at(key) : 0, 30) << key;
  }
  const auto frames = framesOf(ffprobed(clip, false), "video");
  ASSERT_EQ(frames.size(), 30U);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(found[i].at("key_frame"), frames[i].at("key_frame")) << i;
    EXPECT_EQ(found[i].at("stream_index"), frames[i].at("stream_index")) << i;
  }
}

TEST(QcToolsReport, HasNoFiguresOfDeepPictures) {
  const qatest::TempDir dir;
  const std::string clip =
      qatest::makeClip(dir, "clip.mkv", {{qatest::ffv1(5, AV_PIX_FMT_YUV422P10)}, {}});
  const auto found = framesOf(xmlOf(clip, dir), "video");
  ASSERT_EQ(found.size(), 5U);
  EXPECT_EQ(found[0].at("pix_fmt"), "yuv422p10le");
  EXPECT_EQ(found[0].count("lavfi.signalstats.YAVG"), 0U);
}

TEST(QcToolsReport, HasOfSoundWhatFfprobeFinds) {
  const qatest::TempDir dir;
  for (const int channels : {1, 2}) {
    for (const int rate : {48000, 44100}) {
      qatest::AudioSpec spec;
      spec.channels = channels;
      spec.rate = rate;
      spec.seconds = 3.55;
      // The right channel falls silent.
      spec.sample = [=](int channel, int64_t index) {
        return channel == 1 && index >= 3 * rate ? 0.0 : qatest::clipSample(channel, index);
      };
      const std::string clip = qatest::makeClip(dir, "clip.mov", {{}, {spec}});
      const auto found = framesOf(xmlOf(clip, dir), "audio");
      ASSERT_EQ(found.size(), 35U);
      std::vector<std::string> levels;
      for (const char* of : {"1", "2", "Overall"}) {
        levels.push_back(std::string("lavfi.astats.") + of + ".Peak_level");
        levels.push_back(std::string("lavfi.astats.") + of + ".RMS_level");
      }
      std::vector<std::string> keys = levels;
      keys.insert(keys.end(), {"lavfi.r128.M", "lavfi.r128.S"});
      auto counts = expectSame(
          found,
          framesOf(ffprobed("amovie=" + clip + ",ebur128=metadata=1,astats=metadata=1:reset=1"),
                   "audio"),
          keys, rate);
      // From the 400 ms and the 3 s on that are full; at another rate the filters weight otherwise.
      EXPECT_EQ(counts["lavfi.r128.M"], rate == 48000 ? 32 : 0);
      EXPECT_EQ(counts["lavfi.r128.S"], rate == 48000 ? 6 : 0);
      EXPECT_EQ(counts["pts_time"], 35);
      EXPECT_EQ(counts["nb_samples"], 35);
      for (const std::string& key : levels) {
        EXPECT_EQ(counts[key], channels == 1 && key.find(".2.") != std::string::npos ? 0 : 35)
            << key;
      }
    }
  }
}

TEST(QcToolsReport, FollowsFfprobesSchema) {
  const qatest::TempDir dir;
  const std::string clip = qatest::makeClip(dir, "clip.mov", {{qatest::ffv1(30)}, {{}, {}}});
  qatest::writeFile(dir.file("report.xml"), xmlOf(clip, dir));
  // As in Debian's ffmpeg.
  const qatest::Finished end = qatest::run(
      {"/usr/bin/xmllint",
       {"--noout", "--schema", "/usr/share/ffmpeg/ffprobe.xsd", dir.file("report.xml")}});
  EXPECT_EQ(end.code, 0) << end.err;
}

/// A file of a video stream, and of a sound of two channels.
QAFileFacts factsOf(const std::string& pixelFormat) {
  QAFileFacts facts;
  QAStreamFacts video;
  video.kind = "video";
  video.video.emplace();
  video.video->width = 64;
  video.video->height = 48;
  video.video->pixelFormat = pixelFormat;
  QAStreamFacts sound;
  sound.index = 1;
  sound.kind = "audio";
  sound.audio.emplace();
  sound.audio->sampleRate = 48000;
  sound.audio->channels = 2;
  facts.media.streams = {video, sound};
  return facts;
}

struct MadeSeries {
  QASeries series;
  std::vector<std::vector<double>> rows;
};

std::string xmlOf(const QAFileFacts& facts, const std::vector<MadeSeries>& all) {
  SeriesStore store;
  for (const MadeSeries& made : all) {
    store.begin(made.series);
    for (std::size_t i = 0; i < made.rows.size(); ++i) {
      store.take(made.series, {.index = static_cast<int64_t>(i),
                               .seconds = 0.1 * static_cast<double>(i),
                               .timecode = "",
                               .values = made.rows[i]});
    }
  }
  const qatest::TempDir dir;
  qatest::writeFile(dir.file("x.gz"), qctoolsText(facts, store));
  return qatest::unpacked(dir.file("x.gz"));
}

std::vector<MadeSeries> picturesWith(const std::vector<std::vector<double>>& timing,
                                     const std::vector<std::vector<double>>& cuts) {
  const auto per = QASeries::Per::picture;
  const std::vector<std::vector<double>> ones(timing.size(), {1.0, 1.0});
  return {
      {{"frame-timing", per, "", {{"distance", "s"}, {"keyFrame", ""}, {"damaged", ""}}}, timing},
      {{"black", per, "", {{"meanLuma", ""}}},
       std::vector<std::vector<double>>(timing.size(), {16.0})},
      {{"freeze", per, "", {{"meanChange", ""}, {"largestChange", ""}}}, ones},
      {{"cuts", per, "", {{"change", ""}, {"colourChange", ""}, {"unlike", ""}}}, cuts}};
}

TEST(QcToolsReport, LeavesOutWhatDamageHasChanged) {
  const std::vector<std::vector<double>> still(4, {0.0, 0.0, 0.0});
  const auto found =
      framesOf(xmlOf(factsOf("yuv420p"),
                     picturesWith({{kNan, 1, 0}, {0.1, 0, 1}, {0.1, 0, 0}, {0.1, 0, 0}}, still)),
               "video");
  ASSERT_EQ(found.size(), 4U);
  const bool luma[] = {true, false, true, true};
  const bool change[] = {true, false, false, true};
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].count("lavfi.signalstats.YAVG") > 0, luma[i]) << i;
    EXPECT_EQ(found[i].count("lavfi.signalstats.YDIF") > 0, change[i]) << i;
    EXPECT_EQ(found[i].at("key_frame"), i == 0 ? "1" : "0");
  }
}

TEST(QcToolsReport, SaysNothingOfASizeThatChanges) {
  const auto found = framesOf(
      xmlOf(factsOf("yuv420p"), picturesWith({{kNan, 1, 0}, {0.1, 0, 0}, {0.1, 0, 0}},
                                             {{kNan, kNan, kNan}, {kNan, kNan, kNan}, {0, 0, 0}})),
      "video");
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].at("width"), "64");
  for (std::size_t i = 1; i < 3; ++i) {
    EXPECT_EQ(found[i].count("width") + found[i].count("pix_fmt"), 0U);
    EXPECT_EQ(found[i].count("lavfi.signalstats.YAVG"), 0U);
    EXPECT_EQ(found[i].at("pts_time"), i == 1 ? "0.100000" : "0.200000");
  }
}

TEST(QcToolsReport, HasASoundWhoseChannelsAreAllThere) {
  const auto series = [](int stream, int channels) {
    QASeries its{"programme-loudness",
                 QASeries::Per::sound,
                 "",
                 {{"momentaryLufs", "LUFS"}, {"shortTermLufs", "LUFS"}}};
    its.stream = stream;
    its.channels = channels;
    return its;
  };
  const auto framesWith = [&](const QASeries& its) {
    return framesOf(xmlOf(factsOf("yuv420p"), {{its, {{-23.0, kNan}}}}), "audio");
  };
  const auto whole = framesWith(series(0, 2));
  ASSERT_EQ(whole.size(), 1U);
  EXPECT_EQ(whole[0].at("stream_index"), "1");
  EXPECT_EQ(whole[0].at("lavfi.r128.M"), "-23.000");
  EXPECT_EQ(whole[0].count("lavfi.r128.S"), 0U);
  EXPECT_TRUE(framesWith(series(0, 1)).empty());
  EXPECT_TRUE(framesWith(series(1, 2)).empty());
  QASeries ofSeveral = series(0, 2);
  ofSeveral.stream.reset();
  EXPECT_TRUE(framesWith(ofSeveral).empty());
}

TEST(QcToolsReport, EscapesWhatXmlWouldTakeForItsOwn) {
  const std::string format = "a\"<b>&'c\x01\xff";
  const auto found =
      framesOf(xmlOf(factsOf(format), picturesWith({{kNan, 1, 0}}, {{kNan, kNan, kNan}})), "video");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].at("pix_fmt"), "a\"<b>&'c\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(QcToolsReport, IsAReportWithoutFramesWhereNothingIsThere) {
  EXPECT_TRUE(framesOf(xmlOf(QAFileFacts{}, std::vector<MadeSeries>{}), "video").empty());
}

}  // namespace

}  // namespace cli
