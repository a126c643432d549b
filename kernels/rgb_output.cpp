#include "kernels/rgb_output.h"

#include "kernels/clamp.h"
#include "kernels/wrapping_int.h"

namespace qivm::kernels::plain {

namespace {

// 65536 times 1.164, 1.596, 0.392, 0.813 and 2.018; the offsets of the studio range (16 and 128)
// and the rounding are folded into one constant a component.
constexpr WrappingInt kLuma = 76283;
constexpr WrappingInt kRedFromCr = 104595;
constexpr WrappingInt kGreenFromCb = 25674;
constexpr WrappingInt kGreenFromCr = 53278;
constexpr WrappingInt kBlueFromCb = 132251;
constexpr WrappingInt kRedOffset = -14575920;
constexpr WrappingInt kGreenOffset = 8918096;
constexpr WrappingInt kBlueOffset = -18115888;

template <Arrangement kArrangement, std::size_t kBytesPerPixel>
void RgbOutput(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep) {
  ForEachRow<kArrangement>(
      pixels, blocks, rowStep, [](std::uint8_t* pixel, const SampleRow<const std::int16_t>& row) {
        for (std::size_t x = 0; x < 16; ++x) {
          const WrappingInt y = kLuma * row.luma[x / 8][x % 8];
          const WrappingInt cb = row.cb[x / 2];
          const WrappingInt cr = row.cr[x / 2];
          const WrappingInt blue = y + kBlueFromCb * cb + kBlueOffset;
          const WrappingInt green = y - kGreenFromCb * cb - kGreenFromCr * cr + kGreenOffset;
          const WrappingInt red = y + kRedFromCr * cr + kRedOffset;
          pixel[0] = ClampToByte((blue >> 16).Value());
          pixel[1] = ClampToByte((green >> 16).Value());
          pixel[2] = ClampToByte((red >> 16).Value());
          pixel += kBytesPerPixel;
        }
      });
}

}  // namespace

template <Arrangement kArrangement>
void Rgb24Output(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep) {
  RgbOutput<kArrangement, 3>(pixels, blocks, rowStep);
}

template <Arrangement kArrangement>
void Rgb32Output(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep) {
  RgbOutput<kArrangement, 4>(pixels, blocks, rowStep);
}

template void Rgb24Output<Arrangement::frame>(std::uint8_t*, const std::int16_t*, std::ptrdiff_t);
template void Rgb24Output<Arrangement::field>(std::uint8_t*, const std::int16_t*, std::ptrdiff_t);
template void Rgb32Output<Arrangement::frame>(std::uint8_t*, const std::int16_t*, std::ptrdiff_t);
template void Rgb32Output<Arrangement::field>(std::uint8_t*, const std::int16_t*, std::ptrdiff_t);

}  // namespace qivm::kernels::plain
