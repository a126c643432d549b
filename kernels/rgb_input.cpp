#include "kernels/rgb_input.h"

#include "kernels/macroblock_rows.h"
#include "kernels/simd/intrinsics.h"

namespace qivm::kernels {

namespace {

/// A row of the conversion matrix.
struct Factors {
  std::int32_t red;
  std::int32_t green;
  std::int32_t blue;
};

// 65535 times 0.257, 0.504, 0.098; -0.148, -0.291, 0.439; 0.439, -0.368, -0.071. The quotients are
// rounded toward zero.
constexpr std::int32_t kUnit = 65535;
constexpr Factors kLuma = {16843, 33030, 6423};
constexpr Factors kCb = {-9699, -19071, 28770};
constexpr Factors kCr = {28770, -24117, -4653};
constexpr std::int32_t kLumaOffset = 16;
constexpr std::int32_t kChromaOffset = 128;

}  // namespace

namespace plain {

namespace {

struct Rgb {
  std::int32_t red;
  std::int32_t green;
  std::int32_t blue;
};

constexpr std::int16_t Convert(const Rgb& colour, const Factors& factors, std::int32_t offset) {
  const std::int32_t sum =
      factors.red * colour.red + factors.green * colour.green + factors.blue * colour.blue;
  return static_cast<std::int16_t>(sum / kUnit + offset);
}

template <std::size_t kBytesPerPixel>
void RgbInput(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep) {
  ForEachRow<Arrangement::field>(
      pixels, blocks, rowStep, [](const std::uint8_t* pixel, const SampleRow<std::int16_t>& row) {
        for (std::size_t i = 0; i < 8; ++i) {
          const std::uint8_t* const next = pixel + kBytesPerPixel;
          const Rgb left = {pixel[2], pixel[1], pixel[0]};
          const Rgb right = {next[2], next[1], next[0]};
          const Rgb average = {(left.red + right.red) >> 1, (left.green + right.green) >> 1,
                               (left.blue + right.blue) >> 1};
          std::int16_t* const luma = row.luma[i / 4] + 2 * (i % 4);
          luma[0] = Convert(left, kLuma, kLumaOffset);
          luma[1] = Convert(right, kLuma, kLumaOffset);
          row.cb[i] = Convert(average, kCb, kChromaOffset);
          row.cr[i] = Convert(average, kCr, kChromaOffset);
          pixel += 2 * kBytesPerPixel;
        }
      });
}

}  // namespace

void AddRgbInput(KernelSet& kernels) {
  kernels.Input(ClientFormat::rgb24) = &RgbInput<3>;
  kernels.Input(ClientFormat::rgb32) = &RgbInput<4>;
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/rgb_input_simd.inc"
#include "kernels/simd/for_each_target.inc"
