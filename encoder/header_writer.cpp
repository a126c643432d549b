// The headers of a frame as BlockEncoder writes them (ISO/IEC 13818-2, 6.2.2 to 6.2.4).

#include <array>
#include <string_view>

#include "encoder/block_encoder.h"
#include "mpeg2/start_codes.h"

namespace qivm {

namespace {

constexpr std::uint32_t kFrameRateCode = 3;      // 25 frames a second
constexpr std::uint32_t kBitRateValue = 125000;  // 50 Mbit/s in units of 400 bit/s
constexpr std::uint32_t kVbvBufferSizeValue = 373;
constexpr std::uint32_t kAspectRatio4By3 = 2;
constexpr std::uint32_t kProfile422MainLevel = 0x85;
constexpr std::uint32_t kVideoFormatUnspecified = 5;
constexpr std::uint32_t kColourPrimaries = 5;          // ITU-R BT.470-2 System B, G
constexpr std::uint32_t kTransferCharacteristics = 5;  // likewise
constexpr std::uint32_t kMatrixCoefficients = 4;       // FCC
constexpr std::uint32_t kUnusedFCodes = 0xFFFF;        // all four, as for every I picture
constexpr std::uint32_t kVbvDelayUnspecified = 0xFFFF;

/// Who made the stream. Its bytes keep the next start code on a word boundary.
constexpr std::string_view kCreator = "Norvane MPEG-2 I-frames - codec@norvane.example";
constexpr std::size_t kCreatorBytes = 48;
static_assert(kCreator.size() + 1 == kCreatorBytes && kCreatorBytes % 4 == 0);

}  // namespace

bool BlockEncoder::Init(int width, int height) {
  if (width <= 0 || height <= 0 || width % 16 != 0 || height % 16 != 0 || width > kMaxSize ||
      height > kMaxSize) {
    return false;
  }
  parameters_ = PictureParameters();
  parameters_.width = static_cast<std::uint16_t>(width);
  parameters_.height = static_cast<std::uint16_t>(height);
  parameters_.frameRate = kFrameRateCode;
  parameters_.bitRate = kBitRateValue;
  parameters_.chromaFormat = mpeg2::kChroma422;
  parameters_.pictureCodingType = mpeg2::kIntraPicture;
  parameters_.intraDcPrecision = 3;
  parameters_.pictureStructure = mpeg2::kFramePicture;
  parameters_.qScaleType = 1;
  parameters_.intraVlcFormat = 1;
  parameters_.quantiserScaleCode = 1;
  parameters_.dcReset = static_cast<std::int16_t>(128 << parameters_.intraDcPrecision);
  return true;
}

void BlockEncoder::StartFrame(std::span<std::uint8_t> output, std::uint8_t quantiserScaleCode) {
  writer_.Reset(output);
  parameters_.quantiserScaleCode = quantiserScaleCode;
}

void BlockEncoder::WriteHeaders() {
  WriteSequenceHeader();
  WriteSequenceExtension();
  WriteSequenceDisplayExtension();
  WriteGroupHeader();
  WriteUserData();
  WritePictureHeader();
  WritePictureCodingExtension();
}

void BlockEncoder::WriteSequenceHeader() {
  writer_.PutStartCode(mpeg2::kSequenceHeaderCode);
  writer_.Put(parameters_.width, 12);
  writer_.Put(parameters_.height, 12);
  writer_.Put(kAspectRatio4By3, 4);
  writer_.Put(parameters_.frameRate, 4);
  writer_.Put(parameters_.bitRate, 18);
  writer_.Put(1, 1);  // marker_bit
  writer_.FlushWord();
  writer_.Put(kVbvBufferSizeValue, 10);
  writer_.Put(0, 1);  // constrained_parameters_flag
  writer_.Put(0, 2);  // load_intra_quantiser_matrix, load_non_intra_quantiser_matrix
}

void BlockEncoder::WriteSequenceExtension() {
  writer_.PutStartCode(mpeg2::kExtensionStartCode);
  writer_.Put(mpeg2::kSequenceExtensionId, 4);
  writer_.Put(kProfile422MainLevel, 8);
  writer_.Put(0, 1);  // progressive_sequence
  writer_.Put(parameters_.chromaFormat, 2);
  writer_.Put(0, 2);   // horizontal_size_extension
  writer_.Put(0, 2);   // vertical_size_extension
  writer_.Put(0, 12);  // bit_rate_extension
  writer_.Put(1, 1);   // marker_bit
  writer_.Put(0, 8);   // vbv_buffer_size_extension
  writer_.Put(0, 1);   // low_delay
  writer_.Put(0, 2);   // frame_rate_extension_n
  writer_.Put(0, 5);   // frame_rate_extension_d
}

void BlockEncoder::WriteSequenceDisplayExtension() {
  writer_.PutStartCode(mpeg2::kExtensionStartCode);
  writer_.Put(mpeg2::kSequenceDisplayExtensionId, 4);
  writer_.Put(kVideoFormatUnspecified, 3);
  writer_.Put(1, 1);  // colour_description
  writer_.Put(kColourPrimaries, 8);
  writer_.Put(kTransferCharacteristics, 8);
  writer_.Put(kMatrixCoefficients, 8);
  writer_.Put(parameters_.width, 14);
  writer_.Put(1, 1);  // marker_bit
  writer_.Put(parameters_.height, 14);
}

void BlockEncoder::WriteGroupHeader() {
  writer_.PutStartCode(mpeg2::kGroupStartCode);
  writer_.Put(0, 12);  // time_code: drop_frame_flag, hours, minutes
  writer_.Put(1, 1);   // marker_bit
  writer_.Put(0, 12);  // time_code: seconds, pictures
  writer_.Put(1, 1);   // closed_gop
  writer_.Put(0, 1);   // broken_link
}

void BlockEncoder::WriteUserData() {
  std::array<std::uint8_t, kCreatorBytes> text = {};
  for (std::size_t i = 0; i < kCreator.size(); ++i) {
    text[i] = static_cast<std::uint8_t>(kCreator[i]);
  }
  writer_.PutStartCode(mpeg2::kUserDataStartCode);
  writer_.PutBytes(text);
}

void BlockEncoder::WritePictureHeader() {
  writer_.PutStartCode(mpeg2::kPictureStartCode);
  writer_.Put(0, 10);  // temporal_reference
  writer_.Put(parameters_.pictureCodingType, 3);
  writer_.Put(kVbvDelayUnspecified, 16);
  writer_.Put(0, 1);  // extra_bit_picture
}

void BlockEncoder::WritePictureCodingExtension() {
  writer_.PutStartCode(mpeg2::kExtensionStartCode);
  writer_.Put(mpeg2::kPictureCodingExtensionId, 4);
  writer_.Put(kUnusedFCodes, 16);
  writer_.Put(parameters_.intraDcPrecision, 2);
  writer_.Put(parameters_.pictureStructure, 2);
  writer_.Put(1, 1);  // top_field_first
  writer_.Put(parameters_.framePredFrameDct, 1);
  writer_.Put(0, 1);  // concealment_motion_vectors
  writer_.Put(parameters_.qScaleType, 1);
  writer_.Put(parameters_.intraVlcFormat, 1);
  writer_.Put(parameters_.alternateScan, 1);
  writer_.Put(0, 1);  // repeat_first_field
  writer_.Put(0, 1);  // chroma_420_type
  writer_.Put(0, 1);  // progressive_frame
  writer_.Put(0, 1);  // composite_display_flag
}

void BlockEncoder::WriteSliceHeader(int row) {
  writer_.PutStartCode(mpeg2::kFirstSliceStartCode + static_cast<std::uint32_t>(row));
  writer_.Put(parameters_.quantiserScaleCode, 5);
  writer_.Put(1, 1);  // intra_slice_flag
  writer_.Put(1, 1);  // intra_slice
  writer_.Put(0, 7);  // reserved_bits
  writer_.Put(0, 1);  // extra_bit_slice
  parameters_.dcPredictor.fill(parameters_.dcReset);
}

}  // namespace qivm
