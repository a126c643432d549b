#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vfwtool/file_access.h"

namespace qivm {

/// The name of a file for one test, which is removed when the test ends.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view extension)
      : name_(testing::TempDir() + "vfwtool-" + std::to_string(NextNumber()) +
              std::string(extension)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { RemoveFile(name_); }

  const std::string& Name() const { return name_; }

  bool Exists() const { return std::filesystem::exists(PathOf(name_)); }

  std::vector<std::uint8_t> Contents() const {
    std::ifstream file = OpenInput(name_);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  std::string Text() const {
    std::ifstream file = OpenInput(name_);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  void Store(std::string_view contents) const {
    std::ofstream file = OpenOutput(name_);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    ASSERT_TRUE(file.flush());
  }

 private:
  static std::uint64_t NextNumber() {
    static std::mt19937_64 numbers(std::random_device{}());
    return numbers();
  }

  std::string name_;
};

}  // namespace qivm
