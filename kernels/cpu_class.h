#pragma once

#include <cstdint>

namespace qivm {

/// What the processor is. The codes are compared as they are, never by bits. The classes with MMX
/// but without SSE2 are told apart as they always were; they get the plain kernels: on every
/// processor that runs a Windows which loads the driver, kernels of 64-bit vectors would be two to
/// three times slower than these.
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

/// The registers that one CPUID leaf yields.
struct CpuidResult {
  std::uint32_t eax = 0;
  std::uint32_t ebx = 0;
  std::uint32_t ecx = 0;
  std::uint32_t edx = 0;
};

/// A processor as its instructions describe it; a test can describe another one.
struct ProcessorProbe {
  /// CPUID, with ECX zero.
  CpuidResult (*cpuid)(std::uint32_t leaf);
  /// Bits 0 to 31 of XCR0: which register states the system saves. Asked only when CPUID says that
  /// the system lets it be read.
  std::uint32_t (*savedStates)();
};

/// The processor that the program runs on. Either function may fault where the instruction does
/// not exist.
extern const ProcessorProbe kThisProcessor;

/// The class of a processor; plain when CPUID faults. Executes the instruction on every call.
CpuClass DetectCpuClass(const ProcessorProbe& probe);

/// Whether processor and system support AVX2; false when CPUID faults.
bool Avx2Usable(const ProcessorProbe& probe);

}  // namespace qivm
