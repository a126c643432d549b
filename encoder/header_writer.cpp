#include "encoder/header_writer.h"

#include <array>
#include <string_view>

#include "encoder/stream_format.h"
#include "mpeg2/start_codes.h"

namespace qivm {

namespace {

using namespace stream_format;

/// Who made the stream. Its bytes keep the next start code on a word boundary.
constexpr std::string_view kCreator = "Norvane MPEG-2 I-frames - codec@norvane.example";
constexpr std::size_t kCreatorBytes = 48;
static_assert(kCreator.size() + 1 == kCreatorBytes && kCreatorBytes % 4 == 0);

void WriteSequenceHeader(BitWriter& writer, std::uint32_t width, std::uint32_t height) {
  writer.PutStartCode(mpeg2::kSequenceHeaderCode);
  writer.Put(width, 12);
  writer.Put(height, 12);
  writer.Put(kAspectRatio4By3, 4);
  writer.Put(kFrameRateCode, 4);
  writer.Put(kBitRateValue, 18);
  writer.Put(1, 1);  // marker_bit
  writer.FlushWord();
  writer.Put(kVbvBufferSizeValue, 10);
  writer.Put(0, 1);  // constrained_parameters_flag
  writer.Put(0, 2);  // load_intra_quantiser_matrix, load_non_intra_quantiser_matrix
}

void WriteSequenceExtension(BitWriter& writer) {
  writer.PutStartCode(mpeg2::kExtensionStartCode);
  writer.Put(mpeg2::kSequenceExtensionId, 4);
  writer.Put(kProfile422MainLevel, 8);
  writer.Put(0, 1);  // progressive_sequence
  writer.Put(mpeg2::kChroma422, 2);
  writer.Put(0, 2);   // horizontal_size_extension
  writer.Put(0, 2);   // vertical_size_extension
  writer.Put(0, 12);  // bit_rate_extension
  writer.Put(1, 1);   // marker_bit
  writer.Put(0, 8);   // vbv_buffer_size_extension
  writer.Put(0, 1);   // low_delay
  writer.Put(0, 2);   // frame_rate_extension_n
  writer.Put(0, 5);   // frame_rate_extension_d
}

void WriteSequenceDisplayExtension(BitWriter& writer, std::uint32_t width, std::uint32_t height) {
  writer.PutStartCode(mpeg2::kExtensionStartCode);
  writer.Put(mpeg2::kSequenceDisplayExtensionId, 4);
  writer.Put(kVideoFormatUnspecified, 3);
  writer.Put(1, 1);  // colour_description
  writer.Put(kColourPrimaries, 8);
  writer.Put(kTransferCharacteristics, 8);
  writer.Put(kMatrixCoefficients, 8);
  writer.Put(width, 14);
  writer.Put(1, 1);  // marker_bit
  writer.Put(height, 14);
}

void WriteGroupHeader(BitWriter& writer) {
  writer.PutStartCode(mpeg2::kGroupStartCode);
  writer.Put(0, 12);  // time_code: drop_frame_flag, hours, minutes
  writer.Put(1, 1);   // marker_bit
  writer.Put(0, 12);  // time_code: seconds, pictures
  writer.Put(1, 1);   // closed_gop
  writer.Put(0, 1);   // broken_link
}

void WriteUserData(BitWriter& writer) {
  std::array<std::uint8_t, kCreatorBytes> text = {};
  for (std::size_t i = 0; i < kCreator.size(); ++i) {
    text[i] = static_cast<std::uint8_t>(kCreator[i]);
  }
  writer.PutStartCode(mpeg2::kUserDataStartCode);
  writer.PutBytes(text);
}

void WritePictureHeader(BitWriter& writer) {
  writer.PutStartCode(mpeg2::kPictureStartCode);
  writer.Put(0, 10);  // temporal_reference
  writer.Put(mpeg2::kIntraPicture, 3);
  writer.Put(kVbvDelayUnspecified, 16);
  writer.Put(0, 1);  // extra_bit_picture
}

void WritePictureCodingExtension(BitWriter& writer) {
  writer.PutStartCode(mpeg2::kExtensionStartCode);
  writer.Put(mpeg2::kPictureCodingExtensionId, 4);
  writer.Put(kUnusedFCodes, 16);
  writer.Put(kIntraDcPrecision, 2);
  writer.Put(mpeg2::kFramePicture, 2);
  writer.Put(1, 1);  // top_field_first
  writer.Put(kFramePredFrameDct, 1);
  writer.Put(0, 1);  // concealment_motion_vectors
  writer.Put(kQScaleType, 1);
  writer.Put(kIntraVlcFormat, 1);
  writer.Put(kAlternateScan, 1);
  writer.Put(0, 1);  // repeat_first_field
  writer.Put(0, 1);  // chroma_420_type
  writer.Put(0, 1);  // progressive_frame
  writer.Put(0, 1);  // composite_display_flag
}

}  // namespace

void WriteFrameHeaders(BitWriter& writer, int width, int height) {
  const auto columns = static_cast<std::uint32_t>(width);
  const auto lines = static_cast<std::uint32_t>(height);
  WriteSequenceHeader(writer, columns, lines);
  WriteSequenceExtension(writer);
  WriteSequenceDisplayExtension(writer, columns, lines);
  WriteGroupHeader(writer);
  WriteUserData(writer);
  WritePictureHeader(writer);
  WritePictureCodingExtension(writer);
  writer.Finish();
}

}  // namespace qivm
