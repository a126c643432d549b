#pragma once

#include "decoder/bit_reader.h"
#include "mpeg2/macroblock_record.h"
#include "mpeg2/picture_parameters.h"

namespace qivm {

/// Decodes all blocks of a macroblock with the bits held in registers. Reads what the portable
/// block decoder reads and leaves what the inverse scan and the dequantisation make of that:
/// coefficients in raster order, scaled by the decoder's weights, zero elsewhere. The blocks must
/// be zero before. No byte outside the frame is touched.
void DecodeBlocksFast(BitReader& reader, PictureParameters& parameters, MacroblockRecord& record);

}  // namespace qivm
