#include <algorithm>
#include <array>

#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

namespace mpeg2 = qivm::mpeg2;

using Unit = std::span<const std::uint8_t>;

constexpr std::array<FrameRate, 9> kRates = {FrameRate{0, 0}, {24000, 1001}, {24, 1},
                                             {25, 1},         {30000, 1001}, {30, 1},
                                             {50, 1},         {60000, 1001}, {60, 1}};

/// A stream has a matrix in the order of the zig-zag scan.
bool IsDefaultMatrix(Unit unit, std::size_t position) {
  return std::ranges::all_of(mpeg2::kZigzagScan, [&](std::uint8_t place) {
    const std::uint32_t weight = UnitBits(unit, position, 8);
    position += 8;
    return weight == mpeg2::kDefaultIntraMatrix[place];
  });
}

void ReadSequence(Unit unit, MpegHeaders& headers) {
  headers.hasSequence = true;
  headers.width = UnitBits(unit, 0, 12);
  headers.height = UnitBits(unit, 12, 12);
  headers.rate = RateOfCode(UnitBits(unit, 28, 4));
  constexpr std::size_t kLoadIntraMatrix = 62;
  headers.hasOwnMatrix =
      UnitBits(unit, kLoadIntraMatrix, 1) != 0 && !IsDefaultMatrix(unit, kLoadIntraMatrix + 1);
}

void ReadSequenceExtension(Unit unit, MpegHeaders& headers) {
  headers.isMpeg2 = true;
  headers.chromaFormat = UnitBits(unit, 13, 2);
  headers.width |= UnitBits(unit, 15, 2) << 12;
  headers.height |= UnitBits(unit, 17, 2) << 12;
  headers.rate.numerator *= UnitBits(unit, 41, 2) + 1;
  headers.rate.denominator *= UnitBits(unit, 43, 5) + 1;
}

void ReadPictureCodingExtension(Unit unit, MpegHeaders& headers) {
  constexpr std::uint32_t kLeastDcBits = 8;
  headers.hasPictureExtension = true;
  headers.dcBits = kLeastDcBits + UnitBits(unit, 20, 2);
  headers.structure = UnitBits(unit, 22, 2);
  headers.isTopFieldFirst = UnitBits(unit, 24, 1) != 0;
  headers.hasDctTypes = UnitBits(unit, 25, 1) == 0;  // frame_pred_frame_dct
  headers.isNonLinear = UnitBits(unit, 27, 1) != 0;
  headers.usesTableB15 = UnitBits(unit, 28, 1) != 0;
  headers.isAlternateScan = UnitBits(unit, 29, 1) != 0;
  headers.isProgressive = UnitBits(unit, 32, 1) != 0;
}

/// Luminance and chrominance have matrices of their own in 4:2:2.
void ReadQuantMatrixExtension(Unit unit, MpegHeaders& headers) {
  constexpr std::array kIsIntra = {true, false, true, false};
  constexpr std::size_t kMatrixBits = 8 * mpeg2::kDefaultIntraMatrix.size();
  std::size_t position = 4;
  for (const bool isIntra : kIsIntra) {
    const bool isLoaded = UnitBits(unit, position++, 1) != 0;
    if (isLoaded) {
      headers.hasOwnMatrix |= isIntra && !IsDefaultMatrix(unit, position);
      position += kMatrixBits;
    }
  }
}

void ReadExtension(Unit unit, MpegHeaders& headers) {
  switch (UnitBits(unit, 0, 4)) {
    case mpeg2::kSequenceExtensionId:
      ReadSequenceExtension(unit, headers);
      break;
    case mpeg2::kQuantMatrixExtensionId:
      ReadQuantMatrixExtension(unit, headers);
      break;
    case mpeg2::kSequenceScalableExtensionId:
      headers.isScalable = true;
      break;
    case mpeg2::kPictureCodingExtensionId:
      ReadPictureCodingExtension(unit, headers);
      break;
    default:
      break;
  }
}

void ReadSlice(Unit unit, std::uint32_t row, MpegHeaders& headers) {
  constexpr std::uint32_t kMisreadCode = 16;
  const std::uint32_t quantiser = UnitBits(unit, 0, 5);
  headers.smallestQuantiser =
      headers.slices == 0 ? quantiser : std::min(headers.smallestQuantiser, quantiser);
  headers.largestQuantiser = std::max(headers.largestQuantiser, quantiser);
  headers.usesLinearCode16 |= !headers.isNonLinear && quantiser == kMisreadCode;
  headers.hasOneSliceARow &= row == headers.slices;
  // The first macroblock's increment of pictures of the codec's own is 0 (docs/format.md).
  headers.doSlicesBeginLeft &= row == 0 || UnitBits(unit, SliceHeaderBits(unit), 1) != 0;
  ++headers.slices;
}

/// Interlaced frames have an even number of rows; the codec leaves the last one out where it lies
/// below the picture.
bool AreSlicesRows(const MpegHeaders& headers) {
  const std::uint32_t rows = headers.height / mpeg2::kMacroblockSize;
  return (headers.slices == rows || headers.slices == (rows + 1) / 2 * 2) &&
         headers.hasOneSliceARow && headers.doSlicesBeginLeft;
}

bool IsDecodableSize(const MpegHeaders& headers) {
  return headers.width % mpeg2::kMacroblockSize == 0 &&
         headers.height % mpeg2::kMacroblockSize == 0 && IsPictureSide(headers.width) &&
         IsPictureSide(headers.height) && headers.height <= mpeg2::kMaxHeight;
}

}  // namespace

Bytes StartCode(std::uint32_t startCode) { return {0, 0, 1, static_cast<std::uint8_t>(startCode)}; }

std::vector<MpegUnit> FindUnits(std::span<const std::uint8_t> stream) {
  std::vector<MpegUnit> units;
  for (std::size_t i = 0; i + mpeg2::kStartCodeBytes <= stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      if (!units.empty()) {
        units.back().end = i;
      }
      units.push_back({mpeg2::kPictureStartCode | stream[i + 3], i, stream.size()});
      i += mpeg2::kStartCodeBytes - 1;
    }
  }
  return units;
}

std::uint32_t UnitBits(std::span<const std::uint8_t> unit, std::size_t position, unsigned count) {
  std::uint32_t value = 0;
  for (std::size_t bit = 8 * mpeg2::kStartCodeBytes + position; count > 0; ++bit, --count) {
    const unsigned byte = bit / 8 < unit.size() ? unit[bit / 8] : 0U;
    value = value << 1 | (byte >> (7 - bit % 8) & 1U);
  }
  return value;
}

std::size_t SliceHeaderBits(std::span<const std::uint8_t> slice) {
  constexpr std::size_t kQuantiserBits = 5;
  constexpr std::size_t kIntraSliceBits = 9;  // intra_slice_flag, intra_slice, reserved_bits
  constexpr std::size_t kExtraBits = 9;       // extra_bit_slice, extra_information_slice
  std::size_t bits = kQuantiserBits;
  if (UnitBits(slice, bits, 1) != 0) {
    bits += kIntraSliceBits;
    while (UnitBits(slice, bits, 1) != 0) {
      bits += kExtraBits;
    }
  }
  return bits + 1;
}

std::string MpegHeaders::ChromaText() const {
  constexpr std::array kNames = {"an unknown chroma format", "4:2:0", "4:2:2", "4:4:4"};
  return kNames[chromaFormat];
}

MpegHeaders ReadMpegHeaders(std::span<const std::uint8_t> frame) {
  MpegHeaders headers;
  for (const MpegUnit& place : FindUnits(frame)) {
    const Unit unit = frame.subspan(place.begin, place.end - place.begin);
    if (place.startCode == mpeg2::kSequenceHeaderCode) {
      ReadSequence(unit, headers);
    } else if (place.startCode == mpeg2::kExtensionStartCode) {
      ReadExtension(unit, headers);
    } else if (place.startCode == mpeg2::kPictureStartCode) {
      ++headers.pictures;
      headers.areAllIntra &= UnitBits(unit, 10, 3) == mpeg2::kIntraPicture;
    } else if (IsSliceCode(place.startCode)) {
      ReadSlice(unit, place.startCode - mpeg2::kFirstSliceStartCode, headers);
    }
  }
  return headers;
}

std::optional<std::string> WhyNotDecodable(const MpegHeaders& headers) {
  constexpr const char* kEncode =
      ". Code the film anew, for instance with: ffmpeg -i IN -c:v mpeg2video -pix_fmt yuv422p -g 1 "
      "-intra_vlc 1 -q:v 2 OUT.m2v";
  if (!headers.isMpeg2 || !headers.hasPictureExtension) {
    return "is MPEG-1, not MPEG-2: it lacks the extensions of MPEG-2";
  }
  if (!headers.areAllIntra) {
    return Concat("is no intra picture; the codec decodes every frame alone", kEncode);
  }
  if (headers.chromaFormat != mpeg2::kChroma422) {
    return Concat("is ", headers.ChromaText(), "; the codec decodes 4:2:2", kEncode);
  }
  if (!headers.usesTableB15) {
    return Concat(
        "has intra_vlc_format 0; the codec decodes coefficients of the other table, that of "
        "intra_vlc_format 1, alone",
        kEncode);
  }
  if (headers.isScalable) {
    return "is part of a scalable stream";
  }
  if (headers.structure != mpeg2::kFramePicture) {
    return "is a pair of field pictures; the codec decodes frame pictures alone";
  }
  if (!IsDecodableSize(headers)) {
    return Concat("is ", headers.width, 'x', headers.height,
                  "; the codec decodes widths and heights that are multiples of ",
                  mpeg2::kMacroblockSize, ", and heights up to ", mpeg2::kMaxHeight);
  }
  if (headers.hasOwnMatrix) {
    return "brings a quantiser matrix of its own; the codec decodes with the default one";
  }
  if (headers.usesLinearCode16) {
    return "uses quantiser_scale_code 16 of the linear scale, which the codec takes for another "
           "scale than the standard's";
  }
  if (!AreSlicesRows(headers)) {
    return "is not made of one slice for each macroblock row, which the codec takes for granted";
  }
  return std::nullopt;
}

FrameRate RateOfCode(std::uint32_t frameRateCode) {
  return frameRateCode < kRates.size() ? kRates[frameRateCode] : kRates[0];
}

std::uint32_t CodeOfRate(const FrameRate& rate) {
  for (std::uint32_t code = 1; code < kRates.size(); ++code) {
    if (std::uint64_t{rate.numerator} * kRates[code].denominator ==
        std::uint64_t{rate.denominator} * kRates[code].numerator) {
      return code;
    }
  }
  return 0;
}

}  // namespace vfwtool
