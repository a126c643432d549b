#include "encoder/picture_encoding.h"

namespace qivm {

void EncodeRows(BlockEncoder& encoder, MacroblockRecord& record,
                const EncoderTransformTable& kernels, const InputConverter& converter) {
  for (; record.rowCounter < record.rowEnd && !encoder.Writer().Overflowed(); ++record.rowCounter) {
    for (record.mbColumnCounter = 0; record.mbColumnCounter < record.mbPerRow;
         ++record.mbColumnCounter) {
      record.column = static_cast<std::int16_t>(record.mbColumnCounter);
      record.row = static_cast<std::int16_t>(record.rowCounter);
      converter.ConvertMacroblock(record);
      kernels.Run(record);
      encoder.WriteMacroblock(record);
    }
  }
}

}  // namespace qivm
