// The headers of a frame as PictureDecoder reads them (ISO/IEC 13818-2, 6.2 and 6.3).

#include <array>

#include "decoder/picture_decoder.h"
#include "mpeg2/start_codes.h"
#include "platform/platform.h"

namespace qivm {

namespace {

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

bool PictureDecoder::ParsePictureHeaders(MacroblockRecord& record) {
  parameters_.flags = 0;
  if (!reader_.NextStartCode() || !ParseSequenceHeader()) {
    return false;
  }
  if (reader_.Peek32() == mpeg2::kExtensionStartCode) {
    if (!ParseHeadersAfterSequence()) {
      return false;
    }
    constexpr std::array<std::int16_t, 4> kBlocks = {0, 6, 8, 12};
    record.blockCount = kBlocks[parameters_.chromaFormat];
    if (parameters_.chromaFormat == 0) {
      parameters_.flags = PictureParameters::kNoChromaFormat;
    }
  }
  // A full column count makes the first macroblock start with a slice header.
  mbColumn_ = parameters_.MbPerRow();
  mbRow_ = 0;
  record.column = static_cast<std::int16_t>(mbColumn_);
  record.row = 0;
  record.parameters = parameters_;
  return true;
}

bool PictureDecoder::ParseHeadersAfterSequence() {
  return ParseSequenceExtension() && ParseExtensions(false) && SkipUserData() &&
         ParseGroupHeader() && SkipUserData() && ParsePictureHeader() &&
         ParsePictureCodingExtension() && ParseExtensions(true) && SkipUserData();
}

bool PictureDecoder::ParseSequenceHeader() {
  reader_.Skip(32);  // the start code, whatever it is
  const std::uint32_t sizes = reader_.Peek32();
  parameters_.width = static_cast<std::uint16_t>(Field(sizes, 20, 12));
  parameters_.height = static_cast<std::uint16_t>(Field(sizes, 8, 12));
  parameters_.frameRate = kFramesPerSecond[Field(sizes, 0, 4)];
  reader_.Skip(32);
  const std::uint32_t rates = reader_.Peek32();
  parameters_.bitRate = Field(rates, 14, 18);
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

bool PictureDecoder::ParseSequenceExtension() {
  reader_.Skip(32);
  const std::uint32_t fields = reader_.Peek32();
  parameters_.chromaFormat = ByteField(fields, 17, 2);
  parameters_.width = static_cast<std::uint16_t>(parameters_.width | Field(fields, 15, 2) << 12);
  parameters_.height = static_cast<std::uint16_t>(parameters_.height | Field(fields, 13, 2) << 12);
  parameters_.bitRate |= Field(fields, 1, 12) << 18;
  reader_.Skip(32);
  reader_.Refill();
  reader_.Skip(16);  // vbv_buffer_size_extension to frame_rate_extension_d
  return reader_.NextStartCode();
}

bool PictureDecoder::ParseExtensions(bool pictureLevel) {
  while (reader_.Peek32() == mpeg2::kExtensionStartCode) {
    reader_.Skip(32);
    const std::uint32_t identifier = Field(reader_.Peek32(), 28, 4);
    if (pictureLevel && identifier == mpeg2::kPictureSpatialScalableExtensionId) {
      parameters_.flags |= PictureParameters::kSpatialScalable;
    }
    if (pictureLevel && identifier == mpeg2::kPictureTemporalScalableExtensionId) {
      parameters_.flags |= PictureParameters::kTemporalScalable;
    }
    reader_.Skip(4);
    if (!reader_.NextStartCode()) {
      return false;
    }
  }
  return true;
}

bool PictureDecoder::SkipUserData() {
  if (reader_.Peek32() != mpeg2::kUserDataStartCode) {
    return true;
  }
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool PictureDecoder::ParseGroupHeader() {
  if (reader_.Peek32() != mpeg2::kGroupStartCode) {
    return true;
  }
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool PictureDecoder::ParsePictureHeader() {
  reader_.Skip(32);  // the start code, whatever it is
  parameters_.pictureCodingType = ByteField(reader_.Peek32(), 19, 3);
  if (parameters_.pictureCodingType != mpeg2::kIntraPicture) {
    parameters_.flags |= PictureParameters::kNotIntraPicture;
  }
  // Nothing is consumed behind the start code: the search goes on at the byte after it.
  return reader_.NextStartCode();
}

bool PictureDecoder::ParsePictureCodingExtension() {
  reader_.Skip(32);  // the start code, whatever it is
  const std::uint32_t fields = reader_.Peek32();
  parameters_.intraDcPrecision = ByteField(fields, 10, 2);
  parameters_.pictureStructure = ByteField(fields, 8, 2);
  parameters_.framePredFrameDct = ByteField(fields, 6, 1);
  parameters_.qScaleType = ByteField(fields, 4, 1);
  parameters_.intraVlcFormat = ByteField(fields, 3, 1);
  parameters_.alternateScan = ByteField(fields, 2, 1);
  parameters_.dcReset = static_cast<std::int16_t>(128 << parameters_.intraDcPrecision);
  reader_.Skip(32);
  return reader_.NextStartCode();
}

bool PictureDecoder::FindSlice(bool (BitReader::*nextStartCode)()) {
  while ((reader_.*nextStartCode)()) {
    const std::uint32_t code = reader_.Peek32();
    if (code >= mpeg2::kFirstSliceStartCode && code <= mpeg2::kLastSliceStartCode) {
      return true;
    }
    reader_.Skip(32);
  }
  return false;
}

void PictureDecoder::ParseSliceHeader() {
  mbColumn_ = 0;
  mbRow_ = static_cast<int>(reader_.Peek32() - mpeg2::kFirstSliceStartCode);
  parameters_.dcPredictor.fill(parameters_.dcReset);
  reader_.Skip(32);
  if (parameters_.dataPartitioning == 1) {
    reader_.Refill();
    reader_.Skip(7);  // priority_breakpoint
  }
  const std::uint32_t fields = reader_.Peek32();
  parameters_.quantiserScaleCode = ByteField(fields, 27, 5);
  if (Field(fields, 26, 1) != 0) {
    reader_.Skip(14);  // quantiser_scale_code to reserved_bits
    while (Field(reader_.Peek32(), 31, 1) != 0) {
      reader_.Skip(9);  // extra_bit_slice and extra_information_slice
    }
    reader_.Skip(1);
  } else {
    reader_.Skip(6);  // quantiser_scale_code and extra_bit_slice
  }
  reader_.AlignToWord();
}

void PictureDecoder::ParseMacroblockHeader(MacroblockRecord& record) {
  constexpr std::uint32_t kQuantBit = 2;
  // macroblock_address_increment is one bit long in every stream that this codec reads. Its value
  // is not looked at: the first macroblock of the codec's own pictures has 0 here.
  reader_.Refill();
  reader_.Skip(1);
  if (Field(reader_.Peek32(), 31, 1) != 0) {
    record.macroblockType = MacroblockRecord::kIntra;
    reader_.Skip(1);
  } else {
    record.macroblockType = MacroblockRecord::kIntraWithQuant;
    reader_.Skip(2);
  }
  if (parameters_.pictureStructure == mpeg2::kFramePicture && parameters_.framePredFrameDct == 0) {
    parameters_.frameDct = Field(reader_.Peek32(), 31, 1) == 0 ? 1 : 0;
    reader_.Skip(1);
  }
  if ((record.macroblockType & kQuantBit) != 0) {
    parameters_.quantiserScaleCode = ByteField(reader_.Peek32(), 27, 5);
    reader_.Skip(5);
  }
}

}  // namespace qivm
