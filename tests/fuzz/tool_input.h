#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <sstream>
#include <string>

#include "tests/fuzz/require.h"

/// What the targets of the tool's parsers share: an input is a file.
namespace vfwtool {

using qivm::test::Require;

inline std::unique_ptr<std::istream> StreamOf(std::span<const std::uint8_t> file) {
  return std::make_unique<std::istringstream>(std::string(file.begin(), file.end()));
}

}  // namespace vfwtool

/// A file makes no parser ask for more memory than a small multiple of its size: with inputs of a
/// few kilobytes, no request comes near this limit.
extern "C" inline const char* __asan_default_options() { return "max_allocation_size_mb=4"; }
