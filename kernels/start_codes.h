#pragma once

#include <cstdint>

namespace qivm::kernels {

/// The first start code prefix (00 00 01) that begins at or behind `first` and ends before `last`;
/// `last` when there is none.
namespace plain {
const std::uint8_t* FindStartCode(const std::uint8_t* first, const std::uint8_t* last);
}
namespace sse2 {
const std::uint8_t* FindStartCode(const std::uint8_t* first, const std::uint8_t* last);
}
namespace avx2 {
const std::uint8_t* FindStartCode(const std::uint8_t* first, const std::uint8_t* last);
}

}  // namespace qivm::kernels
