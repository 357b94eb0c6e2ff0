#pragma once

#include <string>
#include <vector>

#include "media/OxWrap.h"
#include "media/PacketQueue.h"
#include "media/Reference.h"

namespace qatest {

inline const OxWrapOptions kReady{QAPauses::untilReady, {}};

/// The facts of everything that comes through a queue until a blocking get gives up.
std::vector<PacketFacts> drain(PacketQueue* queue);

/// What a file's streams hold for a caller that reads one kind of them, as the checks do.
struct Contents {
  std::vector<PictureFacts> pictures;
  std::vector<std::vector<BlockFacts>> blocks;  ///< of each audio stream
  bool operator==(const Contents&) const = default;
};

/// By a wrapper for the pictures and one for each audio stream.
Contents contentsThroughWrappers(const std::string& file, QAPauses pauses);

/// By FFmpeg's own calls: the first video stream and all audio streams.
Contents expectedContents(const std::string& file);

/// Goes through every stream of a file that a wrapper knows: the packets that arrive while all
/// others are discarded must be those of an undisturbed reader.
void expectDiscardingChangesNoPacket(const std::string& file);

}  // namespace qatest
