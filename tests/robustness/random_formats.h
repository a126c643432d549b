#pragma once

#include <windows.h>

#include "tests/robustness/instance_model.h"
#include "tests/support/random.h"

namespace qivm::test {

/// A header of an uncompressed bitmap: mostly one that the codec takes and of a reference size, now
/// and then of any size, of a format close to a good one, or senseless.
BITMAPINFOHEADER RandomBitmap(Random& random);

/// A header of a compressed stream for such a bitmap.
BITMAPINFOHEADER RandomStream(Random& random, const BITMAPINFOHEADER& bitmap);

/// A state for an instance: mostly with a list of codes that lets it work.
State RandomState(Random& random, DWORD handler);

}  // namespace qivm::test
