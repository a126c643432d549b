#include "kernels/cpu_class.h"

#include <array>
#include <cpuid.h>
#include <cstring>
#include <string_view>

#include "platform/platform.h"

namespace qivm {

namespace {

constexpr std::uint32_t kFeatureCmov = 1U << 15;
constexpr std::uint32_t kFeatureMmx = 1U << 23;
constexpr std::uint32_t kFeatureSse = 1U << 25;
constexpr std::uint32_t kFeatureSse2 = 1U << 26;
constexpr std::uint32_t kAmdFeatureExtendedMmx = 1U << 22;
constexpr std::uint32_t kAmdFeatureLeaf = 0x80000001;

constexpr std::uint32_t kExtendedFeatureLeaf = 7;
constexpr std::uint32_t kFeatureXcr0Readable = 1U << 27;  // leaf 1, ECX
constexpr std::uint32_t kFeatureAvx = 1U << 28;
constexpr std::uint32_t kFeatureAvx2 = 1U << 5;            // leaf 7, EBX
constexpr std::uint32_t kStatesOfAvx = 1U << 1 | 1U << 2;  // XMM and YMM registers

CpuClass ClassifyIntel(std::uint32_t features) {
  if ((features & kFeatureSse2) != 0) {
    return CpuClass::intelSse2;
  }
  if ((features & kFeatureSse) != 0) {
    return CpuClass::intelSse;
  }
  // Either bit counts as MMX here.
  if ((features & (kFeatureMmx | kFeatureCmov)) != 0) {
    return CpuClass::intelMmx;
  }
  return CpuClass::plain;
}

CpuClass ClassifyAmd(std::uint32_t features, const ProcessorProbe& probe) {
  if ((features & kFeatureSse2) != 0) {
    return CpuClass::amdSse2;
  }
  if ((features & kFeatureSse) != 0) {
    return CpuClass::amdSse;
  }
  if ((features & kFeatureMmx) == 0) {
    return CpuClass::plain;
  }
  const std::uint32_t amdFeatures = probe.cpuid(kAmdFeatureLeaf).edx;
  return (amdFeatures & kAmdFeatureExtendedMmx) != 0 ? CpuClass::amdExtendedMmx : CpuClass::amdMmx;
}

CpuClass ClassifyCpu(const ProcessorProbe& probe) {
  const CpuidResult vendor = probe.cpuid(0);
  std::array<char, 12> name = {};
  std::memcpy(name.data(), &vendor.ebx, 4);
  std::memcpy(name.data() + 4, &vendor.edx, 4);
  std::memcpy(name.data() + 8, &vendor.ecx, 4);
  const std::string_view vendorName(name.data(), name.size());
  if (vendorName == "GenuineIntel") {
    return ClassifyIntel(probe.cpuid(1).edx);
  }
  if (vendorName == "AuthenticAMD") {
    return ClassifyAmd(probe.cpuid(1).edx, probe);
  }
  return CpuClass::plain;
}

bool OffersAvx2(const ProcessorProbe& probe) {
  if (probe.cpuid(0).eax < kExtendedFeatureLeaf) {
    return false;
  }
  constexpr std::uint32_t kNeeded = kFeatureXcr0Readable | kFeatureAvx;
  return (probe.cpuid(1).ecx & kNeeded) == kNeeded &&
         (probe.cpuid(kExtendedFeatureLeaf).ebx & kFeatureAvx2) != 0 &&
         (probe.savedStates() & kStatesOfAvx) == kStatesOfAvx;
}

CpuidResult ExecuteCpuid(std::uint32_t leaf) {
  CpuidResult result;
  __cpuid_count(leaf, 0, result.eax, result.ebx, result.ecx, result.edx);
  return result;
}

std::uint32_t ReadSavedStates() {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

}  // namespace

const ProcessorProbe kThisProcessor = {&ExecuteCpuid, &ReadSavedStates};

CpuClass DetectCpuClass(const ProcessorProbe& probe) {
  CpuClass result = CpuClass::plain;
  auto classify = [&] { result = ClassifyCpu(probe); };
  return platform::RunGuarded(classify) ? result : CpuClass::plain;
}

bool Avx2Usable(const ProcessorProbe& probe) {
  bool result = false;
  auto ask = [&] { result = OffersAvx2(probe); };
  return platform::RunGuarded(ask) && result;
}

}  // namespace qivm
