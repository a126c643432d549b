#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/vfwtool/media/clip.h"
#include "tools/vfwtool/media/riff.h"

/// What AVI files are made of: stream headers, and the layout of their indexes.
namespace vfwtool {

/// An AVI names its streams by two decimal digits.
inline constexpr std::size_t kMaxAviStreams = 100;

/// The header of a file ("avih").
inline constexpr std::size_t kMainHeaderBytes = 56;
inline constexpr std::uint32_t kHasIndexFlag = 0x10;  // AVIF_HASINDEX

/// The index of an AVI's first segment ("idx1").
inline constexpr std::uint32_t kIndexEntryBytes = 16;
inline constexpr std::uint32_t kKeyFrameFlag = 0x10;  // AVIIF_KEYFRAME

/// The indexes of OpenDML ("indx", "ix00"): a header, then entries.
inline constexpr std::uint32_t kStandardIndexHeaderBytes = 24;
inline constexpr std::uint32_t kStandardIndexEntryBytes = 8;
inline constexpr std::uint32_t kSuperIndexEntryBytes = 16;
inline constexpr std::uint8_t kIndexOfIndexes = 0;
inline constexpr std::uint8_t kIndexOfChunks = 1;
/// Set in the size of an entry whose frame is no key frame.
inline constexpr std::uint32_t kDeltaFrameBit = 0x80000000;

/// Fields of a stream header ("strh"), by their places.
enum class StreamField : std::size_t {
  kType = 0,
  kHandler = 4,
  kScale = 20,
  kRate = 24,
  kStart = 28,
  kLength = 32,
  kLargestChunk = 36,
  kQuality = 40,
  kSampleSize = 44,
};
inline constexpr std::size_t kStreamHeaderBytes = 56;

/// What the list of one stream ("strl") has. It goes from file to file as it is, but for what
/// changes with the chunks themselves.
struct AviStreamHeaders {
  Bytes header;                  ///< "strh", of kStreamHeaderBytes at least.
  Bytes format;                  ///< "strf"
  std::vector<RiffData> others;  ///< The stream's name, driver data and the like.
  /// The last two characters of its chunks' codes, such as "dc".
  std::array<char, 2> chunkKind = {};

  std::uint32_t Field(StreamField field) const {
    return ReadLittleEndian32(header, static_cast<std::size_t>(field));
  }
  void SetField(StreamField field, std::uint32_t value) {
    StoreLittleEndian32(header, static_cast<std::size_t>(field), value);
  }

  FourCc Type() const { return Field(StreamField::kType); }
  bool IsVideo() const { return Type() == "vids"_fourcc; }
  bool IsSound() const { return Type() == "auds"_fourcc; }
  /// Units of time a second: frames, samples, or packets of sound.
  FrameRate Rate() const { return {Field(StreamField::kRate), Field(StreamField::kScale)}; }
  /// "strn", without the character that ends it.
  std::string Name() const;

  /// How many units of time a chunk of that size lasts.
  std::uint64_t UnitsOf(std::uint64_t bytes) const;

  bool operator==(const AviStreamHeaders&) const = default;
};

/// The headers of a video stream whose frames have that format, the first one at `start`.
AviStreamHeaders MakeVideoHeaders(const Bytes& format, FourCc handler, const FrameRate& rate,
                                  bool isCompressed, std::uint32_t start = 0);

/// The headers of a sound stream whose format, a WAVEFORMATEX, has blocks of constant duration.
AviStreamHeaders MakeSoundHeaders(const Bytes& format);

/// The code of a stream's chunks, such as "00dc", and that of its OpenDML indexes, such as "ix00".
FourCc ChunkCode(std::size_t stream, std::array<char, 2> kind);
FourCc IndexCode(std::size_t stream);

/// True for four characters such as codes are made of.
bool IsWord(FourCc code);

/// True for the code of a change of a video's palette, which is no frame.
bool IsPaletteChange(FourCc code);

/// The number of the stream that a chunk of that code belongs to; empty when it is no code of the
/// first `streams` streams.
std::optional<std::size_t> StreamOfCode(FourCc code, std::size_t streams);
/// The same, or the number of a stream that has no headers, where chunks of that kind are known.
std::optional<std::size_t> AnyStreamOfCode(FourCc code, std::size_t streams);

/// The last two characters of a chunk's code.
std::array<char, 2> KindOfCode(FourCc code);
/// True for the kinds of chunk that are searched for where nothing else tells that one begins.
bool IsKnownKind(std::array<char, 2> kind);

/// What the tool looks at in a sound format.
struct SoundFormat {
  std::uint16_t tag = 0;  ///< wFormatTag; of an extensible format, that of its subformat.
  std::uint16_t channels = 0;
  std::uint32_t samplesPerSecond = 0;
  std::uint32_t bytesPerSecond = 0;
  std::uint16_t blockBytes = 0;  ///< One sample of all channels, or one packet.
  std::uint16_t bits = 0;        ///< Per sample of a channel; 0 where the coding has no such thing.

  /// Every block is one sample of all channels, and has room for it.
  bool IsPcm() const;
  /// The coding is one that is met in AVIs.
  bool IsKnown() const;
  /// "PCM, 48000 Hz, 2 channels, 16 bits"
  std::string Text() const;
  std::string CodingText() const;
};

/// The size of a PCMWAVEFORMAT, with which every sound format begins.
inline constexpr std::size_t kSoundFormatBytes = 16;

/// Reads a sound format; of one that is too short, what there is.
SoundFormat ReadSoundFormat(std::span<const std::uint8_t> format);

/// What an AVI says apart from its streams and their frames.
struct AviHeaders {
  std::vector<AviStreamHeaders> streams;
  std::vector<RiffData> others{};  ///< Of the list of headers: the date and the like.
  std::vector<RiffData> lists{};   ///< Beside it: lists by their types, such as "INFO".
};

}  // namespace vfwtool
