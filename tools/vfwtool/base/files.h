#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tools/vfwtool/base/system.h"

namespace vfwtool {

/// The name that stands for the standard input or output.
inline constexpr std::string_view kStandardStream = "-";

/// The path of a file named in UTF-8, as all names inside the tool are.
std::filesystem::path PathOf(const std::string& name);

/// The size of a regular file; empty for anything else.
std::optional<std::uint64_t> FileBytes(const std::string& name);

/// True when both names lead to the same file, whether it is there or not. "-" is none.
bool AreSameFile(const std::string& a, const std::string& b);

/// Throws ToolError (kUsage) when both names lead to the same file: writing would destroy what is
/// to be read.
void RequireDifferentFiles(const std::string& input, const std::string& output);

/// True when the name ends in `extension` (such as ".avi"), in whatever case.
bool HasExtension(std::string_view name, std::string_view extension);

/// Opens a file to read its bytes; throws ToolError (kInput) when that fails.
std::ifstream OpenInput(const std::string& name);

/// A file to be read from its beginning to its end, or the standard input.
class Input {
 public:
  /// Throws ToolError (kInput).
  Input(const std::string& name, const ToolStreams& streams);
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  std::istream& Stream() { return isStandard_ ? *standard_ : file_; }
  /// As messages call it.
  const std::string& Name() const { return name_; }
  /// The size, where it is known.
  std::optional<std::uint64_t> Size() const { return bytes_; }

 private:
  bool isStandard_;
  std::istream* standard_ = nullptr;
  std::ifstream file_;
  std::string name_;
  std::optional<std::uint64_t> bytes_;
};

/// A file being written, or the standard output.
///
/// A file gets every byte at once, without a buffer in between: what is on the disk is known when
/// something fails, and an object that ends before Close leaves what was marked by Keep, or no file
/// where nothing was.
class Output {
 public:
  /// Creates the file, or empties it. Throws ToolError (kOutput).
  explicit Output(std::string name);
  /// Takes "-" for the standard output.
  Output(const std::string& name, const ToolStreams& streams);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  /// As messages call it.
  const std::string& Name() const { return name_; }
  /// The bytes that were written.
  std::uint64_t Size() const { return bytes_; }

  /// Append; throw ToolError (kOutput).
  void Write(std::span<const std::uint8_t> bytes);
  void Write(std::string_view text);

  /// Of a file: writes over what is there, or behind it where it reaches further. Throws ToolError
  /// (kOutput).
  void WriteAt(std::uint64_t position, std::span<const std::uint8_t> bytes);

  /// What was written so far is worth having if the work ends here.
  void Keep() { kept_ = bytes_; }

  /// Of a file that is open: goes back to what was marked by Keep. False for anything else.
  bool TakeBack();

  /// Of a file: goes back to that size; what lies behind is taken away when it is closed.
  void Cut(std::uint64_t bytes);

  /// Hands everything to the system and closes the file. Throws ToolError (kOutput) when not all of
  /// it arrived.
  void Close();

 private:
  void Open();
  void Check();
  void Shorten() const;

  std::string name_;
  std::ofstream file_;
  std::ostream* stream_ = nullptr;  ///< Null once it is closed.
  std::uint64_t bytes_ = 0;
  std::uint64_t kept_ = 0;
};

}  // namespace vfwtool
