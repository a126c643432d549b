#include <gtest/gtest.h>

#if defined(_WIN32)
#include "platform/private_heap.h"
#endif

namespace qivm {

namespace {

/// Does for the tests what the library's attach hook does for the driver.
class CodecEnvironment : public testing::Environment {
 public:
#if defined(_WIN32)
  void SetUp() override { ASSERT_TRUE(platform::CreatePrivateHeap()); }
  void TearDown() override { platform::DestroyPrivateHeap(); }
#endif
};

const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new CodecEnvironment);

}  // namespace

}  // namespace qivm
