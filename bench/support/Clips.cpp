#include "support/Clips.h"

#include <cstdlib>
#include <stdexcept>

namespace qatester::bench {

std::string clip(const std::string& name) {
  const std::string command = std::string("'") + MAKE_CLIP + "' '" + CLIP_DIRECTORY + "' '" + name;
  if (std::system((command + "' > /dev/null").c_str()) != 0) {
    throw std::runtime_error("cannot make the clip " + name);
  }
  return std::string(CLIP_DIRECTORY) + "/" + name;
}

}  // namespace qatester::bench
