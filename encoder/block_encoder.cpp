#include "encoder/block_encoder.h"

#include <bit>
#include <cstdlib>

#include "encoder/ac_codes.h"
#include "mpeg2/start_codes.h"
#include "platform/platform.h"

namespace qivm {

namespace {

/// Free bits that let a macroblock header, or a DC size code with its differential, follow.
constexpr unsigned kRoomForDc = 33;

}  // namespace

void BlockEncoder::WriteMacroblock(MacroblockRecord& record) {
  if (record.column == 0) {
    WriteSliceHeader(record.row);
  }
  writer_.MakeRoom(kRoomForDc);
  // macroblock_address_increment is "1" everywhere but in the picture's first macroblock: this
  // codec's streams have always had 0 there, and its decoder does not look.
  const bool first = record.column == 0 && record.row == 0;
  writer_.Put(first ? 0 : 1, 1);
  writer_.Put(1, 1);  // macroblock_type Intra
  if (parameters_.pictureStructure == mpeg2::kFramePicture && parameters_.framePredFrameDct == 0) {
    writer_.Put(parameters_.frameDct == 0 ? 1 : 0, 1);  // dct_type: 1 is field DCT
  }
  for (int index = 0; index < record.blockCount; ++index) {
    CodeBlock(record.Block(index), index < 4 ? 0U : static_cast<unsigned>(index) % 2 + 1);
  }
}

void BlockEncoder::CodeBlock(std::span<const std::int16_t, 64> block, unsigned component) {
  if (parameters_.intraVlcFormat == 0) {
    RejectTableZero();
  }
  writer_.MakeRoom(kRoomForDc);
  CodeDc(block[0], component);
  CodeAc(block);
  writer_.MakeRoom(mpeg2::kEndOfBlock.length);
  writer_.Put(mpeg2::kEndOfBlock.bits, mpeg2::kEndOfBlock.length);
}

void BlockEncoder::CodeDc(int value, unsigned component) {
  const int dropped = 3 - parameters_.intraDcPrecision;
  const int dc = dropped == 0 ? value : (value + (1 << (dropped - 1))) >> dropped;
  const int difference = dc - parameters_.dcPredictor[component];
  parameters_.dcPredictor[component] = static_cast<std::int16_t>(dc);

  const auto size =
      static_cast<unsigned>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
  const mpeg2::Code code = (component == 0 ? mpeg2::kDcSizeLuma : mpeg2::kDcSizeChroma)[size];
  writer_.Put(code.bits, code.length);
  if (size > 0) {
    const int bits = difference > 0 ? difference : difference + (1 << size) - 1;
    writer_.Put(static_cast<std::uint32_t>(bits), size);
  }
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
      writer_.Put(mpeg2::kEscape.bits, mpeg2::kEscape.length);
      writer_.Put(static_cast<std::uint32_t>(run), mpeg2::kEscapeRunBits);
      // Levels beyond 12 bits keep their low 12; no sample the converters deliver leads there.
      writer_.Put(static_cast<std::uint32_t>(level) & 0xFFF, mpeg2::kEscapeLevelBits);
    } else {
      const mpeg2::Code code = kAcCodes[run][static_cast<std::size_t>(kMaxCodedLevel + level)];
      writer_.MakeRoom(code.length);
      writer_.Put(code.bits, code.length);
    }
    run = 0;
  }
}

void BlockEncoder::RejectTableZero() {
  // Table B-14 is not offered. The fault leaves the frame through the guard around it.
  platform::DebugText("Table zero used\n");
  platform::RaiseFault();
}

}  // namespace qivm
