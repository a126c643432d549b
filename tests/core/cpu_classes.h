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

inline std::string CpuClassName(const testing::TestParamInfo<CpuClass>& info) {
  return "Class" + std::to_string(static_cast<int>(info.param));
}

}  // namespace qivm::test
