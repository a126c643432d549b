#pragma once

#include <set>
#include <vector>

#include "mpeg2/picture_parameters.h"
#include "tests/interop/bytes.h"

namespace qivm::interop {

/// What the macroblocks of a stream use, so that a test can be sure that a stream has what it was
/// made for.
struct StreamStatistics {
  PictureParameters picture;  ///< of the last frame
  int macroblocks = 0;
  int quantiserChanges = 0;  ///< with another quantiser_scale_code than the one before
  int fieldDct = 0;          ///< that carry dct_type 1
  std::set<int> quantiserCodes;
  int largestLevel = 0;  ///< magnitude of the largest AC level
};

/// Walks through all macroblocks of the frames with the codec's slice reader.
StreamStatistics StatisticsOf(const std::vector<Bytes>& frames);

}  // namespace qivm::interop
