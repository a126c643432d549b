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

#include "tools/vfwtool/base/files.h"

namespace vfwtool {

/// The contents of a file.
inline std::vector<std::uint8_t> ContentsOf(const std::string& name) {
  std::ifstream file = OpenInput(name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The name of a file for one test, which is removed when the test ends.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view extension)
      : name_(testing::TempDir() + "vfwtool-" + std::to_string(NextNumber()) +
              std::string(extension)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code error;
    std::filesystem::remove(PathOf(name_), error);
  }

  const std::string& Name() const { return name_; }

  bool Exists() const { return std::filesystem::exists(PathOf(name_)); }

  std::vector<std::uint8_t> Contents() const { return ContentsOf(name_); }

  std::string Text() const {
    const std::vector<std::uint8_t> contents = Contents();
    return {contents.begin(), contents.end()};
  }

  void Store(std::string_view contents) const {
    std::ofstream file(PathOf(name_), std::ios::binary | std::ios::trunc);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    ASSERT_TRUE(file.flush());
  }
  void Store(const std::vector<std::uint8_t>& contents) const {
    Store(std::string_view(reinterpret_cast<const char*>(contents.data()), contents.size()));
  }

  /// Writes over what is there.
  void Overwrite(std::size_t position, std::string_view bytes) const {
    std::fstream file(PathOf(name_), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(position));
    file << bytes;
    ASSERT_TRUE(file.flush());
  }

  std::size_t PositionOf(const std::string& text) const {
    const std::size_t position = Text().find(text);
    EXPECT_NE(position, std::string::npos) << text;
    return position;
  }

 private:
  static std::uint64_t NextNumber() {
    static std::mt19937_64 numbers(std::random_device{}());
    return numbers();
  }

  std::string name_;
};

}  // namespace vfwtool
