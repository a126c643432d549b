#pragma once

#include <cstdint>
#include <initializer_list>

namespace qivm::test {

/// One numeric option of a command line, "--name N".
struct NumberOption {
  const char* name;
  std::uint64_t& value;
};

/// Reads the options; false, with a usage line on standard error, for anything else.
bool ReadOptions(int argumentCount, char** arguments, std::initializer_list<NumberOption> options);

}  // namespace qivm::test
