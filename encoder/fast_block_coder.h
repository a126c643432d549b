#pragma once

#include "encoder/bit_sink.h"
#include "mpeg2/macroblock_record.h"
#include "mpeg2/picture_parameters.h"

namespace qivm {

/// Codes all blocks of a macroblock, whose levelMasks are filled, into a sink with room for them.
/// The bits are those of BlockEncoder::CodeBlock.
void CodeBlocksFast(BitSink& sink, PictureParameters& parameters, MacroblockRecord& record);

}  // namespace qivm
