#pragma once

#include <cstdlib>
#include <string>

#include "tests/ui/window_picture.h"

namespace qivm::test {

/// Leaves a picture of what a test saw, NAME-x86.bmp or NAME-x64.bmp, in the folder that the
/// environment variable QIVM_PICTURES names; nowhere when there is none.
inline void LeavePicture(const WindowPicture& picture, const std::string& name) {
  if (const char* const folder = std::getenv("QIVM_PICTURES"); folder != nullptr) {
    picture.Save(std::string(folder) + "/" + name + (sizeof(void*) == 4 ? "-x86" : "-x64") +
                 ".bmp");
  }
}

}  // namespace qivm::test
