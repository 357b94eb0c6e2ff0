#pragma once

#include <memory>
#include <string>
#include <vector>

#include "media/Programme.h"

namespace qatester {

/// A channel of a programme, and where it comes from.
struct SoundChannel {
  int stream = 0;   ///< counted from 0 among the audio streams
  int channel = 0;  ///< counted from 0 in that stream
  /// "L", "R", "C", "LFE", "Ls", "Rs" and the like; where its place is not known, the number of the
  /// track, from 1.
  std::string name = {};
  /// In loudness, after ITU-R BS.1770-5, tables 3 and 5; 0 for LFE.
  double weight = 1.0;

  /// Its name in words: a number alone says nothing.
  std::string label() const;
  bool isLowFrequency() const { return weight == 0.0; }
  /// A channel that is silent for long in many a good programme.
  bool isExtra = false;

  friend bool operator==(const SoundChannel&, const SoundChannel&) = default;
};

/// Channels that are heard together.
struct SoundProgramme {
  std::vector<SoundChannel> channels = {};
  std::string layout = {};      ///< such as "mono", "stereo", "5.1"
  bool layoutDeclared = false;  ///< by the file or by a setting; false: assumed
  /// Two tracks that are taken for left and right because they follow each other.
  bool isAssumedPair = false;
  std::string language = {};
  std::vector<int> streams = {};  ///< counted from 0 among the audio streams

  bool isMono() const { return channels.size() == 1; }
  /// The indices of left and right; -1: there is none.
  int left = -1;
  int right = -1;
  /// The same of a pair of surround channels.
  int leftSurround = -1;
  int rightSurround = -1;
};

struct SoundProgrammes {
  std::vector<SoundProgramme> all;
  std::string problem;  ///< of the setting, in words; empty: none
};

/// What the audio streams of a file carry: what a setting says ("1+2; 3+4; 5-10:5.1; 11", streams
/// counted from 1), otherwise what the file declares, otherwise the usual. A stream with a declared
/// layout is a programme; streams of one channel pair up by declared positions, by titles that name
/// a side, or as they follow each other where rate, language and length are the same.
SoundProgrammes findSoundProgrammes(const ProgrammeFacts& facts, const std::string& setting);

/// The programme of a single stream whose blocks turn out to have this layout.
SoundProgramme programmeOfStream(int stream, const SoundLayout& layout,
                                 const std::string& language);

/// What a programme is called beside others, such as "streams 3+4 (eng)"; empty when it is the only
/// one.
std::string programmeName(const SoundProgramme& programme, std::size_t programmes);

}  // namespace qatester
