#include "visual/WindowSystem.h"

namespace qatester {

bool windowSystemAvailable() {
  return false;
}

}  // namespace qatester
