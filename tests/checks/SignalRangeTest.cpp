// The range of signals: kernels against their definition, formats against FFmpeg's own reading of
// them, and the check on pictures that are made here.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "checks/picture/SignalPlanes.h"
#include "checks/picture/SignalRangeKernels.h"
#include "foundation/Settings.h"
#include "media/FFmpegPixels.h"
#include "support/InstructionSets.h"
#include "support/Values.h"
#include "tester/CheckContext.h"
#include "tester/ProgrammeRun.h"
#include "tester/QACheck.h"
#include "visual/Displays.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace qatester {

void PrintTo(const SignalExtremes& extremes, std::ostream* out) {
  for (std::size_t i = 0; i < kSignals; ++i) {
    *out << extremes.min[i] << " to " << extremes.max[i] << "  ";
  }
}

}  // namespace qatester

namespace {

using namespace qatester;
using qatest::numberOf;

// Kernels

/// Planes of random codes that end where they must, so that a reader beyond them is found out.
class RandomPlanes {
 public:
  RandomPlanes(std::mt19937& random, SignalPicture::Kind kind, int width, int height, int bits,
               int shiftX, int shiftY, bool bottomUp) {
    const bool hasChroma = kind == SignalPicture::Kind::difference;
    picture_.kind = kind;
    picture_.width = width;
    picture_.height = height;
    picture_.bits = bits;
    picture_.twoBytes = bits > 8;
    picture_.chromaShiftX = hasChroma ? shiftX : 0;
    picture_.chromaShiftY = hasChroma ? shiftY : 0;
    const int planes = kind == SignalPicture::Kind::grey ? 1 : 3;
    for (int plane = 0; plane < planes; ++plane) {
      addPlane(random, plane, bottomUp);
    }
  }

  const SignalPicture& picture() const { return picture_; }

 private:
  void addPlane(std::mt19937& random, int plane, bool bottomUp) {
    const auto index = static_cast<std::size_t>(plane);
    const int shiftX = plane > 0 ? picture_.chromaShiftX : 0;
    const int shiftY = plane > 0 ? picture_.chromaShiftY : 0;
    const int columns = (picture_.width + (1 << shiftX) - 1) >> shiftX;
    const int rows = (picture_.height + (1 << shiftY) - 1) >> shiftY;
    const std::ptrdiff_t bytes = picture_.twoBytes ? 2 : 1;
    std::vector<uint8_t>& memory = memory_[index];
    memory.resize(static_cast<std::size_t>(bytes * columns * rows));
    // Around the middle, so that many blocks are inside, with patches of anything.
    const int most = (1 << picture_.bits) - 1;
    const int spread = most / 8;
    for (int y = 0; y < rows; ++y) {
      const bool wild = random() % 8 == 0;
      for (int x = 0; x < columns; ++x) {
        const int tame = most / 2 - spread / 2 + static_cast<int>(random() % 997) * spread / 997;
        int code = wild ? static_cast<int>(random() % (static_cast<unsigned>(most) + 1)) : tame;
        if (picture_.twoBytes && random() % 512 == 0) {
          code = 0xFFFF;  // more than the depth has
        }
        const auto sample = static_cast<uint16_t>(code);
        std::memcpy(memory.data() + (static_cast<std::ptrdiff_t>(y) * columns + x) * bytes, &sample,
                    static_cast<std::size_t>(bytes));
      }
    }
    picture_.strides[index] = bytes * columns * (bottomUp ? -1 : 1);
    picture_.planes[index] = memory.data() + (bottomUp ? bytes * columns * (rows - 1) : 0);
  }

  SignalPicture picture_;
  std::array<std::vector<uint8_t>, 3> memory_;
};

/// Those of BT.709 in video range.
SignalRules rulesOf709() {
  AVFrame frame{};
  frame.height = 1080;
  SignalCoding coding;
  std::string reason;
  findCoding(frame, pixelLayout(AV_PIX_FMT_YUV420P), coding, reason);
  return coding.rules;
}

TEST(SignalRangeKernels, AgreeWithTheirDefinitionOnAllLayouts) {
  const SignalRules rules = rulesOf709();
  constexpr int kWidths[] = {1, 2, 33, 63, 64, 65, 200};
  constexpr int kHeights[] = {1, 16, 21};
  qatest::withEachInstructionSet([&] {
    std::mt19937 random(7);
    for (const auto kind :
         {SignalPicture::Kind::grey, SignalPicture::Kind::difference, SignalPicture::Kind::rgb}) {
      for (const int bits : {8, 10, 14, 16}) {
        // Extremes go on from one picture to the next of the same kind.
        SignalExtremes extremes;
        SignalExtremes defined;
        for (const int width : kWidths) {
          for (const int height : kHeights) {
            const int shifts = static_cast<int>(random() % 6);
            const RandomPlanes planes(random, kind, width, height, bits, shifts % 2, shifts / 2,
                                      random() % 2 == 0);
            OutsideMap map;
            OutsideMap definedMap;
            map.reset(width, height);
            definedMap.reset(width, height);
            const bool any = markOutside(planes.picture(), rules, extremes, map);
            ASSERT_EQ(any, markOutsidePixelwise(planes.picture(), rules, defined, definedMap));
            ASSERT_EQ(map, definedMap) << width << "x" << height << ", " << bits << " bits";
            ASSERT_EQ(extremes, defined) << width << "x" << height << ", " << bits << " bits";
          }
        }
      }
    }
  });
}

TEST(SignalRangeKernels, CountSquaresAsTheirDefinition) {
  qatest::withEachInstructionSet([] {
    std::mt19937 random(11);
    for (const int width : {1, 2, 63, 64, 65, 129}) {
      for (const int height : {1, 2, 3, 20}) {
        for (const unsigned most : {2U, 3U, 10U}) {
          OutsideMap map;
          map.reset(width, height);
          for (int i = 0; i < width * height; ++i) {
            if (random() % most != 0) {
              map.set(i % width, i / width);
            }
          }
          ASSERT_EQ(countInSquares(map), countInSquaresPixelwise(map)) << width << "x" << height;
        }
      }
    }
  });
}

/// How many pixels of a drawing, with "#" for those that are outside, count.
int64_t countOf(const std::vector<std::string>& rows, int left = 0) {
  OutsideMap map;
  map.reset(left + static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < rows[y].size(); ++x) {
      if (rows[y][x] == '#') {
        map.set(left + static_cast<int>(x), static_cast<int>(y));
      }
    }
  }
  return countInSquares(map);
}

TEST(SignalRangeFilter, TakesOutWhatIsOnePixelWideOrHigh) {
  EXPECT_EQ(countOf({"....", ".#..", "...."}), 0);
  EXPECT_EQ(countOf({"####", "....", "####"}), 0) << "lines of one row";
  EXPECT_EQ(countOf({"#.#.", "#.#.", "#.#."}), 0) << "lines of one column";
  EXPECT_EQ(countOf({"#.#.", ".#.#", "#.#."}), 0) << "a chessboard";
}

TEST(SignalRangeFilter, KeepsSquaresAndWhatTheyMakeUp) {
  EXPECT_EQ(countOf({"##..", "##..", "...."}), 4);
  EXPECT_EQ(countOf({"###.", "###.", "..#."}), 6) << "all but the tail";
  EXPECT_EQ(countOf({"##..", "####", "..##"}), 8) << "two squares that touch";
  EXPECT_EQ(countOf({"##", "##"}, 63), 4) << "across two words";
}

// Coding

SignalCoding codingOf(AVPixelFormat format, int height, AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED,
                      AVColorRange range = AVCOL_RANGE_UNSPECIFIED) {
  AVFrame frame{};
  frame.height = height;
  frame.colorspace = matrix;
  frame.color_range = range;
  SignalCoding coding;
  std::string reason;
  EXPECT_TRUE(findCoding(frame, pixelLayout(format), coding, reason)) << reason;
  return coding;
}

TEST(SignalCoding, IsThatOfTheSizeWhereNothingIsFlagged) {
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P, 719).matrix, "BT.601");
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P, 720).matrix, "BT.709");
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P, 4320).matrix, "BT.709");
  EXPECT_FALSE(codingOf(AV_PIX_FMT_YUV422P, 720).matrixFlagged);
  EXPECT_FALSE(codingOf(AV_PIX_FMT_YUV422P, 720).fullRange);
  EXPECT_FALSE(codingOf(AV_PIX_FMT_YUV422P, 720).rangeFlagged);
}

TEST(SignalCoding, IsTheFlaggedOne) {
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P, 1080, AVCOL_SPC_BT470BG).matrix, "BT.601");
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P, 576, AVCOL_SPC_BT709).matrix, "BT.709");
  EXPECT_EQ(codingOf(AV_PIX_FMT_YUV422P10, 2160, AVCOL_SPC_BT2020_NCL).matrix, "BT.2020");
  EXPECT_TRUE(codingOf(AV_PIX_FMT_YUV422P10, 2160, AVCOL_SPC_BT2020_NCL).matrixFlagged);
  EXPECT_TRUE(codingOf(AV_PIX_FMT_YUV420P, 576, AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_JPEG).fullRange);
  EXPECT_TRUE(codingOf(AV_PIX_FMT_YUVJ420P, 576).fullRange);
  EXPECT_TRUE(codingOf(AV_PIX_FMT_YUVJ420P, 576).rangeFlagged);
}

TEST(SignalCoding, OfRgbIsOfFullRangeUnlessFlagged) {
  EXPECT_TRUE(codingOf(AV_PIX_FMT_GBRP, 1080).fullRange);
  EXPECT_FALSE(codingOf(AV_PIX_FMT_GBRP, 1080, AVCOL_SPC_RGB, AVCOL_RANGE_MPEG).fullRange);
}

TEST(SignalCoding, RefusesMatricesThatAreNoSumsOfSignals) {
  AVFrame frame{};
  frame.height = 2160;
  frame.colorspace = AVCOL_SPC_ICTCP;
  SignalCoding coding;
  std::string reason;
  EXPECT_FALSE(findCoding(frame, pixelLayout(AV_PIX_FMT_YUV420P10), coding, reason));
  EXPECT_EQ(reason, "pictures with the matrix ictcp are not read");
}

// Formats

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using UniqueFrame = std::unique_ptr<AVFrame, FreeFrame>;

UniqueFrame makeFrame(AVPixelFormat format, int width, int height) {
  UniqueFrame frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::runtime_error("no buffer for a picture");
  }
  for (const AVBufferRef* buffer : frame->buf) {
    if (buffer != nullptr) {
      std::memset(buffer->data, 0, buffer->size);
    }
  }
  return frame;
}

/// `code(component, x, y)` counts in the component's own grid.
using CodeFunction = std::function<int(int component, int x, int y)>;

int columnsOf(const AVFrame& frame, int component) {
  const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool isChroma = component > 0 && (format->flags & AV_PIX_FMT_FLAG_RGB) == 0;
  return isChroma ? AV_CEIL_RSHIFT(frame.width, format->log2_chroma_w) : frame.width;
}

int rowsOf(const AVFrame& frame, int component) {
  const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool isChroma = component > 0 && (format->flags & AV_PIX_FMT_FLAG_RGB) == 0;
  return isChroma ? AV_CEIL_RSHIFT(frame.height, format->log2_chroma_h) : frame.height;
}

void fill(AVFrame& frame, const CodeFunction& code) {
  const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  for (int component = 0; component < (format->nb_components < 3 ? 1 : 3); ++component) {
    std::vector<uint16_t> line(static_cast<std::size_t>(columnsOf(frame, component)));
    for (int y = 0; y < rowsOf(frame, component); ++y) {
      for (std::size_t x = 0; x < line.size(); ++x) {
        line[x] = static_cast<uint16_t>(code(component, static_cast<int>(x), y));
      }
      av_write_image_line(line.data(), frame.data, frame.linesize, format, 0, y, component,
                          static_cast<int>(line.size()));
    }
  }
}

TEST(SignalPlanes, ReadEveryFormatAsFFmpegDoes) {
  constexpr int kWidth = 36;
  constexpr int kHeight = 12;
  SignalPlanes planes;
  int read = 0;
  for (const AVPixFmtDescriptor* format = av_pix_fmt_desc_next(nullptr); format != nullptr;
       format = av_pix_fmt_desc_next(format)) {
    const AVPixelFormat id = av_pix_fmt_desc_get_id(format);
    const PixelLayout layout = pixelLayout(id);
    if (layout.kind == PixelLayout::Kind::unreadable) {
      continue;
    }
    ++read;
    SCOPED_TRACE(format->name);
    std::mt19937 random(3);
    const UniqueFrame frame = makeFrame(id, kWidth, kHeight);
    fill(*frame, [&](int, int, int) { return random() % (1U << layout.bits); });
    const SignalPicture picture = planes.read(*frame, layout);
    const int components = layout.kind == PixelLayout::Kind::grey ? 1 : 3;
    int wrong = 0;
    for (int component = 0; component < components; ++component) {
      const auto plane = static_cast<std::size_t>(component);
      const bool isChroma = component > 0 && layout.kind == PixelLayout::Kind::difference;
      for (int y = 0; y < kHeight; ++y) {
        std::vector<uint16_t> line(static_cast<std::size_t>(columnsOf(*frame, component)));
        const int shiftY = isChroma ? format->log2_chroma_h : 0;
        const int shiftX = isChroma ? format->log2_chroma_w : 0;
        av_read_image_line(line.data(), const_cast<const uint8_t**>(frame->data), frame->linesize,
                           format, 0, y >> shiftY, component, static_cast<int>(line.size()), 0);
        const uint8_t* row = picture.planes[plane] +
                             picture.strides[plane] * (isChroma ? y >> picture.chromaShiftY : y);
        for (int x = 0; x < kWidth; ++x) {
          const int column = isChroma ? x >> picture.chromaShiftX : x;
          uint16_t code = row[picture.twoBytes ? 2 * column : column];
          if (picture.twoBytes) {
            std::memcpy(&code, row + std::ptrdiff_t{2} * column, sizeof code);
          }
          wrong += code == line[static_cast<std::size_t>(x >> shiftX)] ? 0 : 1;
        }
      }
    }
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_GT(read, 100) << "most formats can be read";
}

TEST(SignalPlanes, DoNotReadWhatHasNoWholeSamples) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_RGB565LE, AV_PIX_FMT_RGB8,
        AV_PIX_FMT_BAYER_RGGB8, AV_PIX_FMT_GRAYF32LE, AV_PIX_FMT_GBRPF32LE, AV_PIX_FMT_VAAPI,
        AV_PIX_FMT_XYZ12LE, AV_PIX_FMT_UYYVYY411, AV_PIX_FMT_NONE}) {
    EXPECT_EQ(pixelLayout(format).kind, PixelLayout::Kind::unreadable) << pixelLayout(format).name;
  }
}

// The check

constexpr double kFrameSeconds = 0.04;

struct MadePicture {
  AVPixelFormat format = AV_PIX_FMT_YUV444P;
  int width = 100;
  int height = 100;
  CodeFunction code = {};
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  unsigned damage = kNoDamage;
};

QACheckOutcome measure(const std::vector<MadePicture>& pictures, const char* outsideShare = "") {
  ProgrammeFacts facts;
  QAStreamFacts stream;
  stream.kind = "video";
  stream.video = QAVideoFacts{.frameRate = 1.0 / kFrameSeconds};
  facts.media.streams.push_back(stream);
  facts.streams.emplace_back();
  facts.videoStream = 0;
  const std::string fileName;
  Settings settings(nullptr, nullptr);
  if (*outsideShare != '\0') {
    settings.SetOverrides({{"OutsideShare", outsideShare}});
  }
  Displays displays(QADisplays::nowhere, false, "", {});
  const QATesterOptions options;
  const CheckContext context{fileName, nullptr, nullptr, &settings, displays, 0, options};
  const std::unique_ptr<CheckRun> made = findCheck("signal-range")->make(context);
  ProgrammeRun& run = *made->asProgramme();
  run.begin();
  run.open(facts);
  run.consumer().begin(facts);
  int64_t number = 0;
  for (const MadePicture& picture : pictures) {
    std::shared_ptr<AVFrame> frame = makeFrame(picture.format, picture.width, picture.height);
    if (picture.code) {
      fill(*frame, picture.code);
    }
    frame->colorspace = picture.matrix;
    frame->color_range = picture.range;
    ProgrammePicture handed;
    handed.frame = frame;
    handed.number = number;
    handed.seconds = static_cast<double>(number) * kFrameSeconds;
    handed.damage = picture.damage;
    run.consumer().take(handed);
    ++number;
  }
  ProgrammeEnd end;
  end.readCleanly = true;
  run.consumer().end(end);
  run.finish(end);
  return run.outcome();
}

/// Y, Cb and Cr everywhere the same.
CodeFunction flat(int y, int cb, int cr) {
  return [=](int component, int, int) { return component == 0 ? y : component == 1 ? cb : cr; };
}

/// Grey, with white of this code in a rectangle at the top left.
CodeFunction whiteIn(int width, int height, int white = 255) {
  return [=](int component, int x, int y) {
    return component > 0 ? 128 : x < width && y < height ? white : 126;
  };
}

struct Limit {
  AVPixelFormat format;
  int bits;
  std::array<int, 3> inside;
  std::array<int, 3> outside;
  const char* what;
};

class SignalLimits : public testing::TestWithParam<Limit> {};

TEST_P(SignalLimits, AreInside) {
  const Limit& limit = GetParam();
  const auto measured = [&](const std::array<int, 3>& codes) {
    return measure({{.format = limit.format,
                     .width = 16,
                     .height = 720,
                     .code = flat(codes[0], codes[1], codes[2])}});
  };
  EXPECT_EQ(numberOf(measured(limit.inside), "worstShare"), 0.0);
  EXPECT_EQ(numberOf(measured(limit.outside), "worstShare"), 1.0);
}

// BT.709: R' = Y' + 1.5748 * 219/224 * (Cr - 128), B' = Y' + 1.8556 * 219/224 * (Cb - 128) and
// G' = Y' - 0.1873 * 219/224 * (Cb - 128) - 0.4681 * 219/224 * (Cr - 128), in 8-bit codes. From
// 235 to 246 are 11 codes, from 16 to 5 as many.
constexpr Limit kLimits[] = {
    {AV_PIX_FMT_YUV420P, 8, {246, 128, 128}, {247, 128, 128}, "white"},
    {AV_PIX_FMT_YUV420P, 8, {5, 128, 128}, {4, 128, 128}, "black"},
    {AV_PIX_FMT_YUV422P10, 10, {984, 512, 512}, {985, 512, 512}, "white10"},
    {AV_PIX_FMT_YUV422P10, 10, {20, 512, 512}, {19, 512, 512}, "black10"},
    {AV_PIX_FMT_YUV444P12, 12, {3936, 2048, 2048}, {3937, 2048, 2048}, "white12"},
    {AV_PIX_FMT_YUV444P14, 14, {320, 8192, 8192}, {319, 8192, 8192}, "black14"},
    // 1/64 of an 8-bit code are 4 codes.
    {AV_PIX_FMT_YUV444P16, 16, {62979, 32768, 32768}, {62980, 32768, 32768}, "white16"},
    {AV_PIX_FMT_GRAY8, 8, {246, 0, 0}, {247, 0, 0}, "grey"},
    {AV_PIX_FMT_YUV444P, 8, {235, 128, 135}, {235, 128, 136}, "redHigh"},   // 10.8, 12.3
    {AV_PIX_FMT_YUV444P, 8, {16, 128, 121}, {16, 128, 120}, "redLow"},      // -10.8, -12.3
    {AV_PIX_FMT_YUV444P, 8, {235, 134, 128}, {235, 135, 128}, "blueHigh"},  // 10.9, 12.7
    {AV_PIX_FMT_YUV444P, 8, {16, 122, 128}, {16, 121, 128}, "blueLow"},     // -10.9, -12.7
    // 0.1831 * 100 = 18.31; it takes 0.4576 * Cr more to reach 211 + 18.31 + ... = 246.
    {AV_PIX_FMT_YUV444P, 8, {211, 28, 92}, {211, 28, 91}, "greenHigh"},   // 34.8, 35.2 of 35
    {AV_PIX_FMT_YUV444P, 8, {40, 228, 164}, {40, 228, 165}, "greenLow"},  // -34.8, -35.2 of -35
    {AV_PIX_FMT_YUV444P10, 10, {940, 512, 540}, {940, 512, 541}, "redHigh10"},  // 43.1, 44.7 of 44
};
INSTANTIATE_TEST_SUITE_P(All, SignalLimits, testing::ValuesIn(kLimits),
                         [](const auto& info) { return std::string(info.param.what); });

TEST(SignalRange, LegalPicturesPass) {
  const QACheckOutcome outcome =
      measure({{.code = flat(16, 128, 128)}, {.code = flat(235, 128, 128)}});
  EXPECT_FALSE(outcome.broken);
  EXPECT_EQ(outcome.state, QAState::pass);
  EXPECT_EQ(numberOf(outcome, "worstShare"), 0.0);
  EXPECT_EQ(numberOf(outcome, "picturesOver"), 0.0);
  EXPECT_EQ(numberOf(outcome, "pictures"), 2.0);
  EXPECT_NEAR(numberOf(outcome, "lumaMinPercent"), 0.0, 1e-9);
  EXPECT_NEAR(numberOf(outcome, "lumaMaxPercent"), 100.0, 1e-9);
  EXPECT_NEAR(numberOf(outcome, "greenMaxPercent"), 100.0, 1e-9);
  EXPECT_TRUE(outcome.events.empty());
}

TEST(SignalRange, MoreThanTheShareOfAPictureBreaks) {
  const QACheckOutcome at = measure({{.code = whiteIn(10, 10)}});
  EXPECT_EQ(numberOf(at, "worstShare"), 0.01);
  EXPECT_FALSE(at.broken) << "a value on the limit is inside";
  const QACheckOutcome above = measure({{.code = whiteIn(101, 1)}, {.code = whiteIn(11, 10)}});
  EXPECT_EQ(numberOf(above, "worstShare"), 0.011) << "a line of one row does not count";
  EXPECT_EQ(numberOf(above, "worstFrame"), 1.0);
  EXPECT_TRUE(above.broken);
  EXPECT_FALSE(measure({{.code = whiteIn(50, 4)}}, "2").broken);
  EXPECT_TRUE(measure({{.code = whiteIn(50, 4)}}, "1.9").broken);
}

TEST(SignalRange, SinglePixelsShowInTheExtremesAlone) {
  const QACheckOutcome outcome = measure({{.code = [](int component, int x, int y) {
    return component > 0 ? 128 : x % 3 == 1 && y % 3 == 1 ? 255 : 235;
  }}});
  EXPECT_EQ(numberOf(outcome, "worstShare"), 0.0);
  EXPECT_EQ(qatest::findValue(outcome.values, "worstFrame")->value.index(), 0U) << "nothing";
  EXPECT_NEAR(numberOf(outcome, "lumaMaxPercent"), 100.0 * (255 - 16) / 219, 1e-9);
  EXPECT_FALSE(outcome.broken);
}

TEST(SignalRange, BreakingPicturesAreSpansWithTheWorst) {
  // Two spans: what is more than a second apart is an event of its own.
  std::vector<MadePicture> pictures(60, {.width = 20, .height = 20, .code = flat(126, 128, 128)});
  pictures[3].code = whiteIn(10, 10);
  pictures[4].code = whiteIn(20, 10);
  pictures[5].code = whiteIn(10, 10);
  pictures[59].code = whiteIn(10, 4);
  const QACheckOutcome outcome = measure(pictures);
  EXPECT_EQ(numberOf(outcome, "picturesOver"), 4.0);
  EXPECT_EQ(numberOf(outcome, "worstFrame"), 4.0);
  ASSERT_EQ(outcome.events.size(), 2U);
  const QAEvent& first = outcome.events[0];
  EXPECT_NEAR(*first.startSeconds, 0.12, 1e-9);
  EXPECT_NEAR(*first.endSeconds, 0.24, 1e-9) << "where the next good picture stands";
  EXPECT_EQ(first.startFrame, 3);
  EXPECT_EQ(first.endFrame, 6);
  EXPECT_EQ(first.worstFrame, 4);
  EXPECT_NEAR(*first.worstSeconds, 0.16, 1e-9);
  EXPECT_NEAR(*first.value, 50.0, 1e-9);
  EXPECT_EQ(first.limit, 1.0);
  EXPECT_EQ(first.unit, "%");
  const QAEvent& last = outcome.events[1];
  EXPECT_NEAR(*last.startSeconds, 2.36, 1e-9);
  EXPECT_NEAR(*last.endSeconds, 2.40, 1e-9) << "a frame after the last picture";
}

TEST(SignalRange, ColourIsComputedByTheMatrix) {
  // 75 % blue is legal, and the same codes by the other matrix are not quite the same blue.
  const MadePicture blue601{.height = 576, .code = flat(35, 212, 114)};
  const QACheckOutcome sd = measure({blue601});
  EXPECT_NEAR(numberOf(sd, "blueMaxPercent"), 75.0, 1.0);
  EXPECT_NEAR(numberOf(sd, "redMinPercent"), 0.0, 1.0);
  EXPECT_NEAR(numberOf(sd, "greenMinPercent"), 0.0, 1.0);
  MadePicture as709 = blue601;
  as709.matrix = AVCOL_SPC_BT709;
  const QACheckOutcome hd = measure({as709});
  EXPECT_NEAR(numberOf(hd, "blueMaxPercent"), 100.0 * (35 - 16 + 1.8556 * 219 / 224 * 84) / 219,
              0.1);
}

TEST(SignalRange, YellowOfTooMuchLumaIsOutside) {
  // 100 % yellow of BT.709 is 219, 16, 138; 20 codes more of luma lift red and green to 109 %.
  EXPECT_FALSE(measure({{.height = 720, .code = flat(219, 16, 138)}}).broken);
  const QACheckOutcome outcome = measure({{.height = 720, .code = flat(239, 16, 138)}});
  EXPECT_TRUE(outcome.broken);
  EXPECT_NEAR(numberOf(outcome, "redMaxPercent"), 109.0, 0.5);
  EXPECT_NEAR(numberOf(outcome, "lumaMaxPercent"), 100.0 * (239 - 16) / 219, 1e-9);
}

TEST(SignalRange, FullRangeReachesFromEndToEnd) {
  const auto measured = [](const CodeFunction& code) {
    return measure({{.code = code, .range = AVCOL_RANGE_JPEG}});
  };
  const QACheckOutcome white = measured(flat(255, 128, 128));
  EXPECT_NEAR(numberOf(white, "lumaMaxPercent"), 100.0, 1e-9);
  EXPECT_EQ(numberOf(white, "worstShare"), 0.0);
  EXPECT_EQ(numberOf(measured(flat(0, 128, 128)), "worstShare"), 0.0);
  EXPECT_EQ(numberOf(measured(flat(255, 128, 160)), "worstShare"), 1.0) << "red at 117 %";
}

TEST(SignalRange, ColoursWithoutDifferencesAreComparedAsTheyAre) {
  const QACheckOutcome full =
      measure({{.format = AV_PIX_FMT_RGB24,
                .code = [](int component, int, int) { return 127 * component; }}});
  EXPECT_EQ(numberOf(full, "worstShare"), 0.0);
  EXPECT_NEAR(numberOf(full, "blueMaxPercent"), 100.0 * 254 / 255, 1e-9);
  EXPECT_TRUE(std::isnan(numberOf(full, "lumaMaxPercent"))) << "nothing";
  const QACheckOutcome video = measure(
      {{.format = AV_PIX_FMT_GBRP10, .code = flat(500, 985, 500), .range = AVCOL_RANGE_MPEG}});
  EXPECT_EQ(numberOf(video, "worstShare"), 1.0) << "green";
}

TEST(SignalRange, EachPictureIsMeasuredByItsOwnFormat) {
  const QACheckOutcome outcome =
      measure({{.height = 720, .code = flat(235, 128, 128)},
               {.format = AV_PIX_FMT_YUV420P10, .height = 576, .code = flat(64, 512, 512)},
               {.format = AV_PIX_FMT_PAL8}});
  EXPECT_EQ(numberOf(outcome, "worstShare"), 0.0);
  EXPECT_NEAR(numberOf(outcome, "lumaMaxPercent"), 100.0, 1e-9);
  EXPECT_NEAR(numberOf(outcome, "lumaMinPercent"), 0.0, 1e-9);
  EXPECT_EQ(std::get<std::string>(qatest::findValue(outcome.values, "matrix")->value), "several");
  EXPECT_EQ(std::get<std::string>(qatest::findValue(outcome.values, "range")->value), "video");
  EXPECT_NE(outcome.summary.find("1 frame not read"), std::string::npos) << outcome.summary;
}

TEST(SignalRange, DamagedPicturesAreLeftOut) {
  const QACheckOutcome outcome = measure(
      {{.code = flat(126, 128, 128)}, {.code = flat(255, 128, 128), .damage = kDecodeErrors}});
  EXPECT_EQ(numberOf(outcome, "pictures"), 1.0);
  EXPECT_FALSE(outcome.broken);
}

TEST(SignalRange, FormatsThatCannotBeReadAreNotMeasured) {
  const QACheckOutcome outcome = measure({{.format = AV_PIX_FMT_PAL8}});
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_EQ(outcome.reason, "pictures of the format pal8 are not read");
  EXPECT_EQ(measure({}).reason, "no picture could be decoded");
}

}  // namespace
