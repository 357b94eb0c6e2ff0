#include "visual/SmallPicture.h"

#include <opencv2/imgproc/imgproc_c.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "visual/PictureFile.h"

namespace qatester {

namespace {

/// Plots and diagrams are not wider, and programmes are.
constexpr int kWidestPng = 512;
constexpr int kWidestJpeg = 640;
constexpr int kQuality = 80;

struct ReleaseJpeg {
  void operator()(void* handle) const { tjDestroy(handle); }
  void operator()(unsigned char* bytes) const { tjFree(bytes); }
};

std::string jpegBytes(const IplImage& canvas) {
  const std::unique_ptr<std::remove_pointer_t<tjhandle>, ReleaseJpeg> encoder(tjInitCompress());
  if (encoder == nullptr) {
    throw std::bad_alloc();
  }
  unsigned char* made = nullptr;
  unsigned long size = 0;
  const int result = tjCompress2(
      encoder.get(), reinterpret_cast<const unsigned char*>(canvas.imageData), canvas.width,
      canvas.widthStep, canvas.height, TJPF_BGR, &made, &size, TJSAMP_420, kQuality, 0);
  const std::unique_ptr<unsigned char, ReleaseJpeg> bytes(made);
  if (result != 0) {
    throw std::runtime_error(tjGetErrorStr2(encoder.get()));
  }
  return {reinterpret_cast<const char*>(bytes.get()), size};
}

std::string pngBytes(const IplImage& canvas) {
  std::string problem;
  const std::vector<uint8_t> bytes = encodePng(canvas, problem);
  if (bytes.empty()) {
    throw std::runtime_error(problem);
  }
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

UniqueCanvas narrowed(const IplImage& canvas, int width) {
  const int64_t rows = (int64_t{canvas.height} * width + canvas.width / 2) / canvas.width;
  UniqueCanvas small = tryToMakeCanvas(width, static_cast<int>(std::max<int64_t>(rows, 1)));
  if (small == nullptr) {
    throw std::bad_alloc();
  }
  cvResize(&canvas, small.get(), CV_INTER_AREA);
  return small;
}

}  // namespace

QADisplayPicture smallPicture(const std::string& display, int index, const IplImage& canvas) {
  QADisplayPicture picture{.display = display,
                           .index = index,
                           .width = canvas.width,
                           .height = canvas.height,
                           .mediaType = "image/png",
                           .bytes = {}};
  if (canvas.width <= kWidestPng) {
    picture.bytes = pngBytes(canvas);
    return picture;
  }
  UniqueCanvas small;
  const IplImage* shown = &canvas;
  if (canvas.width > kWidestJpeg) {
    small = narrowed(canvas, kWidestJpeg);
    shown = small.get();
  }
  picture.mediaType = "image/jpeg";
  picture.width = shown->width;
  picture.height = shown->height;
  picture.bytes = jpegBytes(*shown);
  return picture;
}

}  // namespace qatester
