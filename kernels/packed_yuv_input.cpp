#include "kernels/packed_yuv_input.h"

#include "kernels/macroblock_rows.h"

namespace qivm::kernels::plain {

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

template void PackedYuvInput<Yuy2Layout>(std::int16_t*, const std::uint8_t*, std::ptrdiff_t);
template void PackedYuvInput<UyvyLayout>(std::int16_t*, const std::uint8_t*, std::ptrdiff_t);
template void PackedYuvInput<YvyuLayout>(std::int16_t*, const std::uint8_t*, std::ptrdiff_t);
template void PackedYuvInput<Y16Layout>(std::int16_t*, const std::uint8_t*, std::ptrdiff_t);
template void PackedYuvInput<Y16ALayout>(std::int16_t*, const std::uint8_t*, std::ptrdiff_t);

}  // namespace qivm::kernels::plain
