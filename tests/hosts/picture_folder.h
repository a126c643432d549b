#pragma once

#include <cstdlib>
#include <string>

namespace qivm::test {

/// Where the tests leave pictures of what they saw, with a separator at its end: what the
/// environment variable QIVM_PICTURES says, or the working folder.
inline std::string PictureFolder() {
  const char* const folder = std::getenv("QIVM_PICTURES");
  return folder != nullptr ? std::string(folder) + "/" : "";
}

/// In the name of a picture, which program made it.
inline const char* BitnessSuffix() { return sizeof(void*) == 4 ? "-x86" : "-x64"; }

}  // namespace qivm::test
