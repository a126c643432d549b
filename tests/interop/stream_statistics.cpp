#include "tests/interop/stream_statistics.h"

#include <algorithm>
#include <cstdlib>

#include "decoder/picture_decoder.h"
#include "mpeg2/macroblock_record.h"

namespace qivm::interop {

namespace {

void CountMacroblock(MacroblockRecord& record, StreamStatistics& statistics) {
  ++statistics.macroblocks;
  if (record.macroblockType == MacroblockRecord::kIntraWithQuant) {
    ++statistics.withQuantiser;
  }
  if (record.parameters.framePredFrameDct == 0 && record.parameters.frameDct == 0) {
    ++statistics.fieldDct;
  }
  statistics.quantiserCodes.insert(record.parameters.quantiserScaleCode);
  for (int index = 0; index < record.blockCount; ++index) {
    for (const std::int16_t level : record.Block(index).subspan(1)) {
      statistics.largestLevel = std::max(statistics.largestLevel, std::abs(int{level}));
    }
  }
}

}  // namespace

StreamStatistics StatisticsOf(const std::vector<Bytes>& frames) {
  StreamStatistics statistics;
  PictureDecoder decoder;
  MacroblockRecord record;
  for (const Bytes& frame : frames) {
    decoder.Attach(frame);
    if (!decoder.ParsePictureHeaders(record)) {
      continue;
    }
    statistics.picture = decoder.Parameters();
    const int macroblocks = statistics.picture.MbPerRow() * statistics.picture.MbRows();
    for (int i = 0; i < macroblocks && decoder.DecodeNextMacroblock(record); ++i) {
      CountMacroblock(record, statistics);
    }
  }
  return statistics;
}

}  // namespace qivm::interop
