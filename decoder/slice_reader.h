#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/bit_reader.h"
#include "kernels/dequantise.h"
#include "mpeg2/picture_parameters.h"

namespace qivm {

/// What changes from macroblock to macroblock of a slice.
struct SliceState {
  std::uint8_t quantiserScaleCode = 0;
  /// Whether the macroblock's luminance blocks are stacked and not interleaved by field.
  bool frameDct = false;
  /// DC predictors of Y, Cb, Cr (7.2.1).
  std::array<std::int16_t, 3> dcPredictor = {};

  /// Reads what stands before a macroblock's blocks; take(n) yields the next n bits.
  template <typename Take>
  void TakeMacroblockHeader(const PictureParameters& parameters, Take take) {
    // macroblock_address_increment is one bit long in every stream that this codec reads. Its value
    // is not looked at: the first macroblock of the codec's own pictures has 0 here.
    take(1);
    // macroblock_type: "1" is Intra, "01" Intra with quant; nothing else is in these streams.
    const bool ownQuantiser = take(1) == 0;
    if (ownQuantiser) {
      take(1);
    }
    if (parameters.HasDctType()) {
      frameDct = take(1) == 0;
    }
    if (ownQuantiser) {
      quantiserScaleCode = static_cast<std::uint8_t>(take(5));
    }
  }

  /// Moves the predictors by the differentials of a macroblock's blocks and returns its DC
  /// coefficients. Sums are kept to 16 bits.
  DcCoefficients NextDcCoefficients(MacroblockLevels levels, const PictureParameters& parameters);
};

/// Reads slices bit by bit, minding their end. This is the form that defines what a stream means,
/// damaged ones included: a run past position 63 and a code of no table end their block, and zero
/// bits follow behind the slice's last byte. SliceLanes reads nearly everything instead and comes
/// here for the rest.
///
/// Reads a slice header behind its start code (6.2.4) and sets the state up for the first
/// macroblock.
SliceState ReadSliceHeader(BitReader& reader, const PictureParameters& parameters);

/// Reads one macroblock (6.2.5): the state takes what its header says, the levels, which must be
/// zero, take its blocks (7.2).
void ReadMacroblock(BitReader& reader, const PictureParameters& parameters, SliceState& state,
                    MacroblockLevels levels);

}  // namespace qivm
