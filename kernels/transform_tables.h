#pragma once

#include "kernels/kernel_set.h"
#include "platform/heap_object.h"

namespace qivm {

/// The transform kernels that one context has chosen for one direction. Filled before the worker
/// starts and only read afterwards.
class KernelTable : public HeapObject {
 public:
  KernelTable() = default;
  virtual ~KernelTable() = default;
  KernelTable(const KernelTable&) = delete;
  KernelTable& operator=(const KernelTable&) = delete;

  /// Chooses the kernels for a processor; true when none is missing.
  virtual bool Setup(const Processor& processor) = 0;
  /// Takes a macroblock through all its kernels.
  virtual void Run(MacroblockRecord& record) const = 0;
};

class DecoderTransformTable final : public KernelTable {
 public:
  bool Setup(const Processor& processor) override;
  /// From levels in transmission order to samples: inverse scan, dequantisation, inverse DCT.
  void Run(MacroblockRecord& record) const override;

 private:
  MacroblockKernel unscanZigzag_ = nullptr;
  MacroblockKernel unscanAlternate_ = nullptr;
  MacroblockKernel dequantise_ = nullptr;
  MacroblockKernel idct_ = nullptr;
};

class EncoderTransformTable final : public KernelTable {
 public:
  bool Setup(const Processor& processor) override;
  /// From samples to levels in transmission order: DCT, quantisation, scan.
  void Run(MacroblockRecord& record) const override;

 private:
  MacroblockKernel scanZigzag_ = nullptr;
  MacroblockKernel scanAlternate_ = nullptr;
  MacroblockKernel quantise_ = nullptr;
  MacroblockKernel fdct_ = nullptr;
};

}  // namespace qivm
