#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "kernels/kernel_set.h"
#include "tests/core/cpu_classes.h"

namespace qivm::test {

/// A set of kernels: that of a processor class, with AVX2 or without.
struct KernelVariant {
  CpuClass cpuClass = CpuClass::plain;
  bool avx2 = false;
};

constexpr KernelVariant kPlainKernels;

/// Every set that this machine can run: those of all eight classes, and those of AVX2 where it has
/// it.
inline std::vector<KernelVariant> KernelVariants() {
  std::vector<KernelVariant> variants;
  const bool avx2 = Avx2Usable();
  for (const CpuClass cpuClass : kCpuClasses) {
    variants.push_back({cpuClass, false});
    if (avx2 && GroupOf(cpuClass) == KernelGroup::sse2) {
      variants.push_back({cpuClass, true});
    }
  }
  return variants;
}

/// The variant that case number `index` of a series runs with, so that a series meets all of them.
inline KernelVariant KernelVariantOfCase(std::size_t index) {
  const std::vector<KernelVariant> variants = KernelVariants();
  return variants[index % variants.size()];
}

inline KernelSet KernelsFor(const KernelVariant& variant) {
  return qivm::KernelsFor(variant.cpuClass, variant.avx2);
}

inline std::string NameOf(const KernelVariant& variant) {
  return "Class" + std::to_string(static_cast<int>(variant.cpuClass)) +
         (variant.avx2 ? "Avx2" : "");
}

inline std::string KernelVariantName(const testing::TestParamInfo<KernelVariant>& info) {
  return NameOf(info.param);
}

}  // namespace qivm::test
