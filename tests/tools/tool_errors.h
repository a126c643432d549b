#pragma once

#include <gtest/gtest.h>
#include <string>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {

/// Runs `action`, which must fail with a ToolError of that code, and returns the message.
template <typename Action>
std::string MessageOf(ExitCode code, Action action) {
  try {
    action();
  } catch (const ToolError& error) {
    EXPECT_EQ(static_cast<int>(error.Code()), static_cast<int>(code)) << error.what();
    return error.what();
  }
  ADD_FAILURE() << "no ToolError";
  return {};
}

inline bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace vfwtool
