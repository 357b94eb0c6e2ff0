#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstddef>
#include <string>

namespace qatest {

/// What gzip says that a file holds.
inline std::string unpacked(const std::string& name) {
  gzFile file = gzopen(name.c_str(), "rb");
  EXPECT_NE(file, nullptr) << name;
  if (file == nullptr) {
    return "";
  }
  std::string text;
  char part[4096];
  for (int count = 0; (count = gzread(file, part, sizeof part)) > 0;) {
    text.append(part, static_cast<std::size_t>(count));
  }
  EXPECT_EQ(gzclose(file), Z_OK);
  return text;
}

}  // namespace qatest
