#include "kernels/kernel_set.h"

#include "kernels/fdct.h"
#include "kernels/idct.h"
#include "kernels/packed_yuv_input.h"
#include "kernels/packed_yuv_output.h"
#include "kernels/rgb_input.h"
#include "kernels/rgb_output.h"
#include "kernels/start_codes.h"

namespace qivm {

namespace {

namespace plain = kernels::plain;
namespace sse2 = kernels::sse2;
namespace avx2 = kernels::avx2;

KernelSet PlainKernels() {
  KernelSet kernels = {.findStartCode = &plain::FindStartCode,
                       .dequantise = &plain::Dequantise,
                       .idct = &plain::Idct,
                       .fdct = &plain::Fdct,
                       .quantise = &plain::Quantise,
                       .codeLevels = &plain::CodeLevels};
  plain::AddPackedYuvOutput(kernels);
  plain::AddRgbOutput(kernels);
  plain::AddPackedYuvInput(kernels);
  plain::AddRgbInput(kernels);
  return kernels;
}

KernelSet Sse2Kernels() {
  KernelSet kernels = {.findStartCode = &sse2::FindStartCode,
                       .dequantise = &sse2::Dequantise,
                       .idct = &sse2::Idct,
                       .fdct = &sse2::Fdct,
                       .quantise = &sse2::Quantise,
                       .codeLevels = &plain::CodeLevels};
  sse2::AddPackedYuvOutput(kernels);
  sse2::AddRgbOutput(kernels);
  sse2::AddPackedYuvInput(kernels);
  sse2::AddRgbInput(kernels);
  return kernels;
}

KernelSet Avx2Kernels() {
  KernelSet kernels = {.findStartCode = &avx2::FindStartCode,
                       .dequantise = &avx2::Dequantise,
                       .idct = &avx2::Idct,
                       .fdct = &avx2::Fdct,
                       .quantise = &avx2::Quantise,
                       .codeLevels = &avx2::CodeLevels};
  avx2::AddPackedYuvOutput(kernels);
  avx2::AddRgbOutput(kernels);
  avx2::AddPackedYuvInput(kernels);
  avx2::AddRgbInput(kernels);
  return kernels;
}

}  // namespace

KernelSet KernelsFor(KernelTier tier) {
  switch (tier) {
    case KernelTier::avx2:
      return Avx2Kernels();
    case KernelTier::sse2:
      return Sse2Kernels();
    case KernelTier::plain:
      break;
  }
  return PlainKernels();
}

}  // namespace qivm
