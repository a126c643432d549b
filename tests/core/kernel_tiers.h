#pragma once

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "kernels/processor.h"

namespace qivm::test {

constexpr std::array<KernelTier, 3> kTiers = {KernelTier::plain, KernelTier::sse2,
                                              KernelTier::avx2};

/// Whether this machine can run the kernels of a tier.
inline bool Runs(KernelTier tier) { return tier <= Processor::Current().tier; }

inline std::string NameOf(KernelTier tier) {
  constexpr std::array<const char*, kTiers.size()> kNames = {"Plain", "Sse2", "Avx2"};
  return kNames[static_cast<std::size_t>(tier)];
}

/// The tiers that this machine can run. Tests of the others do not exist here; that they are left
/// out is said where every test begins.
inline std::vector<KernelTier> RunnableTiers() {
  std::vector<KernelTier> tiers(kTiers.begin(), kTiers.end());
  std::erase_if(tiers, [](KernelTier tier) { return !Runs(tier); });
  return tiers;
}

/// A test that runs with the kernels of every tier.
using TierTest = testing::TestWithParam<KernelTier>;

inline std::string TierName(const testing::TestParamInfo<KernelTier>& info) {
  return NameOf(info.param);
}

}  // namespace qivm::test
