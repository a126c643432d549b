#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/interop/bytes.h"

/// vfwtool's commands and files. Apart from the tests because the tool and the codec have names in
/// common that mean different things.
namespace qivm::interop {

/// What a command left.
struct ToolRun {
  int exitCode = 0;
  std::string output;
  std::string errors;
};

/// Runs vfwtool's "export" or "import", the first of the words, with what follows it.
ToolRun RunVfwtool(const std::vector<std::string>& words);

/// Stores compressed frames of a size as an AVI of `rate` frames in `scale` seconds, and reads the
/// frames of one back.
void StoreAvi(const std::string& name, std::uint32_t rate, std::uint32_t scale, Size size,
              const std::vector<Bytes>& frames);
std::vector<Bytes> LoadAvi(const std::string& name);

/// Stores YUY2 pictures, 25 a second, and sound of 8000 samples of 16 bits a second as an AVI of
/// segments of some tens of kilobytes. Returns the number of segments.
std::size_t StoreSegmentedYuy2(const std::string& name, Size size, const Bytes& pixels,
                               const Bytes& sound);

}  // namespace qivm::interop
