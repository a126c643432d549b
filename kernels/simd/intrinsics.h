#pragma once

// What the SIMD sources need besides the kernels' own headers; for_each_target.inc must not be the
// first to include it.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <immintrin.h>
#include <utility>

#include "mpeg2/macroblock_record.h"
