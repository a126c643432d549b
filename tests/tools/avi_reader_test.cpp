#include "tools/vfwtool/avi_reader.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/avi_source.h"
#include "tools/vfwtool/avi_writer.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {
namespace {

using std::string_literals::operator""s;
using Bytes = std::vector<std::uint8_t>;

AviStreamFormat TestFormat() {
  AviStreamFormat format{.bitmap = MakeBitmapFormat({PixelFormat::kRgb24, 64, 48}),
                         .handler = MakeFourCc("TEST"),
                         .rate = {30000, 1001}};
  format.bitmap.resize(53, 7);
  return format;
}

/// Frames of odd and even sizes, empty ones among them; every third is no key frame.
std::vector<Bytes> TestFrames(std::size_t count) {
  std::vector<Bytes> frames;
  for (std::size_t i = 0; i < count; ++i) {
    frames.emplace_back(i * 37 % 230, static_cast<std::uint8_t>(i));
  }
  return frames;
}

/// So that a few hundred frames take several segments.
constexpr AviLimits kSmallSegments = {
    .firstSegmentBytes = 12000, .nextSegmentBytes = 5000, .segments = 40};

bool IsKey(std::size_t index) { return index % 3 != 2; }

std::size_t Store(const std::string& name, const std::vector<Bytes>& frames,
                  const AviLimits& limits = {}) {
  AviWriter writer(name, TestFormat(), limits);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    writer.Write(frames[i], IsKey(i));
  }
  writer.Finish();
  return writer.Segments();
}

void Overwrite(const std::string& name, std::size_t position, const std::string& bytes) {
  std::fstream file(PathOf(name), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(position));
  file << bytes;
  ASSERT_TRUE(file.flush());
}

std::size_t PositionOf(const TemporaryFile& file, const std::string& text) {
  const std::size_t position = file.Text().find(text);
  EXPECT_NE(position, std::string::npos) << text;
  return position;
}

void ExpectFrames(const std::string& name, const std::vector<Bytes>& frames, bool keysAreKnown) {
  AviReader reader(name);
  ASSERT_EQ(reader.FrameCount(), frames.size());
  for (std::uint32_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(reader.FrameBytes(i), frames[i].size());
    const std::span<std::uint8_t> frame = reader.ReadFrame(i);
    EXPECT_EQ(Bytes(frame.begin(), frame.end()), frames[i]) << "frame " << i;
    EXPECT_EQ(reader.IsKeyFrame(i), !keysAreKnown || IsKey(i)) << "frame " << i;
  }
}

TEST(AviReader, ReadsHeadersAndFrames) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(20);
  EXPECT_EQ(Store(file.Name(), frames), 1U);
  ExpectFrames(file.Name(), frames, true);
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.Format(), TestFormat().bitmap);
  EXPECT_EQ(reader.Handler(), MakeFourCc("TEST"));
  EXPECT_EQ(reader.Rate(), (FrameRate{30000, 1001}));
  ASSERT_EQ(reader.Streams().size(), 1U);
  EXPECT_EQ(reader.Streams()[0].length, 20U);
}

TEST(AviReader, ReadsEverySegment) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(300);
  EXPECT_GT(Store(file.Name(), frames, kSmallSegments), 5U);
  ExpectFrames(file.Name(), frames, true);
  EXPECT_EQ(AviReader(file.Name()).Streams().at(0).length, 300U);
  // The first segment alone is an ordinary AVI of the frames that it has.
  const std::string text = file.Text();
  const std::size_t first = 8 + ReadLittleEndian32(file.Contents(), 4);
  ASSERT_EQ(text.substr(first, 4), "RIFF");
  EXPECT_LE(first, kSmallSegments.firstSegmentBytes);
  const TemporaryFile firstFile(".avi");
  firstFile.Store(text.substr(0, first));
  Overwrite(firstFile.Name(), PositionOf(firstFile, "indx"), "JUNK");
  const std::uint32_t inFirst = AviReader(firstFile.Name()).FrameCount();
  EXPECT_GT(inFirst, 10U);
  EXPECT_EQ(inFirst, ReadLittleEndian32(file.Contents(), PositionOf(file, "avih") + 8 + 16));
  ExpectFrames(firstFile.Name(),
               {frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(inFirst)}, true);
}

TEST(AviReader, FindsFramesWithoutAnIndex) {
  const std::vector<Bytes> frames = TestFrames(100);
  for (const AviLimits& limits : {AviLimits{}, AviLimits{12000, 5000, 20}}) {
    const TemporaryFile file(".avi");
    const std::size_t segments = Store(file.Name(), frames, limits);
    Overwrite(file.Name(), PositionOf(file, "idx1"), "JUNK");
    if (segments > 1) {
      Overwrite(file.Name(), PositionOf(file, "indx"), "JUNK");
    }
    ExpectFrames(file.Name(), frames, false);
  }
}

TEST(AviReader, FindsTheFramesOfAFileThatWasNotCompleted) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(30);
  Store(file.Name(), frames);
  const std::string text = file.Text();
  // As writers that were killed leave it: without an index, and the sizes as at the start, which
  // are much too large with some and too small with others.
  struct Sizes {
    std::string riff;
    std::string movie;
  };
  for (const Sizes& sizes : {Sizes{"\xFF\xFF\xFF\x7F", "\xFF\xFF\xFF\x7F"},
                             Sizes{std::string(4, '\0'), std::string("\4\0\0\0", 4)}}) {
    const TemporaryFile cut(".avi");
    cut.Store(text.substr(0, text.find("idx1")));
    Overwrite(cut.Name(), 4, sizes.riff);
    Overwrite(cut.Name(), PositionOf(cut, "movi") - 4, sizes.movie);
    ExpectFrames(cut.Name(), frames, false);
  }
}

TEST(AviReader, TakesIndexesThatCountFromTheBeginning) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(5);
  Store(file.Name(), frames);
  const Bytes contents = file.Contents();
  const std::size_t movie = PositionOf(file, "movi");
  const std::size_t index = PositionOf(file, "idx1") + 8;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const std::size_t field = index + 16 * i + 8;
    Bytes offset;
    AppendLittleEndian32(offset,
                         ReadLittleEndian32(contents, field) + static_cast<std::uint32_t>(movie));
    Overwrite(file.Name(), field, std::string(offset.begin(), offset.end()));
  }
  ExpectFrames(file.Name(), frames, true);
}

TEST(AviReader, RefusesWhatIsNoWholeVideo) {
  const TemporaryFile file(".avi");
  const auto message = [&] {
    return MessageOf(ExitCode::kInput, [&] {
      AviReader reader(file.Name());
      for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
        reader.ReadFrame(i);
      }
    });
  };
  file.Store("YUV4MPEG2 W16 H16");
  EXPECT_EQ(message(), file.Name() + ": is not an AVI");
  file.Store("RIFF");
  EXPECT_EQ(message(), file.Name() + ": is not an AVI");
  file.Store("");
  EXPECT_EQ(message(), file.Name() + ": is not an AVI");
  Store(file.Name(), TestFrames(3));
  Overwrite(file.Name(), PositionOf(file, "vids"), "auds");
  EXPECT_EQ(message(), file.Name() + ": has no video stream");
  Store(file.Name(), TestFrames(3));
  Overwrite(file.Name(), PositionOf(file, "strh") + 8 + 20, std::string(4, '\0'));
  EXPECT_EQ(message(), file.Name() + ": the stream header states no frame rate");
  Store(file.Name(), TestFrames(3));
  Overwrite(file.Name(), PositionOf(file, "strf"), "JUNK");
  EXPECT_EQ(message(), file.Name() + ": the stream format is too short");
  for (const std::string& stated : {"\x27"s, "\x36"s}) {
    // 39 and 54 bytes; the format has 53.
    Store(file.Name(), TestFrames(3));
    Overwrite(file.Name(), PositionOf(file, "strf") + 8, stated);
    EXPECT_EQ(message(), file.Name() + ": the stream format states a wrong size");
  }
  Store(file.Name(), TestFrames(3));
  // The last entry of the index states a size beyond the end.
  Overwrite(file.Name(), PositionOf(file, "idx1") + 8 + 2 * 16 + 12, "\xFF\xFF\xFF\x7F");
  EXPECT_EQ(message(), file.Name() + ": the file ends inside frame 3");
  EXPECT_TRUE(Contains(MessageOf(ExitCode::kInput, [] { const AviReader reader("-"); }),
                       "standard input: an AVI must be a file"));
}

TEST(AviReader, IndexesAtTheEndOfTheAddressesLeadNowhere) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(300);
  ASSERT_GT(Store(file.Name(), frames, kSmallSegments), 5U);
  const std::size_t superIndex = PositionOf(file, "indx") + 8;
  const auto standardIndex = static_cast<std::size_t>(
      ReadLittleEndian64(file.Contents(), superIndex + kStandardIndexHeaderBytes) +
      kChunkHeaderBytes);
  // Such that adding a chunk's header passes zero: the frames are found without the index.
  Overwrite(file.Name(), superIndex + kStandardIndexHeaderBytes, std::string(8, '\xFC'));
  ExpectFrames(file.Name(), frames, false);
  // The frames of one index likewise: the second one's bytes pass zero.
  Store(file.Name(), frames, kSmallSegments);
  const std::size_t secondEntry =
      standardIndex + kStandardIndexHeaderBytes + kStandardIndexEntryBytes;
  Bytes base;
  AppendLittleEndian64(base,
                       std::uint64_t{0} - ReadLittleEndian32(file.Contents(), secondEntry) - 20);
  Overwrite(file.Name(), standardIndex + 12, std::string(base.begin(), base.end()));
  AviReader reader(file.Name());
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { reader.ReadFrame(1); }),
            file.Name() + ": the file ends inside frame 2");
}

TEST(AviReader, AnIndexThatCountsOneSegmentManyTimesIsNotTaken) {
  const TemporaryFile file(".avi");
  const std::vector<Bytes> frames = TestFrames(300);
  constexpr std::uint32_t kSegments = 255;
  Store(file.Name(), frames,
        {.firstSegmentBytes = 20000, .nextSegmentBytes = 5000, .segments = kSegments});
  const std::size_t superIndex = PositionOf(file, "indx") + 8;
  const std::size_t firstEntry = superIndex + kStandardIndexHeaderBytes;
  const std::string entry = file.Text().substr(firstEntry, kSuperIndexEntryBytes);
  std::string entries;
  for (std::uint32_t i = 0; i < kSegments; ++i) {
    entries += entry;
  }
  Overwrite(file.Name(), superIndex + 4, "\xFF"s);
  Overwrite(file.Name(), firstEntry, entries);
  ExpectFrames(file.Name(), frames, false);
}

TEST(AviReader, NoFileMakesItReadOutside) {
  const TemporaryFile whole(".avi");
  Store(whole.Name(), TestFrames(40), {9000, 3000, 20});
  const std::string text = whole.Text();
  // Every byte of the headers and indexes in turn is replaced, and every length is tried.
  const TemporaryFile file(".avi");
  const auto tryFile = [&](const std::string& contents) {
    file.Store(contents);
    try {
      AviReader reader(file.Name());
      for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
        reader.ReadFrame(i);
      }
    } catch (const ToolError& error) {
      EXPECT_EQ(error.Code(), ExitCode::kInput);
    }
  };
  for (std::size_t i = 0; i < text.size(); i += i < 700 ? 1 : 41) {
    std::string damaged = text;
    damaged[i] = '\xFF';
    tryFile(damaged);
    tryFile(text.substr(0, i));
  }
}

TEST(AviSource, RefusesFormatsThatItDoesNotKnow) {
  const TemporaryFile file(".avi");
  const auto message = [&](PixelFormat pixelFormat, std::size_t position, std::uint8_t value) {
    AviStreamFormat format{.bitmap = MakeBitmapFormat({pixelFormat, 16, 16}), .rate = {25, 1}};
    format.bitmap[position] = value;
    {
      AviWriter writer(file.Name(), format);
      writer.Write(Bytes(4), true);
    }
    return MessageOf(ExitCode::kInput, [&] { const AviSource source(file.Name()); });
  };
  constexpr std::size_t kWidth = 4;
  constexpr std::size_t kBits = 14;
  EXPECT_TRUE(
      Contains(message(PixelFormat::kRgb24, kBits, 8), "has 8-bit video of the format RGB"));
  EXPECT_TRUE(
      Contains(message(PixelFormat::kYuy2, kBits, 12), "has 12-bit video of the format YUY2"));
  EXPECT_TRUE(Contains(message(PixelFormat::kRgb24, kWidth, 0), "has pictures of 0x16"));
  EXPECT_TRUE(Contains(message(PixelFormat::kYuy2, kWidth, 15), "of an odd width"));
}

TEST(AviSource, AFrameThatIsTooShortIsTold) {
  const TemporaryFile file(".avi");
  const FrameLayout layout{PixelFormat::kRgb24, 16, 16};
  {
    AviWriter writer(file.Name(), {.bitmap = MakeBitmapFormat(layout), .rate = {25, 1}});
    writer.Write(Bytes(layout.FrameBytes()), true);
    writer.Write(Bytes(100), true);
  }
  AviSource source(file.Name());
  Bytes picture(layout.FrameBytes());
  EXPECT_TRUE(source.Read(picture));
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { source.Read(picture); }),
            file.Name() + ": frame 2 has 100 bytes where 768 belong");
}

}  // namespace
}  // namespace qivm
