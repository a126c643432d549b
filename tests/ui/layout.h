#pragma once

#include <string>
#include <vector>

#include "tests/ui/window.h"

namespace qivm::test {

/// What is wrong with a dialog as the system laid it out: text that does not fit its control or the
/// caption, controls that overlap or stick out. One line each; empty when nothing is wrong.
std::vector<std::string> LayoutProblems(const Window& dialog);

}  // namespace qivm::test
