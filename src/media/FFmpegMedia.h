#pragma once

// What a file says of itself, and reading it packet by packet from its start to its end.

#include <cstdint>
#include <memory>

#include "media/FFmpeg.h"
#include "media/Programme.h"

namespace qatester::ffmpeg {

/// Of a container whose streams are described. No stream is `decoded` yet.
ProgrammeFacts readProgrammeFacts(AVFormatContext* container);

/// The channels of a block, and whether those of two blocks are the same. A block that has none
/// equals no other.
std::shared_ptr<const SoundLayout> layoutOf(const AVFrame& block);
bool hasSameLayout(const AVFrame& block, const AVFrame& other);

/// When the file starts, in microseconds as its streams count; 0 when unknown.
int64_t startMicroseconds(const AVFormatContext* container);

/// The size of the file in bytes; 0 when unknown.
int64_t fileBytes(const AVFormatContext* container);

/// Where in the file the demultiplexer stands, in bytes; 0 when unknown.
int64_t filePosition(const AVFormatContext* container);

}  // namespace qatester::ffmpeg
