// What the check of signal levels does with each picture of 1920x1080 that a decoder has just left
// behind: a legal one, bars whose edges are legal only pixel by pixel, and one full of pixels that
// are outside.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "checks/picture/SignalRangeKernels.h"

namespace {

using namespace qatester;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
/// More pictures than a cache of the second level holds.
constexpr std::size_t kPictures = 8;

/// BT.709 in video range.
constexpr SignalRules kRules{.redOfCr = 17683,
                             .greenLessCb = 6001,
                             .greenLessCr = 14995,
                             .blueOfCb = 26677,
                             .low = 5 * 64,
                             .high = 246 * 64};

enum Content { kLegal, kBars, kOutside };

struct Code {
  int y;
  int cb;
  int cr;
};

/// In 8-bit codes, with noise.
Code codeAt(Content content, int x, std::mt19937& random) {
  constexpr Code kColours[] = {{180, 128, 128}, {168, 44, 136}, {145, 147, 44}, {133, 63, 52},
                               {63, 193, 204},  {51, 109, 212}, {28, 212, 120}};
  const int noise = static_cast<int>(random() % 8);
  if (content == kLegal) {
    return {60 + x / 16 + noise, 118 + noise, 124 + noise};
  }
  if (content == kBars) {
    const Code& colour = kColours[x * 7 / kWidth];
    return {colour.y + noise / 2, colour.cb, colour.cr};
  }
  return {248 + noise, static_cast<int>(random() % 256), static_cast<int>(random() % 256)};
}

class Pictures {
 public:
  Pictures(Content content, int bits, int shiftY) {
    std::mt19937 random(1);
    const std::size_t bytes = bits > 8 ? 2 : 1;
    for (std::size_t i = 0; i < kPictures; ++i) {
      SignalPicture& picture = pictures_.emplace_back();
      picture.kind = SignalPicture::Kind::difference;
      picture.width = kWidth;
      picture.height = kHeight;
      picture.bits = bits;
      picture.twoBytes = bits > 8;
      picture.chromaShiftX = 1;
      picture.chromaShiftY = shiftY;
      for (std::size_t plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? kWidth : kWidth / 2;
        const int rows = plane == 0 ? kHeight : kHeight >> shiftY;
        std::vector<uint8_t>& memory = memory_.emplace_back(static_cast<std::size_t>(columns) *
                                                            static_cast<std::size_t>(rows) * bytes);
        for (std::size_t at = 0; at < memory.size() / bytes; ++at) {
          const int column = static_cast<int>(at) % columns;
          const Code code = codeAt(content, column * kWidth / columns, random);
          const int value = plane == 0 ? code.y : plane == 1 ? code.cb : code.cr;
          const auto sample = static_cast<uint16_t>(value << (bits - 8));
          std::memcpy(memory.data() + at * bytes, &sample, bytes);
        }
        picture.planes[plane] = memory.data();
        picture.strides[plane] = static_cast<std::ptrdiff_t>(columns) * static_cast<int>(bytes);
      }
    }
  }

  const SignalPicture& next() { return pictures_[at_++ % kPictures]; }

 private:
  std::vector<SignalPicture> pictures_;
  std::vector<std::vector<uint8_t>> memory_;
  std::size_t at_ = 0;
};

template <Content kContent>
void measure(benchmark::State& state) {
  Pictures pictures(kContent, static_cast<int>(state.range(0)), state.range(0) == 8 ? 1 : 0);
  SignalExtremes extremes;
  OutsideMap map;
  int64_t count = 0;
  for (auto _ : state) {
    map.reset(kWidth, kHeight);
    if (markOutside(pictures.next(), kRules, extremes, map)) {
      count = countInSquares(map);
    }
    benchmark::DoNotOptimize(count);
  }
  state.counters["share"] = static_cast<double>(count) / (kWidth * kHeight);
}

/// What it takes to read them at all.
void read(benchmark::State& state) {
  Pictures pictures(kLegal, static_cast<int>(state.range(0)), state.range(0) == 8 ? 1 : 0);
  uint64_t sum = 0;
  for (auto _ : state) {
    const SignalPicture& picture = pictures.next();
    for (std::size_t plane = 0; plane < 3; ++plane) {
      const auto bytes = picture.strides[plane] *
                         (plane == 0 ? picture.height : picture.height >> picture.chromaShiftY);
      for (std::ptrdiff_t at = 0; at < bytes; at += 8) {
        uint64_t word = 0;
        std::memcpy(&word, picture.planes[plane] + at, sizeof word);
        sum += word;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
}

// 8 bits of 4:2:0 and 10 bits of 4:2:2.
BENCHMARK(read)->Arg(8)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(measure<kLegal>)->Name("legal")->Arg(8)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(measure<kBars>)->Name("bars")->Arg(8)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(measure<kOutside>)->Name("outside")->Arg(8)->Arg(10)->Unit(benchmark::kMillisecond);

}  // namespace
