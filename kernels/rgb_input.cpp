#include "kernels/rgb_input.h"

#include "kernels/macroblock_rows.h"

namespace qivm::kernels::plain {

namespace {

struct Rgb {
  std::int32_t red;
  std::int32_t green;
  std::int32_t blue;
};

// The factors are 65535 times 0.257, 0.504, 0.098; 0.148, 0.291, 0.439; 0.439, 0.368, 0.071. The
// quotients are rounded toward zero.
constexpr std::int32_t kUnit = 65535;

constexpr std::int16_t Luma(const Rgb& c) {
  return static_cast<std::int16_t>((16843 * c.red + 33030 * c.green + 6423 * c.blue) / kUnit + 16);
}
constexpr std::int16_t Cb(const Rgb& c) {
  return static_cast<std::int16_t>((-9699 * c.red - 19071 * c.green + 28770 * c.blue) / kUnit +
                                   128);
}
constexpr std::int16_t Cr(const Rgb& c) {
  return static_cast<std::int16_t>((28770 * c.red - 24117 * c.green - 4653 * c.blue) / kUnit + 128);
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
          luma[0] = Luma(left);
          luma[1] = Luma(right);
          row.cb[i] = Cb(average);
          row.cr[i] = Cr(average);
          pixel += 2 * kBytesPerPixel;
        }
      });
}

}  // namespace

void Rgb24Input(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep) {
  RgbInput<3>(blocks, pixels, rowStep);
}

void Rgb32Input(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep) {
  RgbInput<4>(blocks, pixels, rowStep);
}

}  // namespace qivm::kernels::plain
