#include <windows.h>

#include <cstdio>
#include <gtest/gtest.h>
#include <optional>

#include "tests/driver/registry_tree.h"

namespace {

/// The tests start without any settings and leave those that were there as they found them.
class OwnSettings : public ::testing::Environment {
 public:
  void SetUp() override { settings_.emplace(); }
  void TearDown() override { settings_.reset(); }

 private:
  std::optional<qivm::test::PreservedSettings> settings_;
};

/// A crash on any thread ends the program with an error, whatever debugger the system would start.
LONG WINAPI EndWithError(EXCEPTION_POINTERS* exception) {
  std::fprintf(stderr, "driver_tests: exception %lx at %p\n",
               exception->ExceptionRecord->ExceptionCode,
               exception->ExceptionRecord->ExceptionAddress);
  TerminateProcess(GetCurrentProcess(), 3);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  SetUnhandledExceptionFilter(&EndWithError);
  ::testing::InitGoogleTest(&argumentCount, arguments);
  ::testing::AddGlobalTestEnvironment(new OwnSettings);
  return RUN_ALL_TESTS();
}
