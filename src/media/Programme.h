#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/QAMedia.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

// What a reading of a whole file hands out. All seconds count from the file's start.

struct ProgrammeRatio {
  int numerator = 0;
  int denominator = 1;
};

/// What the reading needs to know of a stream beside what the file says of it.
struct ProgrammeStream {
  /// Of time stamps, in seconds.
  ProgrammeRatio timeBase;
  /// As the container declares it on average, and as its time stamps suggest; 0 when unknown.
  ProgrammeRatio averageRate;
  ProgrammeRatio baseRate;
  /// The frames that the container declares; 0 when unknown.
  int64_t declaredFrames = 0;
  /// A decoder was found and opened, and its pictures or blocks are handed out. Known when the
  /// reading begins, not before.
  bool decoded = false;
  /// The container carries time stamps of its own: raw streams do not.
  bool hasTimes = true;
  /// The codec gives back what was put in, bit by bit.
  bool lossless = false;
};

/// A timecode that the file declares, and where.
struct DeclaredTimecode {
  std::string text;    ///< with ";" before the frames where it is drop-frame
  std::string source;  ///< "track", "MXF", "tag", "GOP" or "SEI"
};

struct ProgrammeFacts {
  QAMedia media;
  /// By the index in the container, as in `media.streams`.
  std::vector<ProgrammeStream> streams;
  /// The first video stream that is no cover picture; -1: none.
  int videoStream = -1;
  /// All audio streams, in the container's order.
  std::vector<int> audioStreams;
  /// All that the container declares; those that pictures carry are in the pictures.
  std::vector<DeclaredTimecode> timecodes;
  /// The container keeps an index or a header from which the duration was read, rather than
  /// estimated from the bit rate or the last time stamps.
  bool durationDeclared = false;
  /// Where the file starts, in seconds of its own clock. Declared durations count from 0.
  double clockStart = 0.0;
};

/// What is wrong with a picture or a block.
enum Damage : unsigned {
  kNoDamage = 0,
  kFlaggedCorrupt = 1U << 0U,  ///< the decoder flags it
  kDecodeErrors = 1U << 1U,    ///< the decoder names errors in it
  kFromBadPacket = 1U << 2U,   ///< its packet is flagged
};

/// A picture; shared by all that look at it, and written by nobody.
struct ProgrammePicture {
  std::shared_ptr<const AVFrame> frame;
  int64_t number = 0;  ///< in the order of presentation, as the decoder gives them
  /// By its presentation time stamp; empty: it has none.
  std::optional<double> seconds;
  /// The same, in units of the stream's time base, counted as the stream counts.
  std::optional<int64_t> stamp;
  bool key = false;
  unsigned damage = kNoDamage;
  /// Timecodes that it carries, as SMPTE 12M words (SEI), and as the GOP header has them.
  std::vector<uint32_t> timecodeWords;
  std::optional<int64_t> gopTimecode;
};

/// The channels of a block of sound.
struct SoundLayout {
  int channels = 0;
  /// Where each of them belongs, in FFmpeg's words, such as "FL"; empty where it is not known.
  std::vector<std::string> names;
};

/// A block of sound as decoded, trimmed as the stream says.
struct ProgrammeBlock {
  int stream = 0;  ///< counted from 0 among the audio streams
  std::shared_ptr<const AVFrame> frame;
  int64_t firstSample = 0;        ///< of all that came of this stream before
  int samples = 0;                ///< of each channel
  int sampleRate = 0;             ///< Hz
  std::optional<double> seconds;  ///< of its first sample; empty: it has no time stamp
  /// The same object for all blocks until it changes.
  std::shared_ptr<const SoundLayout> layout;
  unsigned damage = kNoDamage;
};

/// A packet as it was read; of every stream that is decoded.
struct ProgrammePacket {
  int stream = 0;                       ///< index in the container
  std::optional<double> seconds;        ///< presentation
  std::optional<double> decodeSeconds;  ///< decoding
  double durationSeconds = 0.0;         ///< 0: unknown
  int64_t bytes = 0;
  bool key = false;
  bool corrupt = false;  ///< the demultiplexer flags it
  /// What comes of it is not presented: an edit list leaves it out.
  bool discarded = false;
};

/// Something that a demultiplexer or a decoder complains of.
struct ProgrammeComplaint {
  enum class By {
    container,  ///< the demultiplexer's words
    packet,     ///< a packet that it flags
    decoder,    ///< the decoder's words
    call,       ///< the decoder refused a packet
    picture,    ///< a picture or block that the decoder flags
    read,       ///< the file could not be read on
    timecode,   ///< a timecode that cannot be
  };
  By by = By::decoder;
  int stream = -1;                ///< index in the container; -1: of the file
  std::optional<double> seconds;  ///< of the packet or picture that it came with
  std::string text;
};

/// How a reading ended.
struct ProgrammeEnd {
  bool stopped = false;
  /// The end of the file was reached without an error of reading.
  bool readCleanly = false;
  std::string readError;  ///< in words; empty when there was none
  int64_t packets = 0;
  int64_t pictures = 0;
  /// Of the file, and how many of them the demultiplexer went through; 0 when unknown.
  int64_t fileBytes = 0;
  int64_t bytesRead = 0;
};

struct ProgrammeWants {
  bool pictures = false;
  bool sound = false;
  bool packets = false;
};

/// Somebody who looks at a whole file. Calls come one at a time: `begin`, then pictures in order,
/// blocks of each stream in order and packets as they are read, complaints before the picture or
/// block that they come with, at last `end`, also after a stop. What a call throws ends this
/// consumer alone: it gets no more calls.
class ProgrammeConsumer {
 public:
  virtual ~ProgrammeConsumer() = default;
  virtual ProgrammeWants wants() const = 0;
  /// Whether it does so much work that a thread of its own shortens the wall time.
  virtual bool isSlow() const { return false; }

  virtual void begin(const ProgrammeFacts&) {}
  virtual void take(const ProgrammePicture&) {}
  virtual void take(const ProgrammeBlock&) {}
  virtual void take(const ProgrammePacket&) {}
  virtual void take(const ProgrammeComplaint&) {}
  virtual void end(const ProgrammeEnd&) {}
};

}  // namespace qatester
