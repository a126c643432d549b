#include "kernels/kernel_set.h"

#include "kernels/fdct.h"
#include "kernels/idct.h"
#include "kernels/level_mask.h"
#include "kernels/packed_yuv_input.h"
#include "kernels/packed_yuv_output.h"
#include "kernels/quantise.h"
#include "kernels/rgb_input.h"
#include "kernels/rgb_output.h"
#include "kernels/scan.h"

namespace qivm {

namespace {

namespace plain = kernels::plain;
namespace mmx = kernels::mmx;
namespace mmx_extended = kernels::mmx_extended;
namespace sse2 = kernels::sse2;
namespace avx2 = kernels::avx2;

KernelSet PlainKernels() {
  KernelSet kernels = {.unscanZigzag = &plain::UnscanZigzag,
                       .unscanAlternate = &plain::UnscanAlternate,
                       .dequantise = &plain::Dequantise,
                       .idct = &plain::Idct,
                       .scanZigzag = &plain::ScanZigzag,
                       .scanAlternate = &plain::ScanAlternate,
                       .quantise = &plain::Quantise,
                       .fdct = &plain::Fdct,
                       .levelMask = &plain::LevelMask};
  plain::AddPackedYuvOutput(kernels);
  plain::AddRgbOutput(kernels);
  plain::AddPackedYuvInput(kernels);
  plain::AddRgbInput(kernels);
  return kernels;
}

KernelSet MmxKernels() {
  KernelSet kernels = {.unscanZigzag = &mmx::UnscanZigzag,
                       .unscanAlternate = &mmx::UnscanAlternate,
                       .dequantise = &mmx::Dequantise,
                       .idct = &mmx::Idct,
                       .scanZigzag = &mmx::ScanZigzag,
                       .scanAlternate = &mmx::ScanAlternate,
                       .quantise = &mmx::Quantise,
                       .fdct = &mmx::Fdct,
                       .levelMask = &plain::LevelMask};
  mmx::AddPackedYuvOutput(kernels);
  mmx::AddRgbOutput(kernels);
  mmx::AddPackedYuvInput(kernels);
  mmx::AddRgbInput(kernels);
  return kernels;
}

KernelSet MmxExtendedKernels() {
  KernelSet kernels = {.unscanZigzag = &mmx_extended::UnscanZigzag,
                       .unscanAlternate = &mmx_extended::UnscanAlternate,
                       .dequantise = &mmx_extended::Dequantise,
                       .idct = &mmx::Idct,
                       .scanZigzag = &mmx_extended::ScanZigzag,
                       .scanAlternate = &mmx_extended::ScanAlternate,
                       .quantise = &mmx_extended::Quantise,
                       .fdct = &mmx::Fdct,
                       .levelMask = &plain::LevelMask};
  mmx_extended::AddPackedYuvOutput(kernels);
  mmx_extended::AddRgbOutput(kernels);
  mmx_extended::AddPackedYuvInput(kernels);
  mmx_extended::AddRgbInput(kernels);
  return kernels;
}

KernelSet Sse2Kernels() {
  KernelSet kernels = {.unscanZigzag = &sse2::UnscanZigzag,
                       .unscanAlternate = &sse2::UnscanAlternate,
                       .dequantise = &sse2::Dequantise,
                       .idct = &sse2::Idct,
                       .scanZigzag = &sse2::ScanZigzag,
                       .scanAlternate = &sse2::ScanAlternate,
                       .quantise = &sse2::Quantise,
                       .fdct = &sse2::Fdct,
                       .levelMask = &sse2::LevelMask};
  sse2::AddPackedYuvOutput(kernels);
  sse2::AddRgbOutput(kernels);
  sse2::AddPackedYuvInput(kernels);
  sse2::AddRgbInput(kernels);
  return kernels;
}

KernelSet Avx2Kernels() {
  KernelSet kernels = {.unscanZigzag = &avx2::UnscanZigzag,
                       .unscanAlternate = &avx2::UnscanAlternate,
                       .dequantise = &avx2::Dequantise,
                       .idct = &avx2::Idct,
                       .scanZigzag = &avx2::ScanZigzag,
                       .scanAlternate = &avx2::ScanAlternate,
                       .quantise = &avx2::Quantise,
                       .fdct = &avx2::Fdct,
                       .levelMask = &sse2::LevelMask};
  avx2::AddPackedYuvOutput(kernels);
  avx2::AddRgbOutput(kernels);
  avx2::AddPackedYuvInput(kernels);
  avx2::AddRgbInput(kernels);
  return kernels;
}

}  // namespace

KernelSet KernelsFor(CpuClass cpuClass, bool avx2) {
  switch (GroupOf(cpuClass)) {
    case KernelGroup::mmx:
      return MmxKernels();
    case KernelGroup::mmxExtended:
      return MmxExtendedKernels();
    case KernelGroup::sse2:
      return avx2 ? Avx2Kernels() : Sse2Kernels();
    case KernelGroup::plain:
      break;
  }
  return PlainKernels();
}

}  // namespace qivm
