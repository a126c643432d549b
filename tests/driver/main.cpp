#include <windows.h>

#include <cstdio>
#include <gtest/gtest.h>

#include "tests/driver/registry_tree.h"

namespace {

constexpr char kCodecMakersKey[] = "Software\\Norvane";
constexpr char kBoardMakersKey[] = "Software\\Pellaro";

/// The tests start without any settings and leave those that were there as they found them.
class OwnSettings : public ::testing::Environment {
 public:
  void SetUp() override {
    codec_ = qivm::test::ReadTree(kCodecMakersKey);
    board_ = qivm::test::ReadTree(kBoardMakersKey);
    qivm::test::DeleteTree(kCodecMakersKey);
    qivm::test::DeleteTree(kBoardMakersKey);
  }
  void TearDown() override {
    qivm::test::RestoreTree(kCodecMakersKey, codec_);
    qivm::test::RestoreTree(kBoardMakersKey, board_);
  }

 private:
  std::optional<qivm::test::RegistryTree> codec_;
  std::optional<qivm::test::RegistryTree> board_;
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
