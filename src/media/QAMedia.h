#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a file says of its pictures, and what its decoder makes of them.
struct QAVideoFacts {
  int width = 0;                   ///< pixels
  int height = 0;                  ///< pixels
  std::string sampleAspect = {};   ///< of a pixel, such as "16:15"; empty when undeclared
  std::string displayAspect = {};  ///< of the whole picture, such as "4:3"; empty when undeclared
  double frameRate = 0.0;          ///< frames per second as declared; 0 when undeclared
  int rateNumerator = 0;           ///< of the same rate as an exact fraction; 0 when undeclared
  int rateDenominator = 0;         ///< of the fraction; 0 when undeclared
  /// In FFmpeg's words, such as "yuv422p10le"; empty when unknown.
  std::string pixelFormat = {};
  int bits = 0;             ///< of a component; 0 when unknown
  std::string chroma = {};  ///< "4:2:0", "4:2:2", "4:4:4", "4:1:1", "4:1:0", "4:4:0", "grey", "RGB"
  /// "progressive", "tff", "bff" or "unknown", by the container and the codec.
  std::string scan = {};
  /// As flagged, in FFmpeg's words, such as "bt709"; empty when not flagged.
  std::string matrix = {};
  std::string primaries = {};  ///< likewise
  std::string transfer = {};   ///< likewise
  /// "video" or "full"; empty when not flagged.
  std::string range = {};
};

/// What a file says of its sound.
struct QAAudioFacts {
  int sampleRate = 0;  ///< Hz
  int channels = 0;    ///< of the stream
  /// In FFmpeg's words, such as "stereo"; the usual one for the number of channels where none is
  /// declared.
  std::string layout = {};
  bool layoutDeclared = false;  ///< false: `layout` is the usual one, or empty
  /// Where each channel belongs, in FFmpeg's words, such as "FL"; empty where no layout is
  /// declared.
  std::vector<std::string> channelNames = {};
  int bits = 0;                   ///< of a sample as coded; 0 when the codec has none
  std::string sampleFormat = {};  ///< as decoded, in FFmpeg's words
};

/// A stream of a file, as probing leaves it.
struct QAStreamFacts {
  int index = 0;  ///< in the container
  /// "video", "audio", "subtitle", "data", "cover" (an attached picture) or "other".
  std::string kind = {};
  std::string codec = {};                   ///< empty when unknown
  std::string profile = {};                 ///< of the codec, in FFmpeg's words; empty when unknown
  int64_t bitRate = 0;                      ///< bits per second; 0 when unknown
  std::string language = {};                ///< such as "eng"; empty when undeclared
  std::string title = {};                   ///< empty when there is none
  std::optional<double> startSeconds = {};  ///< from the file's start; empty when undeclared
  std::optional<double> durationSeconds = {};  ///< empty when undeclared
  std::optional<QAVideoFacts> video = {};      ///< of pictures
  std::optional<QAAudioFacts> audio = {};      ///< of sound
};

/// What a file says of itself.
struct QAMedia {
  std::string container = {};  ///< in FFmpeg's words, such as "mov,mp4,m4a,3gp,3g2,mj2"
  std::optional<double> durationSeconds = {};  ///< empty when undeclared
  /// With ";" before the frames where it is drop-frame; empty when there is none.
  std::string startTimecode = {};
  std::vector<QAStreamFacts> streams = {};  ///< in the order of the container
};
