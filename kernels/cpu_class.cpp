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

CpuClass ClassifyAmd(std::uint32_t features, CpuidFunction cpuid) {
  if ((features & kFeatureSse2) != 0) {
    return CpuClass::amdSse2;
  }
  if ((features & kFeatureSse) != 0) {
    return CpuClass::amdSse;
  }
  if ((features & kFeatureMmx) == 0) {
    return CpuClass::plain;
  }
  const std::uint32_t amdFeatures = cpuid(kAmdFeatureLeaf).edx;
  return (amdFeatures & kAmdFeatureExtendedMmx) != 0 ? CpuClass::amdExtendedMmx : CpuClass::amdMmx;
}

CpuidResult ExecuteCpuid(std::uint32_t leaf) {
  CpuidResult result;
  __cpuid(leaf, result.eax, result.ebx, result.ecx, result.edx);
  return result;
}

}  // namespace

CpuClass ClassifyCpu(CpuidFunction cpuid) {
  const CpuidResult vendor = cpuid(0);
  std::array<char, 12> name = {};
  std::memcpy(name.data(), &vendor.ebx, 4);
  std::memcpy(name.data() + 4, &vendor.edx, 4);
  std::memcpy(name.data() + 8, &vendor.ecx, 4);
  const std::string_view vendorName(name.data(), name.size());
  if (vendorName == "GenuineIntel") {
    return ClassifyIntel(cpuid(1).edx);
  }
  if (vendorName == "AuthenticAMD") {
    return ClassifyAmd(cpuid(1).edx, cpuid);
  }
  return CpuClass::plain;
}

CpuClass DetectCpuClass() {
  CpuClass result = CpuClass::plain;
  auto probe = [&result] { result = ClassifyCpu(&ExecuteCpuid); };
  return platform::RunGuarded(probe) ? result : CpuClass::plain;
}

}  // namespace qivm
