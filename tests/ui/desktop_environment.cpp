#include <gtest/gtest.h>

#include "tests/ui/desktop.h"

namespace qivm::test {
namespace {

class DesktopEnvironment : public testing::Environment {
 public:
  void SetUp() override { PrepareDesktop(); }
};

const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new DesktopEnvironment);

}  // namespace
}  // namespace qivm::test
