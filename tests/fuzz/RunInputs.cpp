// Runs a fuzz target on every file of the folders, and on the files, that are named.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "support/TempDir.h"

namespace {

std::vector<std::string> filesOf(const std::filesystem::path& path) {
  if (std::filesystem::is_regular_file(path)) {
    return {path.string()};
  }
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void run(const std::string& file) {
  // Told before, so that the last one named is the one that ended the program.
  std::fprintf(stderr, "%s\n", file.c_str());
  const std::string content = qatest::readFile(file);
  // Of exactly this size, so that the address sanitizer sees whoever reads on.
  const std::vector<uint8_t> bytes(content.begin(), content.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  try {
    for (int i = 1; i < argc; ++i) {
      for (const std::string& file : filesOf(argv[i])) {
        run(file);
        ++count;
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  std::fprintf(stderr, "%zu inputs\n", count);
  return count > 0 ? 0 : 1;
}
