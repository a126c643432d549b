#pragma once

#include "tests/support/model_stream.h"
#include "tests/support/random.h"

namespace qivm::test {

/// A picture with every liberty that the decoder grants: any precision, scan, quantiser and
/// macroblock header, levels from sparse to absurd.
ModelPicture RandomPicture(Random& random, int columns, int rows);

/// A picture of flat macroblocks, each of another grey, that codes to few and equally long slices.
ModelPicture FlatPicture(int columns, int rows);

}  // namespace qivm::test
