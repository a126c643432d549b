#include "decoder/picture_reconstruction.h"

namespace qivm {

bool DecodeRows(PictureDecoder& decoder, MacroblockRecord& record,
                const DecoderTransformTable& kernels, const OutputConverter& converter) {
  for (; record.rowCounter < record.rowEnd; ++record.rowCounter) {
    for (record.mbColumnCounter = 0; record.mbColumnCounter < record.mbPerRow;
         ++record.mbColumnCounter) {
      if (!decoder.DecodeNextMacroblock(record)) {
        return false;
      }
      kernels.Run(record);
      converter.ConvertMacroblock(record);
    }
  }
  return true;
}

}  // namespace qivm
