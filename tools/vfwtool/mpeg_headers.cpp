#include "tools/vfwtool/mpeg_headers.h"

#include <algorithm>
#include <array>

#include "tools/vfwtool/mpeg_units.h"
#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

using Unit = std::span<const std::uint8_t>;

// extension_start_code_identifier (Table 6-2).
constexpr std::uint32_t kSequenceExtension = 1;
constexpr std::uint32_t kQuantMatrixExtension = 3;
constexpr std::uint32_t kSequenceScalableExtension = 5;
constexpr std::uint32_t kPictureCodingExtension = 8;

constexpr std::uint32_t kIntraCoded = 1;
constexpr std::size_t kMatrixBits = std::size_t{64} * 8;

// The default intra matrix (6.3.11) in the order in which a stream has it, that of the zig-zag
// scan.
constexpr std::array<std::uint8_t, 64> kDefaultMatrix = {
    8,  16, 16, 19, 16, 19, 22, 22, 22, 22, 22, 22, 26, 24, 26, 27, 27, 27, 26, 26, 26, 26,
    27, 27, 27, 29, 29, 29, 34, 34, 34, 29, 29, 29, 27, 27, 29, 29, 32, 32, 34, 34, 37, 38,
    37, 35, 35, 34, 35, 38, 38, 40, 40, 40, 48, 48, 46, 46, 56, 56, 58, 69, 69, 83};

constexpr std::array<FrameRate, 9> kRates = {FrameRate{0, 0}, {24000, 1001}, {24, 1},
                                             {25, 1},         {30000, 1001}, {30, 1},
                                             {50, 1},         {60000, 1001}, {60, 1}};

bool IsDefaultMatrix(Unit unit, std::size_t position) {
  return std::ranges::all_of(kDefaultMatrix, [&, i = std::size_t{0}](std::uint8_t weight) mutable {
    return UnitBits(unit, position + 8 * i++, 8) == weight;
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
  headers.isNonLinear = UnitBits(unit, 27, 1) != 0;
  headers.usesTableB15 = UnitBits(unit, 28, 1) != 0;
  headers.isAlternateScan = UnitBits(unit, 29, 1) != 0;
}

/// Luminance and chrominance have matrices of their own in 4:2:2.
void ReadQuantMatrixExtension(Unit unit, MpegHeaders& headers) {
  constexpr std::array kIsIntra = {true, false, true, false};
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
    case kSequenceExtension:
      ReadSequenceExtension(unit, headers);
      break;
    case kQuantMatrixExtension:
      ReadQuantMatrixExtension(unit, headers);
      break;
    case kSequenceScalableExtension:
      headers.isScalable = true;
      break;
    case kPictureCodingExtension:
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

}  // namespace

std::string MpegHeaders::ChromaText() const {
  constexpr std::array kNames = {"an unknown chroma format", "4:2:0", "4:2:2", "4:4:4"};
  return kNames[chromaFormat];
}

MpegHeaders ReadMpegHeaders(std::span<const std::uint8_t> frame) {
  MpegHeaders headers;
  for (const MpegUnit& place : FindUnits(frame)) {
    const Unit unit = frame.subspan(place.begin, place.end - place.begin);
    if (place.code == kSequenceCode) {
      ReadSequence(unit, headers);
    } else if (place.code == kExtensionCode) {
      ReadExtension(unit, headers);
    } else if (place.code == kPictureCode) {
      ++headers.pictures;
      headers.areAllIntra &= UnitBits(unit, 10, 3) == kIntraCoded;
    } else if (IsSliceCode(place.code)) {
      ReadSlice(unit, place.code - kFirstSliceCode, headers);
    }
  }
  return headers;
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

}  // namespace qivm
