#include "decoder/slice_reader.h"

#include "decoder/ac_tables.h"
#include "decoder/dc_size_tables.h"

namespace qivm {

namespace {

/// The next `bits` bits, 1 to 31, consumed.
std::uint32_t Take(BitReader& reader, unsigned bits) {
  const std::uint32_t value = reader.Peek32() >> (32 - bits);
  reader.Skip(bits);
  return value;
}

int ReadDcDifferential(BitReader& reader, const DcSizeTable& sizes) {
  const DcDifferential dc = LookUpDc(reader.Peek32(), sizes);
  reader.Skip(dc.length);
  return dc.value;
}

void ReadAcLevels(BitReader& reader, LevelBlock& levels) {
  std::size_t position = 0;
  for (;;) {
    const AcEntry entry = LookUpAc(reader.Peek32());
    reader.Skip(entry.length);
    position += entry.advance;
    if (position >= LevelBlock::kLevels) {
      return;
    }
    levels.SetLevel(position, entry.level);
  }
}

}  // namespace

DcCoefficients SliceState::NextDcCoefficients(MacroblockLevels levels,
                                              const PictureParameters& parameters) {
  DcCoefficients dc = {};
  for (std::size_t i = 0; i < levels.size(); ++i) {
    std::int16_t& predictor = dcPredictor[i < 4 ? 0 : 1 + i % 2];
    predictor = static_cast<std::int16_t>(predictor + levels[i].dcDifferential);
    dc[i] = static_cast<std::int16_t>(predictor * (1 << (3 - parameters.intraDcPrecision)));
  }
  return dc;
}

SliceState ReadSliceHeader(BitReader& reader, const PictureParameters& parameters) {
  SliceState state;
  state.frameDct = parameters.framePredFrameDct != 0;
  state.dcPredictor.fill(parameters.DcReset());
  state.quantiserScaleCode = static_cast<std::uint8_t>(Take(reader, 5));
  if (Take(reader, 1) != 0) {  // intra_slice_flag
    Take(reader, 8);           // intra_slice, reserved_bits
    while (Take(reader, 1) != 0) {
      Take(reader, 8);  // extra_information_slice
    }
  }
  reader.AlignToWord();
  return state;
}

void ReadMacroblock(BitReader& reader, const PictureParameters& parameters, SliceState& state,
                    MacroblockLevels levels) {
  state.TakeMacroblockHeader(parameters, [&reader](unsigned bits) { return Take(reader, bits); });
  for (std::size_t i = 0; i < levels.size(); ++i) {
    levels[i].dcDifferential =
        static_cast<std::int16_t>(ReadDcDifferential(reader, DcSizeTableOf(i)));
    ReadAcLevels(reader, levels[i]);
  }
}

}  // namespace qivm
