#include "kernels/transform_tables.h"

namespace qivm {

bool DecoderTransformTable::Setup(const Processor& processor) {
  const KernelSet kernels = KernelsFor(processor);
  unscanZigzag_ = kernels.unscanZigzag;
  unscanAlternate_ = kernels.unscanAlternate;
  dequantise_ = kernels.dequantise;
  idct_ = kernels.idct;
  return idct_ != nullptr && dequantise_ != nullptr && unscanZigzag_ != nullptr &&
         unscanAlternate_ != nullptr;
}

void DecoderTransformTable::Run(MacroblockRecord& record) const {
  if (!record.dequantised) {
    if (record.parameters.alternateScan == 0) {
      unscanZigzag_(record);
    } else {
      unscanAlternate_(record);
    }
    dequantise_(record);
  }
  idct_(record);
}

bool EncoderTransformTable::Setup(const Processor& processor) {
  const KernelSet kernels = KernelsFor(processor);
  scanZigzag_ = kernels.scanZigzag;
  scanAlternate_ = kernels.scanAlternate;
  quantise_ = kernels.quantise;
  fdct_ = kernels.fdct;
  return fdct_ != nullptr && quantise_ != nullptr && scanZigzag_ != nullptr &&
         scanAlternate_ != nullptr;
}

void EncoderTransformTable::Run(MacroblockRecord& record) const {
  fdct_(record);
  quantise_(record);
  if (record.parameters.alternateScan == 0) {
    scanZigzag_(record);
  } else {
    scanAlternate_(record);
  }
}

}  // namespace qivm
