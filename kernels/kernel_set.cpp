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

using kernels::Arrangement;
namespace plain = kernels::plain;

constexpr std::size_t Index(ClientFormat format) { return static_cast<std::size_t>(format); }

template <typename Layout>
constexpr OutputKernelPair PlainPackedYuvOutput() {
  return {&plain::PackedYuvOutput<Layout, Arrangement::frame>,
          &plain::PackedYuvOutput<Layout, Arrangement::field>};
}

KernelSet PlainKernels() {
  KernelSet set;
  set.unscanZigzag = &plain::UnscanZigzag;
  set.unscanAlternate = &plain::UnscanAlternate;
  set.dequantise = &plain::Dequantise;
  set.idct = &plain::Idct;
  set.scanZigzag = &plain::ScanZigzag;
  set.scanAlternate = &plain::ScanAlternate;
  set.quantise = &plain::Quantise;
  set.fdct = &plain::Fdct;
  set.levelMask = &plain::LevelMask;

  set.output[Index(ClientFormat::rgb24)] = {&plain::Rgb24Output<Arrangement::frame>,
                                            &plain::Rgb24Output<Arrangement::field>};
  set.output[Index(ClientFormat::rgb32)] = {&plain::Rgb32Output<Arrangement::frame>,
                                            &plain::Rgb32Output<Arrangement::field>};
  set.output[Index(ClientFormat::yuy2)] = PlainPackedYuvOutput<kernels::Yuy2Layout>();
  set.output[Index(ClientFormat::uyvy)] = PlainPackedYuvOutput<kernels::UyvyLayout>();
  set.output[Index(ClientFormat::yvyu)] = PlainPackedYuvOutput<kernels::YvyuLayout>();
  set.output[Index(ClientFormat::y16)] = PlainPackedYuvOutput<kernels::Y16Layout>();

  set.input[Index(ClientFormat::rgb24)] = &plain::Rgb24Input;
  set.input[Index(ClientFormat::rgb32)] = &plain::Rgb32Input;
  set.input[Index(ClientFormat::yuy2)] = &plain::PackedYuvInput<kernels::Yuy2Layout>;
  set.input[Index(ClientFormat::uyvy)] = &plain::PackedYuvInput<kernels::UyvyLayout>;
  set.input[Index(ClientFormat::yvyu)] = &plain::PackedYuvInput<kernels::YvyuLayout>;
  set.input[Index(ClientFormat::y16)] = &plain::PackedYuvInput<kernels::Y16Layout>;
  set.input[Index(ClientFormat::y16a)] = &plain::PackedYuvInput<kernels::Y16ALayout>;
  return set;
}

}  // namespace

KernelSet KernelsFor(CpuClass cpuClass) {
  switch (GroupOf(cpuClass)) {
    case KernelGroup::plain:
    case KernelGroup::mmx:
    case KernelGroup::mmxExtended:
    case KernelGroup::sse2:
      break;
  }
  return PlainKernels();
}

}  // namespace qivm
