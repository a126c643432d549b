#pragma once

#include <gtest/gtest.h>

namespace vfwtool {

/// Registers the test codec with the compression manager for as long as the tests run.
class StoreCodecRegistration final : public testing::Environment {
 public:
  void SetUp() override;
  void TearDown() override;
};

}  // namespace vfwtool
