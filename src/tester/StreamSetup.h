#pragma once

#include "tester/QAEnums.h"

namespace qatester {

/// The layout of a file with this number of audio streams.
QA_StreamSetup streamSetupOf(unsigned audioStreams);

/// Whether the two channels of the programme are the first two streams, each as it is, and not the
/// first two channels of the first stream.
bool hasStreamPerChannel(QA_StreamSetup setup);

/// A value outside the enumeration gives the text of the unsupported layout.
const char* streamSetupText(QA_StreamSetup setup);

}  // namespace qatester
