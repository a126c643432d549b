// Times every kernel of every processor class on the macroblocks of one picture, each kernel on
// what the kernels before it make of them. The counter nsPerMacroblock is the result.

#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/kernel_set.h"

namespace qivm::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMacroblocks = 16;  // together with their pixels they stay in the first cache
constexpr std::size_t kRows = 16;
constexpr std::size_t kWidth = 16 * kMacroblocks;
constexpr std::size_t kLargestPixel = 4;
constexpr std::uint8_t kQuantiserCode = 2;  // of the codec's default quality

constexpr auto kClasses = std::to_array<CpuClass>(
    {CpuClass::plain, CpuClass::amdMmx, CpuClass::intelMmx, CpuClass::intelSse, CpuClass::intelSse2,
     CpuClass::amdExtendedMmx, CpuClass::amdSse, CpuClass::amdSse2});

constexpr std::array<const char*, kClientFormats> kFormatNames = {"rgb24", "rgb32", "yuy2", "uyvy",
                                                                  "yvyu",  "y16",   "y16a"};
constexpr std::array<std::size_t, kClientFormats> kFormatBytes = {3, 4, 2, 2, 2, 2, 3};

using Macroblocks = std::vector<MacroblockRecord>;
using Pixels = std::array<std::uint8_t, kRows * kWidth * kLargestPixel>;

/// The macroblocks before each step of the codec, in the order of encoding and decoding.
struct Stages {
  Macroblocks samples;
  Macroblocks coefficients;
  Macroblocks levels;
  Macroblocks scannedLevels;
};

/// A row of macroblocks in YUY2: shading with texture.
Pixels DrawPicture() {
  Pixels pixels = {};
  std::uint32_t random = 1;
  for (std::size_t i = 0; i < kRows * kWidth * 2; ++i) {
    random = random * 1664525 + 1013904223;
    const std::size_t x = i / 2 % kWidth;
    const std::size_t y = i / (2 * kWidth);
    pixels[i] =
        static_cast<std::uint8_t>(64 + x / 4 + y * 3 + (x / 3 + y) % 5 * 4 + (random >> 27));
  }
  return pixels;
}

Macroblocks Apply(Macroblocks macroblocks, MacroblockKernel kernel) {
  for (MacroblockRecord& macroblock : macroblocks) {
    kernel(macroblock);
  }
  return macroblocks;
}

Stages MakeStages() {
  const KernelSet plain = KernelsFor(CpuClass::plain, false);
  const Pixels pixels = DrawPicture();
  Stages stages;
  stages.samples.resize(kMacroblocks);
  for (std::size_t i = 0; i < kMacroblocks; ++i) {
    MacroblockRecord& macroblock = stages.samples[i];
    macroblock.parameters.intraDcPrecision = 3;
    macroblock.parameters.qScaleType = 1;
    macroblock.parameters.quantiserScaleCode = kQuantiserCode;
    plain.input[static_cast<std::size_t>(ClientFormat::yuy2)](macroblock.coefficients.data(),
                                                              pixels.data() + i * 32, kWidth * 2);
  }
  stages.coefficients = Apply(stages.samples, plain.fdct);
  stages.levels = Apply(stages.coefficients, plain.quantise);
  stages.scannedLevels = Apply(stages.levels, plain.scanZigzag);
  return stages;
}

/// Times `run` on all macroblocks at a time, after `restore`, which is not timed. The result is the
/// median: whatever else runs on the machine spoils single turns.
template <typename Restore, typename Run>
void TimeMacroblocks(benchmark::State& state, Restore restore, Run run) {
  std::vector<Clock::duration> turns;
  for (auto unused : state) {
    static_cast<void>(unused);
    restore();
    benchmark::ClobberMemory();
    const Clock::time_point begin = Clock::now();
    for (std::size_t i = 0; i < kMacroblocks; ++i) {
      run(i);
    }
    benchmark::ClobberMemory();
    turns.push_back(Clock::now() - begin);
    // Kernels leave the MMX state as it is; the arithmetic that follows may be of the x87.
    __asm__ volatile("emms");
    state.SetIterationTime(std::chrono::duration<double>(turns.back()).count());
  }
  const auto median = turns.begin() + static_cast<std::ptrdiff_t>(turns.size() / 2);
  std::nth_element(turns.begin(), median, turns.end());
  state.counters["nsPerMacroblock"] =
      std::chrono::duration<double, std::nano>(*median).count() / kMacroblocks;
}

void TimeTransform(benchmark::State& state, MacroblockKernel kernel, const Macroblocks& before) {
  Macroblocks work = before;
  TimeMacroblocks(
      state,
      [&] {
        for (std::size_t i = 0; i < kMacroblocks; ++i) {
          work[i].coefficients = before[i].coefficients;
        }
      },
      [&](std::size_t i) { kernel(work[i]); });
}

void TimeOutput(benchmark::State& state, OutputKernel kernel, std::size_t pixelBytes,
                const Macroblocks& samples) {
  Pixels pixels = {};
  TimeMacroblocks(
      state, [] {},
      [&](std::size_t i) {
        kernel(pixels.data() + i * 16 * pixelBytes, samples[i].coefficients.data(),
               static_cast<std::ptrdiff_t>(kWidth * pixelBytes));
      });
}

void TimeInput(benchmark::State& state, InputKernel kernel, std::size_t pixelBytes) {
  const Pixels pixels = DrawPicture();
  Macroblocks work(kMacroblocks);
  TimeMacroblocks(
      state, [] {},
      [&](std::size_t i) {
        kernel(work[i].coefficients.data(), pixels.data() + i * 16 * pixelBytes,
               static_cast<std::ptrdiff_t>(kWidth * pixelBytes));
      });
}

/// The kernels of a processor class.
struct Variant {
  std::string name;  // the class's code; "+avx2" behind it for the wider ones
  KernelSet kernels;
};

std::vector<Variant> AllVariants() {
  std::vector<Variant> variants;
  variants.reserve(2 * kClasses.size());
  for (const CpuClass cpuClass : kClasses) {
    variants.push_back({std::to_string(static_cast<int>(cpuClass)), KernelsFor(cpuClass, false)});
  }
  for (const CpuClass cpuClass : kClasses) {
    if (GroupOf(cpuClass) == KernelGroup::sse2 && Avx2Usable()) {
      variants.push_back(
          {std::to_string(static_cast<int>(cpuClass)) + "+avx2", KernelsFor(cpuClass, true)});
    }
  }
  return variants;
}

template <typename Function>
void Register(const std::string& kernel, const Variant& variant, const Function& function) {
  const std::string name = kernel + "/class:" + variant.name;
#ifdef __clang_analyzer__  // takes what the library keeps for a leak
  static_cast<void>(function);
#else
  benchmark::RegisterBenchmark(name.c_str(), function)->UseManualTime();
#endif
}

void RegisterTransforms(const Variant& variant, const Stages& stages) {
  const KernelSet& kernels = variant.kernels;
  struct Transform {
    const char* name;
    MacroblockKernel kernel;
    const Macroblocks& before;
  };
  for (const Transform& transform : {
           Transform{"unscanZigzag", kernels.unscanZigzag, stages.scannedLevels},
           Transform{"unscanAlternate", kernels.unscanAlternate, stages.scannedLevels},
           Transform{"dequantise", kernels.dequantise, stages.levels},
           Transform{"idct", kernels.idct, stages.coefficients},
           Transform{"fdct", kernels.fdct, stages.samples},
           Transform{"quantise", kernels.quantise, stages.coefficients},
           Transform{"scanZigzag", kernels.scanZigzag, stages.levels},
           Transform{"scanAlternate", kernels.scanAlternate, stages.levels},
           Transform{"levelMask", kernels.levelMask, stages.scannedLevels},
       }) {
    Register(transform.name, variant, [transform](benchmark::State& state) {
      TimeTransform(state, transform.kernel, transform.before);
    });
  }
}

void RegisterConversions(const Variant& variant, const Stages& stages) {
  const KernelSet& kernels = variant.kernels;
  for (std::size_t format = 0; format < kClientFormats; ++format) {
    const std::string name = kFormatNames[format];
    const std::size_t pixelBytes = kFormatBytes[format];
    const OutputKernelPair& output = kernels.output[format];
    if (output.frameDct != nullptr) {
      Register("output/" + name + "/frame", variant,
               [kernel = output.frameDct, pixelBytes, &stages](benchmark::State& state) {
                 TimeOutput(state, kernel, pixelBytes, stages.samples);
               });
      Register("output/" + name + "/field", variant,
               [kernel = output.fieldDct, pixelBytes, &stages](benchmark::State& state) {
                 TimeOutput(state, kernel, pixelBytes, stages.samples);
               });
    }
    Register("input/" + name, variant,
             [kernel = kernels.input[format], pixelBytes](benchmark::State& state) {
               TimeInput(state, kernel, pixelBytes);
             });
  }
}

}  // namespace

}  // namespace qivm::bench

int main(int argc, char** argv) {
  using namespace qivm;
  using namespace qivm::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  const Stages stages = MakeStages();
  for (const Variant& variant : AllVariants()) {
    RegisterTransforms(variant, stages);
    RegisterConversions(variant, stages);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
