#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace qatest {

/// The names of the real media files in a folder; none where it is missing.
inline std::vector<std::string> mediaFilesIn(const std::filesystem::path& folder) {
  std::vector<std::string> files;
  if (std::filesystem::is_directory(folder)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() != ".md") {
        files.push_back(entry.path().filename().string());
      }
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace qatest
