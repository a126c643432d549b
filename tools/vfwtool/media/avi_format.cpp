#include "tools/vfwtool/media/avi_format.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "tools/vfwtool/base/text.h"

namespace vfwtool {
namespace {

constexpr std::uint32_t kDefaultQuality = 0xFFFFFFFF;

constexpr std::size_t kBlockOffset = 12;  // Of nBlockAlign in a WAVEFORMATEX.

constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kFloatTag = 3;
constexpr std::uint16_t kExtensibleTag = 0xFFFE;

struct Coding {
  std::uint16_t tag;
  const char* name;
};
// Those that are met in AVIs, by their tags in mmreg.h.
constexpr std::array kCodings = {
    Coding{kPcmTag, "PCM"}, Coding{2, "ADPCM"},     Coding{kFloatTag, "PCM (float)"},
    Coding{6, "A-law"},     Coding{7, "mu-law"},    Coding{0x11, "IMA ADPCM"},
    Coding{0x50, "MP2"},    Coding{0x55, "MP3"},    Coding{0xFF, "AAC"},
    Coding{0x161, "WMA"},   Coding{0x2000, "AC-3"}, Coding{0x2001, "DTS"},
};

constexpr std::array<char, 2> kPaletteKind = {'p', 'c'};

bool IsWordCharacter(unsigned character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
         (character >= 'a' && character <= 'z') || character == ' ' || character == '_';
}

char Digit(std::size_t value) { return static_cast<char>('0' + value); }

}  // namespace

std::string AviStreamHeaders::Name() const {
  const auto found = std::ranges::find(others, "strn"_fourcc, &RiffData::code);
  if (found == others.end()) {
    return {};
  }
  const auto end = std::ranges::find(found->contents, std::uint8_t{0});
  return {found->contents.begin(), end};
}

std::uint64_t AviStreamHeaders::UnitsOf(std::uint64_t bytes) const {
  if (const std::uint32_t sampleBytes = Field(StreamField::kSampleSize);
      sampleBytes != 0 && !IsVideo()) {
    return bytes / sampleBytes;
  }
  // Without a sample size a packet lasts a unit, unless it has more blocks than one.
  const std::uint64_t blockBytes = IsSound() && format.size() >= kSoundFormatBytes
                                       ? ReadLittleEndian16(format, kBlockOffset)
                                       : 0;
  return blockBytes == 0 ? 1 : (bytes + blockBytes - 1) / blockBytes;
}

AviStreamHeaders MakeVideoHeaders(const Bytes& format, FourCc handler, const FrameRate& rate,
                                  bool isCompressed, std::uint32_t start) {
  constexpr std::size_t kRightOffset = 52;
  const BitmapFormat bitmap = ReadBitmapFormat(format);
  AviStreamHeaders headers{.header = Bytes(kStreamHeaderBytes),
                           .format = format,
                           .others = {},
                           .chunkKind = {'d', isCompressed ? 'c' : 'b'}};
  headers.SetField(StreamField::kType, "vids"_fourcc);
  headers.SetField(StreamField::kHandler, handler);
  headers.SetField(StreamField::kScale, rate.denominator);
  headers.SetField(StreamField::kRate, rate.numerator);
  headers.SetField(StreamField::kStart, start);
  headers.SetField(StreamField::kQuality, kDefaultQuality);
  const auto rightAndBottom = static_cast<std::uint32_t>(bitmap.width & 0xFFFF) |
                              static_cast<std::uint32_t>(bitmap.height) << 16;
  StoreLittleEndian32(headers.header, kRightOffset, rightAndBottom);
  return headers;
}

AviStreamHeaders MakeSoundHeaders(const Bytes& format) {
  const SoundFormat sound = ReadSoundFormat(format);
  AviStreamHeaders headers{
      .header = Bytes(kStreamHeaderBytes), .format = format, .others = {}, .chunkKind = {'w', 'b'}};
  headers.SetField(StreamField::kType, "auds"_fourcc);
  headers.SetField(StreamField::kScale, 1);
  headers.SetField(StreamField::kRate, sound.samplesPerSecond);
  headers.SetField(StreamField::kQuality, kDefaultQuality);
  headers.SetField(StreamField::kSampleSize, sound.blockBytes);
  return headers;
}

FourCc ChunkCode(std::size_t stream, std::array<char, 2> kind) {
  return qivm::MakeFourCC(Digit(stream / 10), Digit(stream % 10), kind[0], kind[1]);
}

FourCc IndexCode(std::size_t stream) {
  return qivm::MakeFourCC('i', 'x', Digit(stream / 10), Digit(stream % 10));
}

bool IsWord(FourCc code) {
  return IsWordCharacter(code & 0xFF) && IsWordCharacter(code >> 8 & 0xFF) &&
         IsWordCharacter(code >> 16 & 0xFF) && IsWordCharacter(code >> 24);
}

bool IsPaletteChange(FourCc code) { return KindOfCode(code) == kPaletteKind; }

std::optional<std::size_t> StreamOfCode(FourCc code, std::size_t streams) {
  const auto digit = [code](unsigned shift) { return (code >> shift & 0xFF) - unsigned{'0'}; };
  if (digit(0) > 9 || digit(8) > 9 || !IsWord(code)) {
    return std::nullopt;
  }
  const std::size_t stream = 10 * digit(0) + digit(8);
  return stream < streams ? std::optional(stream) : std::nullopt;
}

std::optional<std::size_t> AnyStreamOfCode(FourCc code, std::size_t streams) {
  const std::optional<std::size_t> stream = StreamOfCode(code, kMaxAviStreams);
  const bool isKnown = stream && (*stream < streams || IsKnownKind(KindOfCode(code)));
  return isKnown ? stream : std::nullopt;
}

std::array<char, 2> KindOfCode(FourCc code) {
  return {static_cast<char>(code >> 16 & 0xFF), static_cast<char>(code >> 24)};
}

bool IsKnownKind(std::array<char, 2> kind) {
  constexpr std::array<std::array<char, 2>, 6> kKinds = {
      {{'d', 'b'}, {'d', 'c'}, {'w', 'b'}, {'t', 'x'}, kPaletteKind, {'_', '_'}}};
  return std::ranges::find(kKinds, kind) != kKinds.end();
}

bool SoundFormat::IsPcm() const {
  constexpr std::uint32_t kMostSampleBytes = 8;
  if ((tag != kPcmTag && tag != kFloatTag) || channels == 0 || samplesPerSecond == 0) {
    return false;
  }
  const std::uint32_t sampleBytes = blockBytes / channels;
  return blockBytes % channels == 0 && sampleBytes != 0 && sampleBytes <= kMostSampleBytes &&
         8 * sampleBytes >= bits;
}

bool SoundFormat::IsKnown() const {
  return std::ranges::find(kCodings, tag, &Coding::tag) != kCodings.end();
}

std::string SoundFormat::CodingText() const {
  const auto found = std::ranges::find(kCodings, tag, &Coding::tag);
  return found != kCodings.end() ? found->name : Concat("coding ", tag);
}

std::string SoundFormat::Text() const {
  std::string text =
      Concat(CodingText(), ", ", samplesPerSecond, " Hz, ", CountText(channels, "channel"));
  if (bits != 0) {
    text += Concat(", ", CountText(bits, "bit"));
  }
  return text;
}

SoundFormat ReadSoundFormat(std::span<const std::uint8_t> format) {
  constexpr std::size_t kSubformatOffset = 24;
  // What follows the tag in the GUID of a subformat that has one
  // (KSDATAFORMAT_SUBTYPE_WAVEFORMATEX).
  constexpr std::array<std::uint8_t, 14> kTaggedSubformat = {
      0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
  Bytes whole(format.begin(), format.end());
  whole.resize(std::max(whole.size(), kSubformatOffset + 2 + kTaggedSubformat.size()));
  SoundFormat sound{.tag = ReadLittleEndian16(whole, 0),
                    .channels = ReadLittleEndian16(whole, 2),
                    .samplesPerSecond = ReadLittleEndian32(whole, 4),
                    .bytesPerSecond = ReadLittleEndian32(whole, 8),
                    .blockBytes = ReadLittleEndian16(whole, kBlockOffset),
                    .bits = ReadLittleEndian16(whole, 14)};
  if (sound.tag == kExtensibleTag &&
      std::ranges::equal(kTaggedSubformat,
                         std::span(whole).subspan(kSubformatOffset + 2, kTaggedSubformat.size()))) {
    sound.tag = ReadLittleEndian16(whole, kSubformatOffset);
  }
  return sound;
}

}  // namespace vfwtool
