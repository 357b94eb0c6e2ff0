#pragma once

#include "tester/QACheck.h"

namespace qatester {

#define QATESTER_CHECK(check) extern const QACheck check##Check;
#include "checks/CheckList.inc"
#undef QATESTER_CHECK

}  // namespace qatester
