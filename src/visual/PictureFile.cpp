#include "visual/PictureFile.h"

#include <fcntl.h>
#include <opencv2/core/core_c.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

namespace qatester {

namespace {

namespace fs = std::filesystem;

std::string reasonOf(int error) {
  return std::generic_category().message(error);
}

/// Writes all bytes to a file that must not be there yet. 0 or an error number, in which case it is
/// not there, or somebody else's.
int writeNewFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) {
    return errno;
  }
  int error = 0;
  for (std::size_t done = 0; done < bytes.size() && error == 0;) {
    const ssize_t written = write(file, bytes.data() + done, bytes.size() - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (close(file) != 0 && error == 0) {
    error = errno;
  }
  if (error != 0) {
    unlink(path.c_str());
  }
  return error;
}

constexpr int kMaxNameAttempts = 100;

/// Writes all bytes to a new file beside `path` and sets `name` to its name. 0 or an error number,
/// in which case there is no such file.
int writeTemporary(const std::string& path, const std::vector<uint8_t>& bytes, std::string& name) {
  static std::atomic<unsigned> number{0};
  int error = EEXIST;
  // What somebody else has put there is neither followed nor touched.
  for (int attempt = 0; attempt < kMaxNameAttempts && error == EEXIST; ++attempt) {
    name = path + "." + std::to_string(getpid()) + "-" + std::to_string(number++) + ".tmp";
    error = writeNewFile(name, bytes);
  }
  return error;
}

}  // namespace

std::vector<uint8_t> encodePng(const IplImage& canvas, std::string& problem) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(canvas.width);
  image.height = static_cast<png_uint_32>(canvas.height);
  image.format = PNG_FORMAT_BGR;
  image.flags = PNG_IMAGE_FLAG_FAST;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::vector<uint8_t> bytes(size);
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, canvas.imageData, canvas.widthStep,
                                nullptr) == 0) {
    problem = image.message;
    return {};
  }
  bytes.resize(size);
  return bytes;
}

std::string pictureFileName(const std::string& display, int index) {
  std::string name = display;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == ' ' || c == '/'; }, '-');
  char number[16];
  std::snprintf(number, sizeof number, "-%05d", index);
  return name + number + ".png";
}

std::string writePicture(const std::string& path, const IplImage& canvas) {
  const auto failure = [&path](const std::string& reason) {
    return "cannot write the picture \"" + path + "\": " + reason;
  };
  const fs::path folder = fs::path(path).parent_path();
  std::error_code error;
  if (!folder.empty()) {
    fs::create_directories(folder, error);
    if (error) {
      return failure("cannot make its folder: " + error.message());
    }
  }
  std::string problem;
  const std::vector<uint8_t> bytes = encodePng(canvas, problem);
  if (bytes.empty()) {
    return failure(problem);
  }
  std::string temporary;
  int reason = writeTemporary(path, bytes, temporary);
  if (reason == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) {
    reason = errno;
    unlink(temporary.c_str());
  }
  return reason != 0 ? failure(reasonOf(reason)) : "";
}

}  // namespace qatester
