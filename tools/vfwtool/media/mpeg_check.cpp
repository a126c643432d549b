#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

#include "mpeg2/vlc.h"
#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

namespace mpeg2 = qivm::mpeg2;

/// The codes of a table, looked up by the bits that come next.
template <unsigned kBits>
class CodeTable {
 public:
  static constexpr unsigned kLookUpBits = kBits;
  struct Entry {
    std::uint8_t length = 0;  ///< 0 where no code begins so.
    std::uint8_t value = 0;
  };

  void Add(const mpeg2::Code& code, std::uint8_t length, std::uint8_t value) {
    const unsigned free = kBits - code.length;
    const std::size_t first = std::size_t{code.bits} << free;
    std::fill_n(entries_.begin() + static_cast<std::ptrdiff_t>(first), std::size_t{1} << free,
                Entry{length, value});
  }
  const Entry& operator[](std::uint32_t bits) const { return entries_[bits]; }

 private:
  std::array<Entry, std::size_t{1} << kBits> entries_ = {};
};

constexpr std::uint8_t kEndOfBlock = 0xFE;
constexpr std::uint8_t kEscape = 0xFF;

/// The runs of Table B-15; the lengths have the sign counted in.
const CodeTable<16>& RunTable() {
  static const CodeTable<16> kTable = [] {
    CodeTable<16> table;
    for (const mpeg2::RunLevelCode& entry : mpeg2::kRunLevelCodes) {
      table.Add(entry.code, static_cast<std::uint8_t>(entry.code.length + 1), entry.run);
    }
    table.Add(mpeg2::kEndOfBlock, mpeg2::kEndOfBlock.length, kEndOfBlock);
    table.Add(mpeg2::kEscape, mpeg2::kEscape.length, kEscape);
    return table;
  }();
  return kTable;
}

CodeTable<10> MakeDcTable(const std::array<mpeg2::Code, mpeg2::kDctDcSizes>& codes) {
  CodeTable<10> table;
  for (std::size_t size = 0; size < codes.size(); ++size) {
    table.Add(codes[size], codes[size].length, static_cast<std::uint8_t>(size));
  }
  return table;
}

/// Reads the bits of a slice; behind its end there are zeros.
class Bits {
 public:
  explicit Bits(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::uint32_t Peek(unsigned count) const {
    return static_cast<std::uint32_t>(Window() >> (64 - count));
  }
  void Skip(std::size_t count) { position_ += count; }
  std::uint32_t Take(unsigned count) {
    const std::uint32_t value = Peek(count);
    Skip(count);
    return value;
  }
  std::size_t Position() const { return position_; }
  bool IsPastEnd() const { return position_ > 8 * bytes_.size(); }
  /// Whether nothing but stuffing is left.
  bool IsAtEnd() const {
    const std::size_t next = (position_ + 7) / 8;
    const unsigned rest = position_ % 8 == 0 ? 0 : bytes_[position_ / 8] & 0xFFU >> position_ % 8;
    return rest == 0 && std::all_of(bytes_.begin() + static_cast<std::ptrdiff_t>(next),
                                    bytes_.end(), [](std::uint8_t byte) { return byte == 0; });
  }

 private:
  /// The next bits, at least 57 of them, from the top down.
  std::uint64_t Window() const {
    const std::size_t byte = position_ / 8;
    std::uint64_t window = 0;
    if (byte + sizeof(window) <= bytes_.size()) {
      const std::uint8_t* const next = bytes_.data() + byte;
      for (std::size_t i = 0; i < sizeof(window); ++i) {
        window = window << 8 | next[i];
      }
    } else {
      for (std::size_t i = byte; i < byte + sizeof(window); ++i) {
        window = window << 8 | (i < bytes_.size() ? bytes_[i] : 0U);
      }
    }
    return window << position_ % 8;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

/// Why a block's coefficients cannot be read; null when they can. `bits` is then behind them.
const char* CheckBlock(Bits& bits, bool isLuminance) {
  static const CodeTable<10> kLuminance = MakeDcTable(mpeg2::kDcSizeLuma);
  static const CodeTable<10> kChrominance = MakeDcTable(mpeg2::kDcSizeChroma);
  constexpr std::uint32_t kLargestLevel = 1U << (mpeg2::kEscapeLevelBits - 1);
  constexpr int kLastCoefficient = 63;
  const auto size = (isLuminance ? kLuminance : kChrominance)[bits.Peek(10)];
  if (size.length == 0) {
    return "an unknown code of a DC size";
  }
  bits.Skip(size.length + size.value);
  const CodeTable<16>& runs = RunTable();
  for (int position = 0;;) {
    const auto code = runs[bits.Peek(16)];
    bits.Skip(code.length);
    if (code.length == 0) {
      return "an unknown code of a coefficient";
    }
    if (code.value == kEndOfBlock) {
      return bits.IsPastEnd() ? "breaks off" : nullptr;
    }
    int run = code.value;
    if (code.value == kEscape) {
      run = static_cast<int>(bits.Take(mpeg2::kEscapeRunBits));
      const std::uint32_t level = bits.Take(mpeg2::kEscapeLevelBits);
      if (level == 0 || level == kLargestLevel) {
        return "a forbidden level";
      }
    }
    position += run + 1;
    if (position > kLastCoefficient) {
      return "a block of more than 64 coefficients";
    }
  }
}

/// Why a macroblock cannot be read; null when it can.
const char* CheckMacroblock(Bits& bits, const MpegHeaders& headers, bool isFirstOfPicture) {
  constexpr int kBlocks = 8;
  constexpr int kLuminanceBlocks = 4;
  const bool isNext = bits.Take(1) != 0;  // macroblock_address_increment
  if (!isNext && !isFirstOfPicture) {
    return "a macroblock that is not next to the one before";
  }
  const bool hasQuantiser = bits.Take(1) == 0;  // macroblock_type
  if (hasQuantiser && bits.Take(1) == 0) {
    return "a macroblock that is not intra coded";
  }
  if (headers.hasDctTypes) {
    bits.Skip(1);
  }
  if (hasQuantiser && bits.Take(5) == 0) {
    return "a forbidden quantiser code";
  }
  for (int block = 0; block < kBlocks; ++block) {
    if (const char* const why = CheckBlock(bits, block < kLuminanceBlocks)) {
      return why;
    }
  }
  return nullptr;
}

/// What is wrong with the slice of a row, of `slice` with its start code.
std::optional<FrameDamage> CheckSlice(std::span<const std::uint8_t> slice,
                                      const MpegHeaders& headers, std::uint32_t row) {
  const std::uint32_t columns = headers.width / mpeg2::kMacroblockSize;
  Bits bits(slice);
  bits.Skip(8 * mpeg2::kStartCodeBytes);
  const auto damage = [&](const std::string& what) {
    const std::size_t offset = std::min(bits.Position() / 8, slice.size());
    return FrameDamage{offset, Concat("is damaged in row ", row + 1, ": ", what)};
  };
  if (bits.Peek(5) == 0) {
    return damage("a forbidden quantiser code");
  }
  bits.Skip(SliceHeaderBits(slice));
  for (std::uint32_t column = 0; column < columns; ++column) {
    if (const char* const why = CheckMacroblock(bits, headers, row == 0 && column == 0)) {
      return damage(Concat("macroblock ", column + 1, " of ", columns, ": ", why));
    }
  }
  if (!bits.IsAtEnd()) {
    return damage("it does not end with its last macroblock");
  }
  return std::nullopt;
}

/// What is wrong with the headers of the frame as a whole.
std::optional<std::string> CheckHeaders(const MpegHeaders& headers,
                                        const std::vector<MpegUnit>& units, std::int32_t width,
                                        std::int32_t height) {
  if (units.empty() || units.front().startCode != mpeg2::kSequenceHeaderCode) {
    return "does not begin with a sequence header";
  }
  if (std::cmp_not_equal(headers.width, width) || std::cmp_not_equal(headers.height, height)) {
    return Concat("states ", headers.width, 'x', headers.height, " where the AVI states ", width,
                  'x', height);
  }
  if (headers.pictures != 1) {
    return Concat("has ", CountText(headers.pictures, "picture"));
  }
  std::uint32_t row = 0;
  for (const MpegUnit& unit : units) {
    if (IsSliceCode(unit.startCode) && unit.startCode != mpeg2::kFirstSliceStartCode + row++) {
      return Concat("has row ", unit.startCode - mpeg2::kFirstSliceStartCode + 1, " where row ",
                    row, " belongs");
    }
  }
  if (row < headers.height / mpeg2::kMacroblockSize) {
    return Concat("ends after ", CountText(row, "row"), " of ",
                  headers.height / mpeg2::kMacroblockSize);
  }
  return WhyNotDecodable(headers);
}

}  // namespace

std::vector<FrameDamage> FindDamage(std::span<const std::uint8_t> frame, std::int32_t width,
                                    std::int32_t height) {
  const std::vector<MpegUnit> units = FindUnits(frame);
  const MpegHeaders headers = ReadMpegHeaders(frame);
  if (const std::optional<std::string> what = CheckHeaders(headers, units, width, height)) {
    return {{0, *what}};
  }
  std::vector<FrameDamage> damages;
  for (const MpegUnit& unit : units) {
    if (!IsSliceCode(unit.startCode)) {
      continue;
    }
    std::optional<FrameDamage> damage =
        CheckSlice(frame.subspan(unit.begin, unit.end - unit.begin), headers,
                   unit.startCode - mpeg2::kFirstSliceStartCode);
    if (damage) {
      damage->offset += unit.begin;
      damages.push_back(std::move(*damage));
    }
  }
  return damages;
}

}  // namespace vfwtool
