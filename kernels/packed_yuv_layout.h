#pragma once

#include <cstddef>

/// Byte layouts of the packed 4:2:2 client formats, for both directions. Luma(x) is the offset of
/// pixel x of a 16-pixel macroblock row, Cb(i) and Cr(i) those of the samples of pixel pair i.
namespace qivm::kernels {

/// Two pixels in four bytes.
template <std::size_t kLuma, std::size_t kCb, std::size_t kCr>
struct PairLayout {
  static constexpr bool kGrouped = false;
  static constexpr bool kLumaFirst = kLuma < kCb;
  static constexpr bool kCbFirst = kCb < kCr;
  static constexpr std::size_t Luma(std::size_t x) { return kLuma + 2 * x; }
  static constexpr std::size_t Cb(std::size_t i) { return kCb + 4 * i; }
  static constexpr std::size_t Cr(std::size_t i) { return kCr + 4 * i; }
};
using Yuy2Layout = PairLayout<0, 1, 3>;
using UyvyLayout = PairLayout<1, 0, 2>;
using YvyuLayout = PairLayout<0, 3, 1>;

/// Sixteen pixels as one group: luminance, `kSkipped` bytes of no meaning here, Cb, Cr.
template <std::size_t kSkipped>
struct GroupLayout {
  static constexpr bool kGrouped = true;
  static constexpr std::size_t Luma(std::size_t x) { return x; }
  static constexpr std::size_t Cb(std::size_t i) { return 16 + kSkipped + i; }
  static constexpr std::size_t Cr(std::size_t i) { return 24 + kSkipped + i; }
};
using Y16Layout = GroupLayout<0>;
using Y16ALayout = GroupLayout<16>;

}  // namespace qivm::kernels
