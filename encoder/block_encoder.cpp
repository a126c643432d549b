#include "encoder/block_encoder.h"

#include <cstdlib>

#include "encoder/ac_codes.h"
#include "encoder/dc_codes.h"
#include "encoder/fast_block_coder.h"
#include "mpeg2/start_codes.h"
#include "platform/platform.h"

namespace qivm {

namespace {

/// Free bits that let a macroblock header, or a DC size code with its differential, follow.
constexpr unsigned kRoomForDc = 33;

}  // namespace

BlockEncoder::BlockEncoder(const Processor& processor) {
  if (processor.cpuClass != CpuClass::plain) {
    levelMask_ = KernelsFor(processor).levelMask;
  }
}

void BlockEncoder::WriteMacroblock(MacroblockRecord& record) {
  if (record.column == 0) {
    WriteSliceHeader(record.row);
  }
  if (levelMask_ != nullptr && writer_.HasRoomForSink(kMaxMacroblockBytes)) {
    CheckTable();
    levelMask_(record);
    BitSink sink = writer_.BeginSink();
    WriteMacroblockHeader(record,
                          [&sink](std::uint32_t bits, unsigned count) { sink.Put(bits, count); });
    sink.Flush();
    CodeBlocksFast(sink, parameters_, record);
    writer_.EndSink(sink);
    return;
  }
  writer_.MakeRoom(kRoomForDc);
  WriteMacroblockHeader(record,
                        [this](std::uint32_t bits, unsigned count) { writer_.Put(bits, count); });
  for (int index = 0; index < record.blockCount; ++index) {
    CodeBlock(record.Block(index), index);
  }
}

template <typename Put>
void BlockEncoder::WriteMacroblockHeader(const MacroblockRecord& record, Put put) const {
  // macroblock_address_increment is "1" everywhere but in the picture's first macroblock: this
  // codec's streams have always had 0 there, and its decoder does not look.
  const bool first = record.column == 0 && record.row == 0;
  put(first ? 0 : 1, 1);
  put(1, 1);  // macroblock_type Intra
  if (parameters_.pictureStructure == mpeg2::kFramePicture && parameters_.framePredFrameDct == 0) {
    put(parameters_.frameDct == 0 ? 1 : 0, 1);  // dct_type: 1 is field DCT
  }
}

void BlockEncoder::CodeBlock(std::span<const std::int16_t, 64> block, int index) {
  CheckTable();
  writer_.MakeRoom(kRoomForDc);
  const DcCode dc = CodeDcDifferential(parameters_.DcDifference(index, block[0]), index);
  writer_.Put(dc.bits, dc.length);
  CodeAc(block);
  writer_.MakeRoom(mpeg2::kEndOfBlock.length);
  writer_.Put(mpeg2::kEndOfBlock.bits, mpeg2::kEndOfBlock.length);
}

void BlockEncoder::CodeAc(std::span<const std::int16_t, 64> block) {
  std::size_t run = 0;
  for (std::size_t position = 1; position < block.size(); ++position) {
    const int level = block[position];
    if (level == 0) {
      ++run;
      continue;
    }
    if (std::abs(level) > kMaxLevelOfRun[run]) {
      writer_.MakeRoom(mpeg2::kEscapeTotalBits);
      writer_.Put(EscapeBits(run, level), mpeg2::kEscapeTotalBits);
    } else {
      const mpeg2::Code code = kAcCodes[run][static_cast<std::size_t>(kMaxCodedLevel + level)];
      writer_.MakeRoom(code.length);
      writer_.Put(code.bits, code.length);
    }
    run = 0;
  }
}

void BlockEncoder::CheckTable() const {
  if (parameters_.intraVlcFormat == 0) {
    // Table B-14 is not offered. The fault leaves the frame through the guard around it.
    platform::DebugText("Table zero used\n");
    platform::RaiseFault();
  }
}

}  // namespace qivm
