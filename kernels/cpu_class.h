#pragma once

#include <cstdint>

namespace qivm {

/// What the processor offers to the kernels. The codes are compared as they are, never by bits.
enum class CpuClass : std::int32_t {
  plain = 0,             ///< no usable SIMD, an unknown vendor, or no CPUID
  amdMmx = 1,            ///< AMD, MMX
  intelMmx = 3,          ///< Intel, MMX
  intelSse = 15,         ///< Intel, SSE and therefore the MMX extensions
  intelSse2 = 31,        ///< Intel, SSE2
  amdExtendedMmx = 135,  ///< AMD, MMX and the AMD MMX extensions
  amdSse = 143,          ///< AMD, SSE
  amdSse2 = 159,         ///< AMD, SSE2
};

/// The kernel sets that the classes share.
enum class KernelGroup : std::uint8_t { plain, mmx, mmxExtended, sse2 };

constexpr KernelGroup GroupOf(CpuClass cpuClass) {
  switch (cpuClass) {
    case CpuClass::amdMmx:
    case CpuClass::intelMmx:
      return KernelGroup::mmx;
    case CpuClass::intelSse:
    case CpuClass::amdExtendedMmx:
    case CpuClass::amdSse:
      return KernelGroup::mmxExtended;
    case CpuClass::intelSse2:
    case CpuClass::amdSse2:
      return KernelGroup::sse2;
    case CpuClass::plain:
      break;
  }
  return KernelGroup::plain;
}

/// The registers that one CPUID leaf yields.
struct CpuidResult {
  std::uint32_t eax = 0;
  std::uint32_t ebx = 0;
  std::uint32_t ecx = 0;
  std::uint32_t edx = 0;
};
using CpuidFunction = CpuidResult (*)(std::uint32_t leaf);

/// The class of the processor that `cpuid` describes.
CpuClass ClassifyCpu(CpuidFunction cpuid);

/// Bits 0 to 31 of XCR0: which register states the system saves. Asked only when CPUID says that
/// the system lets it be read.
using SavedStatesFunction = std::uint32_t (*)();

/// Whether AVX2 works on the processor that `cpuid` describes, under a system that saves what
/// `savedStates` says.
bool OffersAvx2(CpuidFunction cpuid, SavedStatesFunction savedStates);

/// Whether this processor and system support AVX2; false when CPUID faults. Executes the
/// instructions on every call.
bool Avx2Usable();

/// The class of this processor; plain when CPUID faults. Executes the instruction on every call.
CpuClass DetectCpuClass();

}  // namespace qivm
