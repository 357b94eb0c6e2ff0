#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <cstdint>
#include <string>
#include <vector>

#include "visual/Canvases.h"

namespace qatest {

/// What a PNG file holds; a failure and nothing when it cannot be read.
inline Pixels readPng(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
    ADD_FAILURE() << path << ": " << image.message;
    return {};
  }
  image.format = PNG_FORMAT_BGR;
  std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr);
  return {static_cast<int>(image.width), static_cast<int>(image.height), bytes};
}

}  // namespace qatest
