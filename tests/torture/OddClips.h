#pragma once

#include <string>
#include <vector>

/// Media files that lie about themselves, or that are seldom seen: what a file may hold without
/// being cut or damaged.
namespace qatest {

/// The frames and the rate of the pictures in odd clips, unless one of these is what is odd about a
/// clip. Sound lasts as long.
constexpr int kOddFrames = 30;
constexpr int kOddFps = 25;
/// The frames before the pictures of a clip change.
constexpr int kOddFirstPart = 8;
/// The luma of the first frame of "size-16384x16.mkv" and "size-16x16384.mkv"; each has 1 more than
/// the one before.
constexpr int kOddLuma = 60;

/// Their file names; the extension chooses the container.
std::vector<std::string> oddClipNames();

/// Makes one of them in a folder and returns its path; throws `std::runtime_error`.
std::string makeOddClip(const std::string& folder, const std::string& name);

/// The value of all samples of a channel of "channels-N.wav", "channels-grow.mkv" and
/// "channels-shrink.mkv".
int oddSample(int stream, int channel);

/// The numbers of channels that there are clips "channels-N.wav" of.
std::vector<int> oddChannelCounts();

}  // namespace qatest
