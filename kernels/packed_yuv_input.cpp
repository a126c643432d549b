#include "kernels/packed_yuv_input.h"

#include "kernels/macroblock_rows.h"
#include "kernels/packed_yuv_layout.h"
#include "kernels/simd/intrinsics.h"

namespace qivm::kernels::plain {

namespace {

template <typename Layout>
void PackedYuvInput(std::int16_t* blocks, const std::uint8_t* pixels, std::ptrdiff_t rowStep) {
  ForEachRow<Arrangement::field>(pixels, blocks, rowStep,
                                 [](const std::uint8_t* bytes, const SampleRow<std::int16_t>& row) {
                                   for (std::size_t x = 0; x < 16; ++x) {
                                     row.luma[x / 8][x % 8] = bytes[Layout::Luma(x)];
                                   }
                                   for (std::size_t i = 0; i < 8; ++i) {
                                     row.cb[i] = bytes[Layout::Cb(i)];
                                     row.cr[i] = bytes[Layout::Cr(i)];
                                   }
                                 });
}

}  // namespace

void AddPackedYuvInput(KernelSet& kernels) {
  kernels.Input(ClientFormat::yuy2) = &PackedYuvInput<Yuy2Layout>;
  kernels.Input(ClientFormat::uyvy) = &PackedYuvInput<UyvyLayout>;
  kernels.Input(ClientFormat::yvyu) = &PackedYuvInput<YvyuLayout>;
  kernels.Input(ClientFormat::y16) = &PackedYuvInput<Y16Layout>;
  kernels.Input(ClientFormat::y16a) = &PackedYuvInput<Y16ALayout>;
}

}  // namespace qivm::kernels::plain

#define QIVM_SIMD_SOURCE "kernels/packed_yuv_input_simd.inc"
#include "kernels/simd/for_each_target.inc"
