#include <gtest/gtest.h>
#include <iostream>

#include "tests/core/kernel_tiers.h"

#if defined(_WIN32)
#include "platform/private_heap.h"
#endif

namespace qivm {

namespace {

/// Does for the tests what the library's attach hook does for the driver, and says which of the
/// kernels they leave out.
class CodecEnvironment : public testing::Environment {
 public:
  void SetUp() override {
#if defined(_WIN32)
    ASSERT_TRUE(platform::CreatePrivateHeap());
#endif
    for (const KernelTier tier : test::kTiers) {
      if (!test::Runs(tier)) {
        // ./test looks for these words.
        std::cout << "Not tested on this processor: kernels of " << test::NameOf(tier) << std::endl;
      }
    }
  }
#if defined(_WIN32)
  void TearDown() override { platform::DestroyPrivateHeap(); }
#endif
};

const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new CodecEnvironment);

}  // namespace

}  // namespace qivm
