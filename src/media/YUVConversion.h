#pragma once

#include <array>

namespace qatester {

constexpr float kBt601Kb = 0.114F;
constexpr float kBt601Kr = 0.299F;

/// The terms of the studio-range conversion from Y'CbCr to R'G'B' for one set of luma coefficients
/// (ITU-R BT.601, BT.709), in single precision and in the order of operations that results are
/// compared by. A channel is the sum, from the left and then truncated, of
///
///     R: luma + redOfCr      G: luma + greenOfCb + greenOfCr      B: luma + blueOfCb
class YUVConversion {
 public:
  constexpr YUVConversion(float kb, float kr)
      : redCr_((1.0F - kr) * kChromaRange),
        greenCb_(-kb * (1.0F - kb) * kChromaRange / ((1.0F - kb) - kr)),
        greenCr_(-kr * (1.0F - kr) * kChromaRange / ((1.0F - kb) - kr)),
        blueCb_((1.0F - kb) * kChromaRange) {}

  static constexpr float luma(int y) { return static_cast<float>(y - kBlack) * kLumaRange; }
  constexpr float redOfCr(int v) const { return redCr_ * static_cast<float>(v - kNeutral); }
  constexpr float greenOfCb(int u) const { return greenCb_ * static_cast<float>(u - kNeutral); }
  constexpr float greenOfCr(int v) const { return greenCr_ * static_cast<float>(v - kNeutral); }
  constexpr float blueOfCb(int u) const { return blueCb_ * static_cast<float>(u - kNeutral); }

 private:
  static constexpr int kBlack = 16;
  static constexpr int kNeutral = 128;
  static constexpr float kLumaRange = 1.1643835F;    // 255 / 219
  static constexpr float kChromaRange = 2.2767856F;  // 255 / 112

  float redCr_;
  float greenCb_;
  float greenCr_;
  float blueCb_;
};

/// The terms of BT.601 for every 8-bit code value: a channel is a sum of two or three of them,
/// which is bit for bit what `YUVHelper::YUVtoRGB601` adds up.
struct Bt601Terms {
  using Terms = std::array<float, 256>;

  Terms luma{};
  Terms redOfCr{};
  Terms greenOfCb{};
  Terms greenOfCr{};
  Terms blueOfCb{};

  constexpr Bt601Terms() {
    constexpr YUVConversion conversion(kBt601Kb, kBt601Kr);
    for (int code = 0; code < 256; ++code) {
      const auto at = static_cast<std::size_t>(code);
      luma[at] = YUVConversion::luma(code);
      redOfCr[at] = conversion.redOfCr(code);
      greenOfCb[at] = conversion.greenOfCb(code);
      greenOfCr[at] = conversion.greenOfCr(code);
      blueOfCb[at] = conversion.blueOfCb(code);
    }
  }

  constexpr float red(int y, int v) const { return luma[at(y)] + redOfCr[at(v)]; }
  constexpr float green(int y, int u, int v) const {
    return luma[at(y)] + greenOfCb[at(u)] + greenOfCr[at(v)];
  }
  constexpr float blue(int y, int u) const { return luma[at(y)] + blueOfCb[at(u)]; }

 private:
  static constexpr std::size_t at(int code) { return static_cast<std::size_t>(code); }
};

inline constexpr Bt601Terms kBt601Terms{};

}  // namespace qatester
