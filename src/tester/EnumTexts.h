#pragma once

#include "tester/QAEnums.h"

namespace qatester {

/// A value outside the enumeration gives "Unknown".
const char* frameTypeText(QA_FrameType type);
const char* fieldTypeText(QA_FieldType type);

}  // namespace qatester
