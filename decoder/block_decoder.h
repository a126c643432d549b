#pragma once

#include <cstdint>
#include <span>

#include "decoder/bit_reader.h"
#include "decoder/dc_size_tables.h"

namespace qivm {

/// Reads dct_dc_size with the given table and the differential behind it (7.2.1). Returns the
/// differential.
int DecodeDcDifferential(BitReader& reader, const DcSizeTable& sizes);

/// Reads the AC coefficients of one block coded with Table B-15 (7.2.2): levels go to their
/// positions 1 to 63 in transmission order; positions without a level are left as they are. A run
/// past position 63 or a code in no table ends the block.
void DecodeAc(BitReader& reader, std::span<std::int16_t, 64> block);

}  // namespace qivm
