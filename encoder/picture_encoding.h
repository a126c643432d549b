#pragma once

#include "encoder/block_encoder.h"
#include "kernels/input_converter.h"
#include "kernels/transform_tables.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

/// Codes the rows from record.rowCounter to record.rowEnd, record.mbPerRow macroblocks each,
/// straight from the converter's bitmap. Stops early when the encoder's output is full.
void EncodeRows(BlockEncoder& encoder, MacroblockRecord& record,
                const EncoderTransformTable& kernels, const InputConverter& converter);

}  // namespace qivm
