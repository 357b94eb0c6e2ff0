#include "media/PlanarSound.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace {

using qatester::writeFractions;

using Frame = std::shared_ptr<AVFrame>;

Frame emptyBlock(AVSampleFormat format, int channels, int samples) {
  Frame frame(av_frame_alloc(), [](AVFrame* one) { av_frame_free(&one); });
  frame->format = format;
  frame->nb_samples = samples;
  frame->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
  frame->ch_layout.nb_channels = channels;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  return frame;
}

/// A block whose channels hold these values.
template <typename T>
Frame blockOfChannels(AVSampleFormat format, const std::vector<std::vector<T>>& channels) {
  const std::size_t count = channels.size();
  const std::size_t samples = channels.front().size();
  Frame frame = emptyBlock(format, static_cast<int>(count), static_cast<int>(samples));
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  for (std::size_t channel = 0; channel < count; ++channel) {
    T* to = reinterpret_cast<T*>(frame->extended_data[planar ? channel : 0]);
    for (std::size_t i = 0; i < samples; ++i) {
      to[planar ? i : i * count + channel] = channels[channel][i];
    }
  }
  return frame;
}

/// What is written of a channel, and nothing beyond it.
std::vector<float> fractionsOf(const AVFrame& block, int channel, int64_t expectedBad = 0) {
  constexpr float kUntouched = 77.0F;
  std::vector<float> fractions(static_cast<std::size_t>(block.nb_samples) + 1, kUntouched);
  EXPECT_EQ(writeFractions(block, channel, fractions.data()), expectedBad);
  EXPECT_EQ(fractions.back(), kUntouched);
  fractions.pop_back();
  return fractions;
}

using Fractions = std::vector<float>;

/// Integers of either order: the extremes, halves, and the smallest steps.
template <typename T>
void expectIntegers(AVSampleFormat packed, AVSampleFormat planar) {
  constexpr T kHalf = std::numeric_limits<T>::max() / 2 + 1;
  constexpr auto kStep = static_cast<float>(1.0 / (2.0 * static_cast<double>(kHalf)));
  const std::vector<std::vector<T>> channels{
      {std::numeric_limits<T>::min(), static_cast<T>(-kHalf), -1, 0},
      {1, kHalf, std::numeric_limits<T>::max(), 3}};
  for (const AVSampleFormat format : {packed, planar}) {
    const Frame block = blockOfChannels(format, channels);
    EXPECT_EQ(fractionsOf(*block, 0), (Fractions{-1.0F, -0.5F, -kStep, 0.0F}));
    EXPECT_EQ(
        fractionsOf(*block, 1),
        (Fractions{kStep, 0.5F, static_cast<float>(1.0 - 1.0 / (2.0 * static_cast<double>(kHalf))),
                   3 * kStep}));
    EXPECT_TRUE(qatester::hasIntegerSamples(*block));
    EXPECT_EQ(qatester::bytesPerSample(*block), static_cast<int>(sizeof(T)));
  }
}

TEST(PlanarSound, Writes8Bits) {
  for (const AVSampleFormat format : {AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_U8P}) {
    const Frame block = blockOfChannels<uint8_t>(format, {{0, 64, 127}, {128, 129, 255}});
    EXPECT_EQ(fractionsOf(*block, 0), (Fractions{-1.0F, -0.5F, -0x1p-7F}));
    EXPECT_EQ(fractionsOf(*block, 1), (Fractions{0.0F, 0x1p-7F, 1.0F - 0x1p-7F}));
    EXPECT_TRUE(qatester::hasIntegerSamples(*block));
    EXPECT_EQ(qatester::bytesPerSample(*block), 1);
  }
}

TEST(PlanarSound, Writes16Bits) {
  expectIntegers<int16_t>(AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P);
}

TEST(PlanarSound, Writes32Bits) {
  expectIntegers<int32_t>(AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P);
}

TEST(PlanarSound, Writes64Bits) {
  expectIntegers<int64_t>(AV_SAMPLE_FMT_S64, AV_SAMPLE_FMT_S64P);
}

TEST(PlanarSound, TwentyFourBitsAreExact) {
  constexpr int32_t kMost = (1 << 23) - 1;
  const Frame block = blockOfChannels<int32_t>(
      AV_SAMPLE_FMT_S32P, {{kMost * 256, -kMost * 256, 256, (kMost / 3) * 256}});
  EXPECT_EQ(fractionsOf(*block, 0), (Fractions{1.0F - 0x1p-23F, 0x1p-23F - 1.0F, 0x1p-23F,
                                               static_cast<float>(kMost / 3) / 0x1p23F}));
}

/// Fractions as they are, and what is no sound.
template <typename T>
void expectFractions(AVSampleFormat packed, AVSampleFormat planar) {
  constexpr T kNone = std::numeric_limits<T>::quiet_NaN();
  constexpr T kInfinite = std::numeric_limits<T>::infinity();
  const std::vector<std::vector<T>> channels{
      {T(0.25), T(-1.5), kNone, kInfinite, -kInfinite, T(1e30), T(-1e30), T(1e-45)},
      {T(1e6), T(-1e6), T(1000001), T(-1000001), std::numeric_limits<T>::max(),
       std::numeric_limits<T>::lowest(), T(0), T(1)}};
  for (const AVSampleFormat format : {packed, planar}) {
    const Frame block = blockOfChannels(format, channels);
    EXPECT_EQ(fractionsOf(*block, 0, 5),
              (Fractions{0.25F, -1.5F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1e-45F}));
    EXPECT_EQ(fractionsOf(*block, 1, 4),
              (Fractions{1e6F, -1e6F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1.0F}));
    EXPECT_FALSE(qatester::hasIntegerSamples(*block));
    EXPECT_EQ(qatester::bytesPerSample(*block), static_cast<int>(sizeof(T)));
  }
}

TEST(PlanarSound, WritesFloatsWithoutWhatIsNoSound) {
  expectFractions<float>(AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP);
}

TEST(PlanarSound, WritesDoublesWithoutWhatIsNoSound) {
  expectFractions<double>(AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBLP);
}

TEST(PlanarSound, FindsEachOfManyChannels) {
  // More than fit into the planes that a frame itself has room for.
  std::vector<std::vector<int16_t>> channels;
  for (int i = 0; i < 16; ++i) {
    channels.push_back({static_cast<int16_t>(i), static_cast<int16_t>(100 + i)});
  }
  for (const AVSampleFormat format : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P}) {
    const Frame block = blockOfChannels(format, channels);
    for (int i = 0; i < 16; ++i) {
      EXPECT_EQ(fractionsOf(*block, i), (Fractions{static_cast<float>(i) / 32768.0F,
                                                   static_cast<float>(100 + i) / 32768.0F}));
    }
  }
}

TEST(PlanarSound, AChannelThatIsNotThereIsSilent) {
  for (const AVSampleFormat format : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLTP}) {
    Frame block = emptyBlock(format, 2, 3);
    EXPECT_EQ(fractionsOf(*block, 2), Fractions(3, 0.0F));
    EXPECT_EQ(fractionsOf(*block, -1), Fractions(3, 0.0F));
  }
}

TEST(PlanarSound, AFormatWithoutValuesIsSilent) {
  Frame block = emptyBlock(AV_SAMPLE_FMT_S16, 2, 3);
  for (const int format : {static_cast<int>(AV_SAMPLE_FMT_NONE), 1000}) {
    block->format = format;
    EXPECT_EQ(fractionsOf(*block, 0), Fractions(3, 0.0F));
  }
  block->format = AV_SAMPLE_FMT_NONE;
  EXPECT_FALSE(qatester::hasIntegerSamples(*block));
}

TEST(PlanarSound, AnEmptyBlockHasNothing) {
  const AVFrame none{};
  EXPECT_EQ(fractionsOf(none, 0), Fractions{});
}

}  // namespace
