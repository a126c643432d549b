#include "kernels/packed_yuv_output.h"

#include "kernels/clamp.h"
#include "kernels/macroblock_rows.h"
#include "kernels/packed_yuv_layout.h"
#include "kernels/simd/intrinsics.h"

namespace qivm::kernels::plain {

namespace {

template <typename Layout, Arrangement kArrangement>
void PackedYuvOutput(std::uint8_t* pixels, const std::int16_t* blocks, std::ptrdiff_t rowStep) {
  ForEachRow<kArrangement>(pixels, blocks, rowStep,
                           [](std::uint8_t* bytes, const SampleRow<const std::int16_t>& row) {
                             for (std::size_t x = 0; x < 16; ++x) {
                               bytes[Layout::Luma(x)] = ClampToByte(row.luma[x / 8][x % 8]);
                             }
                             for (std::size_t i = 0; i < 8; ++i) {
                               bytes[Layout::Cb(i)] = ClampToByte(row.cb[i]);
                               bytes[Layout::Cr(i)] = ClampToByte(row.cr[i]);
                             }
                           });
}

template <typename Layout>
constexpr OutputKernelPair kPackedYuvOutput = {&PackedYuvOutput<Layout, Arrangement::frame>,
                                               &PackedYuvOutput<Layout, Arrangement::field>};

}  // namespace

void AddPackedYuvOutput(KernelSet& kernels) {
  kernels.Output(ClientFormat::yuy2) = kPackedYuvOutput<Yuy2Layout>;
  kernels.Output(ClientFormat::uyvy) = kPackedYuvOutput<UyvyLayout>;
  kernels.Output(ClientFormat::yvyu) = kPackedYuvOutput<YvyuLayout>;
  kernels.Output(ClientFormat::y16) = kPackedYuvOutput<Y16Layout>;
}

}  // namespace qivm::kernels::plain

#define QIVM_SIMD_SOURCE "kernels/packed_yuv_output_simd.inc"
#include "kernels/simd/for_each_target.inc"
