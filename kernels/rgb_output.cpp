#include "kernels/rgb_output.h"

#include "kernels/clamp.h"
#include "kernels/macroblock_rows.h"
#include "kernels/simd/intrinsics.h"
#include "kernels/wrapping_int.h"

namespace qivm::kernels {

namespace {

// 65536 times 1.164, 1.596, 0.392, 0.813 and 2.018; the offsets of the studio range (16 and 128)
// and the rounding are folded into one constant a component.
constexpr std::int32_t kLuma = 76283;
constexpr std::int32_t kRedFromCr = 104595;
constexpr std::int32_t kGreenFromCb = 25674;
constexpr std::int32_t kGreenFromCr = 53278;
constexpr std::int32_t kBlueFromCb = 132251;
constexpr std::int32_t kRedOffset = -14575920;
constexpr std::int32_t kGreenOffset = 8918096;
constexpr std::int32_t kBlueOffset = -18115888;

}  // namespace

namespace plain {

namespace {

template <Arrangement kArrangement, std::size_t kBytesPerPixel>
void RgbOutput(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep) {
  ForEachRow<kArrangement>(
      pixels, blocks, rowStep, [](std::uint8_t* pixel, const SampleRow<const std::int16_t>& row) {
        for (std::size_t x = 0; x < 16; ++x) {
          const WrappingInt y = WrappingInt(kLuma) * row.luma[x / 8][x % 8];
          const WrappingInt cb = row.cb[x / 2];
          const WrappingInt cr = row.cr[x / 2];
          const WrappingInt blue = y + cb * kBlueFromCb + kBlueOffset;
          const WrappingInt green = y - cb * kGreenFromCb - cr * kGreenFromCr + kGreenOffset;
          const WrappingInt red = y + cr * kRedFromCr + kRedOffset;
          pixel[0] = ClampToByte((blue >> 16).Value());
          pixel[1] = ClampToByte((green >> 16).Value());
          pixel[2] = ClampToByte((red >> 16).Value());
          pixel += kBytesPerPixel;
        }
      });
}

template <std::size_t kBytesPerPixel>
constexpr OutputKernelPair kRgbOutput = {&RgbOutput<Arrangement::frame, kBytesPerPixel>,
                                         &RgbOutput<Arrangement::field, kBytesPerPixel>};

}  // namespace

void AddRgbOutput(KernelSet& kernels) {
  kernels.Output(ClientFormat::rgb24) = kRgbOutput<3>;
  kernels.Output(ClientFormat::rgb32) = kRgbOutput<4>;
}

}  // namespace plain

}  // namespace qivm::kernels

#define QIVM_SIMD_SOURCE "kernels/rgb_output_simd.inc"
#include "kernels/simd/for_each_target.inc"
