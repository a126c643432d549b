#include "decoder/picture_decoder.h"

#include <algorithm>

#include "decoder/block_decoder.h"
#include "decoder/fast_block_decoder.h"
#include "platform/platform.h"

namespace qivm {

bool PictureDecoder::DecodeNextMacroblock(MacroblockRecord& record) {
  if (mbColumn_ == parameters_.MbPerRow()) {
    if (!FindSlice(&BitReader::NextStartCode)) {
      return false;
    }
    ParseSliceHeader();
  }
  DecodeMacroblock(record);
  record.column = static_cast<std::int16_t>(mbColumn_);
  record.row = static_cast<std::int16_t>(mbRow_);
  ++mbColumn_;
  record.parameters = parameters_;
  return true;
}

int PictureDecoder::ParseSliceHeaderAt(const PictureDecoder& source) {
  parameters_ = source.parameters_;
  const std::size_t next = source.reader_.NextOffset();
  const std::size_t size = source.reader_.FrameSize();
  if (next >= size) {
    return -1;
  }
  reader_.SeekIn(source.reader_, next + (size - next) / 2);
  if (!FindSlice(&BitReader::NextStartCodeGuarded)) {
    return -1;
  }
  ParseSliceHeader();
  return mbRow_;
}

void PictureDecoder::DecodeMacroblock(MacroblockRecord& record) {
  ParseMacroblockHeader(record);
  if (parameters_.intraVlcFormat != 1) {
    RejectTableZero();
  }
  std::fill_n(record.coefficients.begin(),
              MacroblockRecord::kBlockSize * static_cast<std::size_t>(record.blockCount),
              std::int16_t{0});
  record.dequantised = fast_;
  if (fast_) {
    DecodeBlocksFast(reader_, parameters_, record);
    return;
  }
  for (int index = 0; index < record.blockCount; ++index) {
    const auto block = record.Block(index);
    block[0] = parameters_.NextDc(index, DecodeDcDifferential(reader_, DcSizeTableOf(index)));
    DecodeAc(reader_, block);
  }
}

void PictureDecoder::RejectTableZero() {
  // Table B-14 is not offered. The frame must not go on with wrong coefficients: the fault leaves
  // it through the guard around the frame.
  platform::DebugText("USING TABLE ZERO\n");
  platform::RaiseFault();
}

}  // namespace qivm
