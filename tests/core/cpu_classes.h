#pragma once

#include <array>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

#include "kernels/cpu_class.h"

namespace qivm::test {

constexpr std::array<CpuClass, 8> kCpuClasses = {
    CpuClass::plain,     CpuClass::amdMmx,         CpuClass::intelMmx, CpuClass::intelSse,
    CpuClass::intelSse2, CpuClass::amdExtendedMmx, CpuClass::amdSse,   CpuClass::amdSse2};

/// The class that case number `index` of a series runs with, so that a series meets all of them.
constexpr CpuClass CpuClassOfCase(std::size_t index) {
  return kCpuClasses[index % kCpuClasses.size()];
}

inline std::string CpuClassName(const testing::TestParamInfo<CpuClass>& info) {
  return "Class" + std::to_string(static_cast<int>(info.param));
}

}  // namespace qivm::test
