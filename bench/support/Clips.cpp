#include "support/Clips.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace qatester::bench {

std::string clip(const std::string& name) {
  const std::string command = std::string("'") + MAKE_CLIP + "' '" + CLIP_DIRECTORY + "' '" + name;
  struct Close {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
  };
  const std::unique_ptr<std::FILE, Close> pipe(popen((command + "'").c_str(), "r"));
  std::string path;
  for (int c = pipe ? std::fgetc(pipe.get()) : EOF; c != EOF && c != '\n';
       c = std::fgetc(pipe.get())) {
    path += static_cast<char>(c);
  }
  if (path.empty()) {
    throw std::runtime_error("cannot make the clip " + name);
  }
  return path;
}

}  // namespace qatester::bench
