#include "kernels/packed_yuv_output.h"

#include "kernels/clamp.h"

namespace qivm::kernels::plain {

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

template void PackedYuvOutput<Yuy2Layout, Arrangement::frame>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<Yuy2Layout, Arrangement::field>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<UyvyLayout, Arrangement::frame>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<UyvyLayout, Arrangement::field>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<YvyuLayout, Arrangement::frame>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<YvyuLayout, Arrangement::field>(std::uint8_t*, const std::int16_t*,
                                                              std::ptrdiff_t);
template void PackedYuvOutput<Y16Layout, Arrangement::frame>(std::uint8_t*, const std::int16_t*,
                                                             std::ptrdiff_t);
template void PackedYuvOutput<Y16Layout, Arrangement::field>(std::uint8_t*, const std::int16_t*,
                                                             std::ptrdiff_t);

}  // namespace qivm::kernels::plain
