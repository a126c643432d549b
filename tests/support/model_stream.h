#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "tests/support/bit_string.h"
#include "tests/support/client_pictures.h"
#include "tests/support/reference_kernels.h"

/// An intra picture as the syntax of ISO/IEC 13818-2 sees it, with a writer and a parser of its
/// bits: a second, slow and plain opinion of what the codec's streams mean.
namespace qivm::test {

struct ModelMacroblock {
  /// quantiser_scale_code of its own (macroblock_type Intra with quant); 0 for none.
  int quantiserCode = 0;
  /// dct_type, where the picture has it.
  bool fieldDct = true;
  /// Levels in scan order; the first is the DC value at the picture's intra_dc_precision.
  std::vector<Block> blocks;
};

struct ModelSlice {
  int row = 0;
  int quantiserCode = 1;
  /// Whether intra_slice_flag and what depends on it is written, and the extra_information_slice
  /// bytes behind it.
  bool intraSliceFlag = true;
  Bytes extraInformation;
  std::vector<ModelMacroblock> macroblocks;
};

struct ModelPicture {
  int width = 0;
  int height = 0;
  /// The two flags of the sequence header that announce matrices, the intra one's first. Weights of
  /// 32 follow where one is set.
  unsigned matrixFlags = 0;
  int chromaFormat = 2;
  int intraDcPrecision = 3;
  int pictureStructure = 3;
  int framePredFrameDct = 0;
  int qScaleType = 1;
  int intraVlcFormat = 1;
  int alternateScan = 0;
  std::vector<ModelSlice> slices;

  int Columns() const { return width / 16; }
  int Rows() const { return height / 16; }
  int BlockCount() const { return chromaFormat == 1 ? 6 : 4 * chromaFormat; }
  bool HasDctType() const { return pictureStructure == 3 && framePredFrameDct == 0; }
  /// 1024 at the codec's precision of 11 bits.
  int DcReset() const { return 128 << intraDcPrecision; }
};

/// The text that the codec puts into the user data of its frames, without its final zero.
constexpr std::string_view kCreatorText = "Norvane MPEG-2 I-frames - codec@norvane.example";

// The headers one by one, start codes included, with the codec's own values where the picture does
// not say otherwise.
void PutSequenceHeader(BitString& bits, const ModelPicture& picture);
void PutSequenceExtension(BitString& bits, const ModelPicture& picture);
void PutSequenceDisplayExtension(BitString& bits, const ModelPicture& picture);
void PutGroupHeader(BitString& bits);
void PutUserData(BitString& bits, std::string_view text = kCreatorText);
void PutPictureHeader(BitString& bits, int pictureCodingType = 1);
void PutPictureCodingExtension(BitString& bits, const ModelPicture& picture);

/// All headers in the order in which the codec writes them.
void PutHeaders(BitString& bits, const ModelPicture& picture);
void PutSliceHeader(BitString& bits, const ModelSlice& slice);
/// A whole slice. Like the codec's, the picture's first macroblock has 0 for its increment bit.
void PutSlice(BitString& bits, const ModelPicture& picture, const ModelSlice& slice);
/// DC difference to the predictor (updated), levels, end of block.
void PutBlock(BitString& bits, const Block& levels, Component component, int& predictor);
void PutSequenceEnd(BitString& bits);

/// The whole frame. `splitSlice` is the first slice of a second part that begins at a multiple of
/// 16 bytes; the number of slices puts the end code alone there; -1 is a frame in one part.
Bytes StreamOf(const ModelPicture& picture, int splitSlice = -1);

/// Reads a well-formed frame. Throws std::runtime_error on any other.
ModelPicture ParsePicture(std::span<const std::uint8_t> stream);

}  // namespace qivm::test
