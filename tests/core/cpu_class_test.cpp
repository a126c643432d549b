#include "kernels/cpu_class.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include "kernels/processor.h"
#include "tests/core/cpu_classes.h"

namespace qivm::test {

namespace {

constexpr std::uint32_t kCmov = 1U << 15;
constexpr std::uint32_t kMmx = 1U << 23;
constexpr std::uint32_t kSse = 1U << 25;
constexpr std::uint32_t kSse2 = 1U << 26;
constexpr std::uint32_t kAmdMmx = 1U << 22;

/// A processor that answers CPUID as it is told.
struct FakeProcessor {
  const char* vendor = "GenuineIntel";
  std::uint32_t features = 0;
  std::uint32_t amdFeatures = 0;
  std::vector<std::uint32_t> leavesAsked;
};
FakeProcessor g_fake;

std::uint32_t VendorWord(int index) {
  std::uint32_t word = 0;
  for (int i = 3; i >= 0; --i) {
    word = word << 8 | static_cast<unsigned char>(g_fake.vendor[4 * index + i]);
  }
  return word;
}

CpuidResult FakeCpuid(std::uint32_t leaf) {
  g_fake.leavesAsked.push_back(leaf);
  switch (leaf) {
    case 0:
      return {0, VendorWord(0), VendorWord(2), VendorWord(1)};
    case 1:
      return {0, 0, 0, g_fake.features};
    case 0x80000001:
      return {0, 0, 0, g_fake.amdFeatures};
    default:
      return {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
  }
}

int Classify(const char* vendor, std::uint32_t features, std::uint32_t amdFeatures = 0) {
  g_fake = {vendor, features, amdFeatures, {}};
  return static_cast<int>(ClassifyCpu(&FakeCpuid));
}

constexpr const char* kIntel = "GenuineIntel";
constexpr const char* kAmd = "AuthenticAMD";

TEST(CpuClassification, Intel) {
  EXPECT_EQ(Classify(kIntel, 0), 0);
  EXPECT_EQ(Classify(kIntel, kMmx), 3);
  EXPECT_EQ(Classify(kIntel, kCmov), 3);
  EXPECT_EQ(Classify(kIntel, kMmx | kCmov), 3);
  EXPECT_EQ(Classify(kIntel, kSse), 15);
  EXPECT_EQ(Classify(kIntel, kSse | kMmx | kCmov), 15);
  EXPECT_EQ(Classify(kIntel, kSse2), 31);
  EXPECT_EQ(Classify(kIntel, kSse2 | kSse | kMmx | kCmov), 31);
  EXPECT_EQ(Classify(kIntel, ~(kCmov | kMmx | kSse | kSse2)), 0);
  // AMD's own extensions say nothing on an Intel processor.
  EXPECT_EQ(Classify(kIntel, kMmx, kAmdMmx), 3);
}

TEST(CpuClassification, Amd) {
  EXPECT_EQ(Classify(kAmd, 0, kAmdMmx), 0);
  EXPECT_EQ(Classify(kAmd, kCmov, kAmdMmx), 0);
  EXPECT_EQ(Classify(kAmd, kMmx, 0), 1);
  EXPECT_EQ(Classify(kAmd, kMmx, ~kAmdMmx), 1);
  EXPECT_EQ(Classify(kAmd, kMmx, kAmdMmx), 135);
  EXPECT_EQ(Classify(kAmd, kSse | kMmx, kAmdMmx), 143);
  EXPECT_EQ(Classify(kAmd, kSse), 143);
  EXPECT_EQ(Classify(kAmd, kSse2), 159);
  EXPECT_EQ(Classify(kAmd, 0xFFFFFFFF, 0xFFFFFFFF), 159);
}

TEST(CpuClassification, ExtendedLeafIsAskedOnlyWhereItDecides) {
  Classify(kAmd, kSse);
  EXPECT_EQ(g_fake.leavesAsked, (std::vector<std::uint32_t>{0, 1}));
  Classify(kAmd, kMmx);
  EXPECT_EQ(g_fake.leavesAsked, (std::vector<std::uint32_t>{0, 1, 0x80000001}));
  Classify(kIntel, kMmx);
  EXPECT_EQ(g_fake.leavesAsked, (std::vector<std::uint32_t>{0, 1}));
}

TEST(CpuClassification, OtherVendorsArePlain) {
  for (const char* vendor : {"CentaurHauls", "VendorIsNone", "genuineintel", "GenuineIntfl",
                             "AuthenticAMd", "\0\0\0\0\0\0\0\0\0\0\0\0"}) {
    EXPECT_EQ(Classify(vendor, 0xFFFFFFFF, 0xFFFFFFFF), 0) << vendor;
  }
}

// The whole table: every combination of the bits that count, for both vendors.
TEST(CpuClassification, EveryCombination) {
  for (unsigned bits = 0; bits < 32; ++bits) {
    const std::uint32_t features = ((bits & 1) != 0 ? kCmov : 0) | ((bits & 2) != 0 ? kMmx : 0) |
                                   ((bits & 4) != 0 ? kSse : 0) | ((bits & 8) != 0 ? kSse2 : 0);
    const bool extended = (bits & 16) != 0;
    int intel = 0;
    int amd = 0;
    if ((features & kSse2) != 0) {
      intel = 31;
      amd = 159;
    } else if ((features & kSse) != 0) {
      intel = 15;
      amd = 143;
    } else {
      intel = (features & (kMmx | kCmov)) != 0 ? 3 : 0;
      if ((features & kMmx) != 0) {
        amd = extended ? 135 : 1;
      }
    }
    EXPECT_EQ(Classify(kIntel, features, extended ? kAmdMmx : 0), intel) << bits;
    EXPECT_EQ(Classify(kAmd, features, extended ? kAmdMmx : 0), amd) << bits;
  }
}

TEST(CpuClassification, Groups) {
  EXPECT_EQ(GroupOf(CpuClass::plain), KernelGroup::plain);
  for (const int code : {1, 3}) {
    EXPECT_EQ(GroupOf(static_cast<CpuClass>(code)), KernelGroup::mmx);
  }
  for (const int code : {15, 135, 143}) {
    EXPECT_EQ(GroupOf(static_cast<CpuClass>(code)), KernelGroup::mmxExtended);
  }
  for (const int code : {31, 159}) {
    EXPECT_EQ(GroupOf(static_cast<CpuClass>(code)), KernelGroup::sse2);
  }
  // The codes are compared as they are: bits alone mean nothing.
  for (const int code : {2, 4, 7, 8, 16, 32, 127, 128, 255, -1}) {
    EXPECT_EQ(GroupOf(static_cast<CpuClass>(code)), KernelGroup::plain) << code;
  }
}

/// A processor and a system for OffersAvx2.
struct Avx2Machine {
  std::uint32_t highestLeaf = 7;
  std::uint32_t features = 1U << 27 | 1U << 28;
  std::uint32_t extendedFeatures = 1U << 5;
  std::uint32_t savedStates = 6;
};
Avx2Machine g_avx2Machine;

bool Offers(const Avx2Machine& machine) {
  g_avx2Machine = machine;
  const auto cpuid = [](std::uint32_t leaf) -> CpuidResult {
    switch (leaf) {
      case 0:
        return {g_avx2Machine.highestLeaf, 0, 0, 0};
      case 1:
        return {0, 0, g_avx2Machine.features, 0};
      case 7:
        return {0, g_avx2Machine.extendedFeatures, 0, 0};
      default:
        return {};
    }
  };
  return OffersAvx2(cpuid, [] { return g_avx2Machine.savedStates; });
}

TEST(Avx2Detection, TakesProcessorAndSystem) {
  EXPECT_TRUE(Offers({}));
  EXPECT_TRUE(Offers({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_FALSE(Offers({.highestLeaf = 6}));
  EXPECT_FALSE(Offers({.features = ~(1U << 27)}));
  EXPECT_FALSE(Offers({.features = ~(1U << 28)}));
  EXPECT_FALSE(Offers({.extendedFeatures = ~(1U << 5)}));
  for (const std::uint32_t saved : {0U, 1U, 2U, 3U, 4U, 5U, ~2U, ~4U}) {
    EXPECT_FALSE(Offers({.savedStates = saved})) << saved;
  }
}

TEST(Avx2Detection, SystemIsAskedOnlyWhereItAnswers) {
  const auto withoutXcr0 = [](std::uint32_t leaf) -> CpuidResult {
    return leaf == 0 ? CpuidResult{7, 0, 0, 0} : CpuidResult{0, ~0U, ~(1U << 27), ~0U};
  };
  EXPECT_FALSE(OffersAvx2(withoutXcr0, [] {
    ADD_FAILURE() << "the instruction would fault";
    return ~0U;
  }));
}

TEST(CpuDetection, GivesOneOfTheClassesEveryTime) {
  const CpuClass detected = DetectCpuClass();
  EXPECT_NE(std::find(kCpuClasses.begin(), kCpuClasses.end(), detected), kCpuClasses.end());
  EXPECT_EQ(DetectCpuClass(), detected);
  EXPECT_EQ(Processor::Current().cpuClass, detected);
  EXPECT_GE(Processor::Current().count, 1U);
}

}  // namespace

}  // namespace qivm::test
