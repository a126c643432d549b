#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm {

/// Type numbers of registry values, as the Windows headers publish them.
enum class ValueType : std::uint32_t { string = 1, dword = 4 };

/// Where settings come from: named values, each a few bytes with a type. The registry is one.
class ValueSource {
 public:
  struct Result {
    bool read = false;
    ValueType type{};       // any number the source holds, not only the named ones
    std::size_t bytes = 0;  // that were written to the buffer
  };

  /// Reads a value into `buffer`. Not read when there is no such value or when it is longer than
  /// the buffer, whose content is then undefined. Strings may come without a terminating NUL.
  virtual Result Read(const char* name, std::span<char> buffer) const = 0;

 protected:
  ~ValueSource() = default;
};

}  // namespace qivm
