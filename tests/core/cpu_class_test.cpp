#include "kernels/cpu_class.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <vector>

#include "kernels/processor.h"

namespace qivm::test {

namespace {

constexpr std::array<CpuClass, 8> kCpuClasses = {
    CpuClass::plain,     CpuClass::amdMmx,         CpuClass::intelMmx, CpuClass::intelSse,
    CpuClass::intelSse2, CpuClass::amdExtendedMmx, CpuClass::amdSse,   CpuClass::amdSse2};

constexpr const char* kIntel = "GenuineIntel";
constexpr const char* kAmd = "AuthenticAMD";

// Leaf 1, EDX.
constexpr std::uint32_t kCmov = 1U << 15;
constexpr std::uint32_t kMmx = 1U << 23;
constexpr std::uint32_t kSse = 1U << 25;
constexpr std::uint32_t kSse2 = 1U << 26;
// Leaf 1, ECX.
constexpr std::uint32_t kXcr0Readable = 1U << 27;
constexpr std::uint32_t kAvx = 1U << 28;
// Leaf 7, EBX.
constexpr std::uint32_t kAvx2 = 1U << 5;
// Leaf 0x80000001, EDX.
constexpr std::uint32_t kAmdMmx = 1U << 22;

/// A processor and a system, as their instructions describe them.
struct FakeProcessor {
  const char* vendor = kIntel;
  std::uint32_t features = kSse2;
  std::uint32_t amdFeatures = 0;
  std::uint32_t highestLeaf = 7;
  std::uint32_t moreFeatures = kXcr0Readable | kAvx;
  std::uint32_t extendedFeatures = kAvx2;
  std::uint32_t savedStates = 6;
  /// The leaf that there is no instruction for.
  std::uint32_t faultingLeaf = 0xFFFFFFFF;
};

FakeProcessor g_fake;
std::vector<std::uint32_t> g_leavesAsked;

std::uint32_t VendorWord(std::size_t index) {
  std::uint32_t word = 0;
  for (std::size_t i = 4; i-- > 0;) {
    word = word << 8 | static_cast<unsigned char>(g_fake.vendor[4 * index + i]);
  }
  return word;
}

CpuidResult FakeCpuid(std::uint32_t leaf) {
  g_leavesAsked.push_back(leaf);
  if (leaf == g_fake.faultingLeaf) {
    platform::RaiseFault();
  }
  switch (leaf) {
    case 0:
      return {g_fake.highestLeaf, VendorWord(0), VendorWord(2), VendorWord(1)};
    case 1:
      return {0, 0, g_fake.moreFeatures, g_fake.features};
    case 7:
      return {0, g_fake.extendedFeatures, 0, 0};
    case 0x80000001:
      return {0, 0, 0, g_fake.amdFeatures};
    default:
      return {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
  }
}

ProcessorProbe ProbeOf(const FakeProcessor& fake) {
  g_fake = fake;
  g_leavesAsked.clear();
  return {&FakeCpuid, [] { return g_fake.savedStates; }};
}

int Classify(const char* vendor, std::uint32_t features, std::uint32_t amdFeatures = 0) {
  return static_cast<int>(DetectCpuClass(
      ProbeOf({.vendor = vendor, .features = features, .amdFeatures = amdFeatures})));
}

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
  EXPECT_EQ(g_leavesAsked, (std::vector<std::uint32_t>{0, 1}));
  Classify(kAmd, kMmx);
  EXPECT_EQ(g_leavesAsked, (std::vector<std::uint32_t>{0, 1, 0x80000001}));
  Classify(kIntel, kMmx);
  EXPECT_EQ(g_leavesAsked, (std::vector<std::uint32_t>{0, 1}));
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

TEST(CpuClassification, WithoutCpuidPlain) {
  for (const std::uint32_t leaf : {0U, 1U}) {
    EXPECT_EQ(DetectCpuClass(ProbeOf({.faultingLeaf = leaf})), CpuClass::plain);
  }
  EXPECT_EQ(DetectCpuClass(ProbeOf({.vendor = kAmd, .features = kMmx, .faultingLeaf = 0x80000001})),
            CpuClass::plain);
}

bool Usable(const FakeProcessor& fake) { return Avx2Usable(ProbeOf(fake)); }

TEST(Avx2Detection, TakesProcessorAndSystem) {
  EXPECT_TRUE(Usable({}));
  EXPECT_TRUE(Usable({.highestLeaf = 0xFFFFFFFF,
                      .moreFeatures = 0xFFFFFFFF,
                      .extendedFeatures = 0xFFFFFFFF,
                      .savedStates = 0xFFFFFFFF}));
  EXPECT_FALSE(Usable({.highestLeaf = 6}));
  EXPECT_FALSE(Usable({.moreFeatures = ~kXcr0Readable}));
  EXPECT_FALSE(Usable({.moreFeatures = ~kAvx}));
  EXPECT_FALSE(Usable({.extendedFeatures = ~kAvx2}));
  for (const std::uint32_t saved : {0U, 1U, 2U, 3U, 4U, 5U, ~2U, ~4U}) {
    EXPECT_FALSE(Usable({.savedStates = saved})) << saved;
  }
  for (const std::uint32_t leaf : {0U, 1U, 7U}) {
    EXPECT_FALSE(Usable({.faultingLeaf = leaf}));
  }
}

TEST(Avx2Detection, SystemIsAskedOnlyWhereItAnswers) {
  ProcessorProbe probe = ProbeOf({.moreFeatures = ~kXcr0Readable});
  probe.savedStates = [] {
    ADD_FAILURE() << "the instruction would fault";
    return ~0U;
  };
  EXPECT_FALSE(Avx2Usable(probe));
}

TEST(KernelTiers, OfEveryClass) {
  for (const CpuClass cpuClass : kCpuClasses) {
    const bool sse2 = cpuClass == CpuClass::intelSse2 || cpuClass == CpuClass::amdSse2;
    EXPECT_EQ(TierOf(cpuClass, false), sse2 ? KernelTier::sse2 : KernelTier::plain);
    EXPECT_EQ(TierOf(cpuClass, true), sse2 ? KernelTier::avx2 : KernelTier::plain);
  }
  // The codes are compared as they are: bits alone mean nothing.
  for (const int code : {2, 4, 7, 8, 16, 32, 127, 128, 255, -1}) {
    EXPECT_EQ(TierOf(static_cast<CpuClass>(code), true), KernelTier::plain) << code;
  }
}

KernelTier TierOfDescribed(const FakeProcessor& fake) {
  return Processor::Described(ProbeOf(fake), 1).tier;
}

TEST(DescribedProcessor, Tier) {
  constexpr std::uint32_t kAll = 0xFFFFFFFF;
  for (const char* vendor : {kIntel, kAmd}) {
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kAll}), KernelTier::avx2);
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kSse2, .extendedFeatures = 0}),
              KernelTier::sse2);
    // The processor has AVX2, the system does not save its registers.
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kSse2, .savedStates = 3}),
              KernelTier::sse2);
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kSse2, .moreFeatures = kAvx}),
              KernelTier::sse2);
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = ~kSse2, .amdFeatures = kAmdMmx}),
              KernelTier::plain);
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kAll, .faultingLeaf = 0}),
              KernelTier::plain);
    EXPECT_EQ(TierOfDescribed({.vendor = vendor, .features = kAll, .faultingLeaf = 7}),
              KernelTier::sse2);
  }
  EXPECT_EQ(TierOfDescribed({.vendor = "CentaurHauls", .features = kAll}), KernelTier::plain);
}

TEST(DescribedProcessor, Count) {
  for (const unsigned count : {1U, 2U, 16U}) {
    EXPECT_EQ(Processor::Described(ProbeOf({}), count).count, count);
  }
}

TEST(DescribedProcessor, Current) {
  const CpuClass detected = DetectCpuClass(kThisProcessor);
  EXPECT_NE(std::find(kCpuClasses.begin(), kCpuClasses.end(), detected), kCpuClasses.end());
  EXPECT_EQ(DetectCpuClass(kThisProcessor), detected);
  const Processor current = Processor::Current();
  EXPECT_EQ(current.tier, TierOf(detected, Avx2Usable(kThisProcessor)));
  EXPECT_EQ(current.count, platform::ProcessorCount());
}

// As many threads as processors, but none for less work than waking it costs, and none without a
// row.
TEST(ThreadsOfAPicture, ProcessorsRowsAndSize) {
  const Processor four = {.count = 4, .macroblocksAThread = 50};
  EXPECT_EQ(four.ThreadsFor(1, 1), 1U);
  EXPECT_EQ(four.ThreadsFor(10, 9), 1U);
  EXPECT_EQ(four.ThreadsFor(11, 9), 1U);
  EXPECT_EQ(four.ThreadsFor(10, 10), 2U);
  EXPECT_EQ(four.ThreadsFor(10, 15), 3U);
  EXPECT_EQ(four.ThreadsFor(10, 20), 4U);
  EXPECT_EQ(four.ThreadsFor(45, 36), 4U);
  EXPECT_EQ(four.ThreadsFor(1000, 1), 1U);
  EXPECT_EQ(four.ThreadsFor(1000, 3), 3U);
  EXPECT_EQ(four.ThreadsFor(0, 10), 1U);
  EXPECT_EQ(four.ThreadsFor(10, 0), 1U);

  EXPECT_EQ((Processor{.count = 1}.ThreadsFor(120, 68)), 1U);
  EXPECT_EQ((Processor{.count = 16}.ThreadsFor(120, 68)), 16U);
  EXPECT_EQ((Processor{.count = 200}.ThreadsFor(120, 68)), 68U);
  // The largest size that a stream's headers can have.
  EXPECT_EQ((Processor{.count = 8}.ThreadsFor(1023, 1023)), 8U);
}

}  // namespace

}  // namespace qivm::test
