#include "tests/interop/stream_statistics.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "decoder/header_parser.h"
#include "decoder/slice_index.h"
#include "decoder/slice_reader.h"
#include "kernels/start_codes.h"

namespace qivm::interop {

namespace {

void CountSlice(std::span<const std::uint8_t> slice, StreamStatistics& statistics) {
  BitReader reader;
  reader.Attach(slice);
  SliceState state = ReadSliceHeader(reader, statistics.picture);
  for (int column = 0; column < statistics.picture.MbPerRow(); ++column) {
    const std::uint8_t codeBefore = state.quantiserScaleCode;
    std::array<LevelBlock, MacroblockRecord::kBlocks> blocks = {};
    ReadMacroblock(reader, statistics.picture, state, blocks);
    ++statistics.macroblocks;
    if (state.quantiserScaleCode != codeBefore) {
      ++statistics.quantiserChanges;
    }
    if (statistics.picture.framePredFrameDct == 0 && !state.frameDct) {
      ++statistics.fieldDct;
    }
    statistics.quantiserCodes.insert(state.quantiserScaleCode);
    for (const LevelBlock& block : blocks) {
      for (std::size_t i = 1; i < LevelBlock::kLevels; ++i) {
        statistics.largestLevel = std::max(statistics.largestLevel, std::abs(block.Level(i)));
      }
    }
  }
}

}  // namespace

StreamStatistics StatisticsOf(const std::vector<Bytes>& frames) {
  StreamStatistics statistics;
  HeaderParser headers;
  RowCrew alone;
  SliceIndex index;
  for (const Bytes& frame : frames) {
    if (!headers.ParsePictureHeaders(frame)) {
      continue;
    }
    statistics.picture = headers.Parameters();
    const int rows = statistics.picture.MbRows();
    index.Find(frame, headers.EndOfHeaders(), rows, &kernels::plain::FindStartCode, alone);
    for (int row = 0; row < rows; ++row) {
      if (index.Has(row)) {
        CountSlice(index.Slice(row), statistics);
      }
    }
  }
  return statistics;
}

}  // namespace qivm::interop
