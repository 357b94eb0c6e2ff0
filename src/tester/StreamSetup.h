#pragma once

#include "tester/QAEnums.h"

namespace qatester {

/// The layout of a file with this number of audio streams.
QA_StreamSetup streamSetupOf(unsigned audioStreams);

/// A value outside the enumeration gives the text of the unsupported layout.
const char* streamSetupText(QA_StreamSetup setup);

}  // namespace qatester
