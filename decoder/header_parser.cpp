#include "decoder/header_parser.h"

#include <array>

#include "mpeg2/start_codes.h"
#include "platform/platform.h"

namespace qivm {

namespace {

/// By frame_rate_code.
constexpr std::array<std::uint8_t, 16> kFramesPerSecond = {0,  23, 24, 25, 29, 30, 50, 59,
                                                           60, 0,  0,  0,  0,  0,  0,  0};

/// `count` bits of a 32-bit word, the lowest of them bit `lowest`.
constexpr std::uint32_t Field(std::uint32_t word, unsigned lowest, unsigned count) {
  return (word >> lowest) & ((1U << count) - 1);
}

constexpr std::uint8_t ByteField(std::uint32_t word, unsigned lowest, unsigned count) {
  return static_cast<std::uint8_t>(Field(word, lowest, count));
}

}  // namespace

bool HeaderParser::ParsePictureHeaders(std::span<const std::uint8_t> frame) {
  reader_.Attach(frame);
  return reader_.NextStartCode() && ParseSequenceHeader() &&
         (reader_.Peek32() != mpeg2::kExtensionStartCode || ParseHeadersAfterSequence());
}

bool HeaderParser::ParseHeadersAfterSequence() {
  return ParseSequenceExtension() && ParseExtensions() && SkipUserData() && ParseGroupHeader() &&
         SkipUserData() && ParsePictureHeader() && ParsePictureCodingExtension() &&
         ParseExtensions() && SkipUserData();
}

bool HeaderParser::ParseSequenceHeader() {
  reader_.Skip(32);  // the start code, whatever it is
  const std::uint32_t sizes = reader_.Peek32();
  parameters_.width = static_cast<std::uint16_t>(Field(sizes, 20, 12));
  parameters_.height = static_cast<std::uint16_t>(Field(sizes, 8, 12));
  parameters_.frameRate = kFramesPerSecond[Field(sizes, 0, 4)];
  reader_.Skip(32);
  const std::uint32_t rates = reader_.Peek32();
  if (Field(rates, 1, 1) != 0) {
    platform::DebugText("Intra quantizer matrix present\n");
  }
  // Behind an intra matrix this bit is one of the matrix; it is looked at all the same.
  if (Field(rates, 0, 1) != 0) {
    platform::DebugText("Non-intra quantizer matrix present\n");
  }
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool HeaderParser::ParseSequenceExtension() {
  reader_.Skip(32);
  const std::uint32_t fields = reader_.Peek32();
  parameters_.chromaFormat = ByteField(fields, 17, 2);
  parameters_.width = static_cast<std::uint16_t>(parameters_.width | Field(fields, 15, 2) << 12);
  parameters_.height = static_cast<std::uint16_t>(parameters_.height | Field(fields, 13, 2) << 12);
  reader_.Skip(32);
  reader_.Refill();
  reader_.Skip(16);  // vbv_buffer_size_extension to frame_rate_extension_d
  return reader_.NextStartCode();
}

bool HeaderParser::ParseExtensions() {
  while (reader_.Peek32() == mpeg2::kExtensionStartCode) {
    reader_.Skip(32);
    reader_.Skip(4);  // extension_start_code_identifier: none of them makes a difference
    if (!reader_.NextStartCode()) {
      return false;
    }
  }
  return true;
}

bool HeaderParser::SkipUserData() {
  if (reader_.Peek32() != mpeg2::kUserDataStartCode) {
    return true;
  }
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool HeaderParser::ParseGroupHeader() {
  if (reader_.Peek32() != mpeg2::kGroupStartCode) {
    return true;
  }
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool HeaderParser::ParsePictureHeader() {
  reader_.Skip(32);  // the start code, whatever it is
  // What it says (the picture_coding_type among it) makes no difference: the search goes on at the
  // byte after the start code.
  return reader_.NextStartCode();
}

bool HeaderParser::ParsePictureCodingExtension() {
  reader_.Skip(32);  // the start code, whatever it is
  const std::uint32_t fields = reader_.Peek32();
  parameters_.intraDcPrecision = ByteField(fields, 10, 2);
  parameters_.pictureStructure = ByteField(fields, 8, 2);
  parameters_.framePredFrameDct = ByteField(fields, 6, 1);
  parameters_.qScaleType = ByteField(fields, 4, 1);
  parameters_.intraVlcFormat = ByteField(fields, 3, 1);
  parameters_.alternateScan = ByteField(fields, 2, 1);
  reader_.Skip(32);
  return reader_.NextStartCode();
}

}  // namespace qivm
