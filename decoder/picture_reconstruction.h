#pragma once

#include "decoder/picture_decoder.h"
#include "kernels/output_converter.h"
#include "kernels/transform_tables.h"
#include "mpeg2/macroblock_record.h"

namespace qivm {

/// Decodes the rows from record.rowCounter to record.rowEnd, record.mbPerRow macroblocks each,
/// straight into the converter's bitmap. The counters only count: where a macroblock goes is told
/// by the slice that it comes from. False when the frame ends before the last row.
bool DecodeRows(PictureDecoder& decoder, MacroblockRecord& record,
                const DecoderTransformTable& kernels, const OutputConverter& converter);

}  // namespace qivm
