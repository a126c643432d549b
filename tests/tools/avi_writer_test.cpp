#include "tools/vfwtool/avi_writer.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A RIFF chunk found in a file; of a list, `contents` begins behind its type.
struct Chunk {
  FourCc code;
  FourCc listType;
  std::size_t position;  ///< Of the chunk's code in the file.
  std::span<const std::uint8_t> contents;
};

std::vector<Chunk> ChunksOf(std::span<const std::uint8_t> file, std::size_t begin,
                            std::size_t end) {
  std::vector<Chunk> chunks;
  while (begin < end) {
    EXPECT_LE(begin + 8, end);
    const FourCc code = ReadLittleEndian32(file, begin);
    const std::size_t bytes = ReadLittleEndian32(file, begin + 4);
    EXPECT_LE(begin + 8 + bytes, end);
    const bool isList = code == MakeFourCc("LIST") || code == MakeFourCc("RIFF");
    const std::size_t typeBytes = isList ? 4 : 0;
    chunks.push_back({code, isList ? ReadLittleEndian32(file, begin + 8) : 0, begin,
                      file.subspan(begin + 8 + typeBytes, bytes - typeBytes)});
    begin += 8 + (bytes + 1) / 2 * 2;
  }
  EXPECT_EQ(begin, end);
  return chunks;
}

std::vector<Chunk> ChunksIn(const Bytes& file, const Chunk& list) {
  const std::size_t begin = list.position + 12;
  return ChunksOf(file, begin, begin + list.contents.size());
}

Chunk Find(const std::vector<Chunk>& chunks, FourCc code, FourCc listType = 0) {
  for (const Chunk& chunk : chunks) {
    if (chunk.code == code && chunk.listType == listType) {
      return chunk;
    }
  }
  ADD_FAILURE() << "no chunk " << FourCcText(code) << ' ' << FourCcText(listType);
  return {};
}

struct WrittenAvi {
  Bytes file;
  std::vector<Chunk> top;
  Bytes mainHeader;
  Bytes streamHeader;
  Bytes format;
  std::vector<Chunk> frames;
  Bytes index;
  std::size_t moviePosition;
};

WrittenAvi Parse(Bytes file) {
  WrittenAvi avi;
  avi.file = std::move(file);
  const std::vector<Chunk> segments = ChunksOf(avi.file, 0, avi.file.size());
  EXPECT_EQ(segments.size(), 1U);
  avi.top = ChunksIn(avi.file, Find(segments, MakeFourCc("RIFF"), MakeFourCc("AVI ")));
  const auto headers = ChunksIn(avi.file, Find(avi.top, MakeFourCc("LIST"), MakeFourCc("hdrl")));
  const auto stream = ChunksIn(avi.file, Find(headers, MakeFourCc("LIST"), MakeFourCc("strl")));
  const auto copy = [](const Chunk& chunk) {
    return Bytes(chunk.contents.begin(), chunk.contents.end());
  };
  avi.mainHeader = copy(Find(headers, MakeFourCc("avih")));
  avi.streamHeader = copy(Find(stream, MakeFourCc("strh")));
  avi.format = copy(Find(stream, MakeFourCc("strf")));
  const Chunk movie = Find(avi.top, MakeFourCc("LIST"), MakeFourCc("movi"));
  avi.frames = ChunksIn(avi.file, movie);
  avi.moviePosition = movie.position + 8;
  avi.index = copy(Find(avi.top, MakeFourCc("idx1")));
  return avi;
}

std::vector<std::uint32_t> Words(const Bytes& bytes) {
  std::vector<std::uint32_t> words;
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    words.push_back(ReadLittleEndian32(bytes, i));
  }
  return words;
}

AviStreamFormat TestFormat() {
  AviStreamFormat format{.bitmap = MakeBitmapFormat({PixelFormat::kRgb24, 720, 576}),
                         .handler = MakeFourCc("TEST"),
                         .rate = {30000, 1001}};
  for (int i = 0; i < 213; ++i) {
    format.bitmap.push_back(static_cast<std::uint8_t>(i));
  }
  return format;
}

TEST(AviWriter, HeadersStateWhatWasWritten) {
  const TemporaryFile file(".avi");
  const AviStreamFormat format = TestFormat();
  AviWriter writer(file.Name(), format);
  writer.Write(Bytes(1001, 1), true);
  writer.Write(Bytes(2000, 2), false);
  writer.Write(Bytes(), true);
  writer.Finish();
  const WrittenAvi avi = Parse(file.Contents());
  EXPECT_EQ(avi.format, format.bitmap);
  // 1001 / 30000 s a frame; the largest frame and its header 30000 / 1001 times a second.
  EXPECT_EQ(Words(avi.mainHeader), (std::vector<std::uint32_t>{33367, 60180, 0, 0x10, 3, 0, 1, 2008,
                                                               720, 576, 0, 0, 0, 0}));
  EXPECT_EQ(Words(avi.streamHeader),
            (std::vector<std::uint32_t>{MakeFourCc("vids"), MakeFourCc("TEST"), 0, 0, 0, 1001,
                                        30000, 0, 3, 2000, 0xFFFFFFFF, 0, 0, 720 | (576U << 16)}));
  EXPECT_EQ(avi.moviePosition % 2048, 2044U);
}

TEST(AviWriter, TheIndexLeadsToTheFrames) {
  const TemporaryFile file(".avi");
  AviWriter writer(file.Name(), TestFormat());
  const std::vector<Bytes> frames = {Bytes(7, 'a'), Bytes(), Bytes(1000, 'b'), Bytes(1, 'c')};
  for (const Bytes& frame : frames) {
    writer.Write(frame, frame.size() != 1000);
  }
  writer.Finish();
  const WrittenAvi avi = Parse(file.Contents());
  ASSERT_EQ(avi.frames.size(), frames.size());
  const std::vector<std::uint32_t> index = Words(avi.index);
  ASSERT_EQ(index.size(), 4 * frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(FourCcText(avi.frames[i].code), "00dc");
    EXPECT_EQ(Bytes(avi.frames[i].contents.begin(), avi.frames[i].contents.end()), frames[i]);
    EXPECT_EQ(index[4 * i], avi.frames[i].code);
    EXPECT_EQ(index[4 * i + 1], frames[i].size() == 1000 ? 0U : 0x10U);
    EXPECT_EQ(avi.moviePosition + index[4 * i + 2], avi.frames[i].position);
    EXPECT_EQ(index[4 * i + 3], frames[i].size());
  }
}

TEST(AviWriter, StopsBeforeTheFileGrowsTooLarge) {
  const TemporaryFile file(".avi");
  constexpr std::uint64_t kLimit = 10050;
  AviWriter writer(file.Name(), TestFormat(), {.firstSegmentBytes = kLimit, .segments = 1});
  const std::string message = MessageOf(ExitCode::kSizeLimit, [&] {
    for (;;) {
      writer.Write(Bytes(100), true);
    }
  });
  EXPECT_TRUE(message.starts_with(file.Name() + ": an AVI cannot grow beyond")) << message;
  // A smaller frame may still fit.
  EXPECT_NO_THROW(writer.Write(Bytes(), true));
  writer.Finish();
  EXPECT_LE(file.Contents().size(), kLimit);
  EXPECT_GT(file.Contents().size() + 100 + 8 + 16, kLimit);
  EXPECT_EQ(Parse(file.Contents()).frames.size(), Words(Parse(file.Contents()).mainHeader)[4]);
}

TEST(AviWriter, AFileOfExactlyTheLimitIsWritten) {
  const TemporaryFile first(".avi");
  AviWriter unlimited(first.Name(), TestFormat(), {.segments = 1});
  unlimited.Write(Bytes(99), true);
  unlimited.Finish();
  const std::uint64_t bytes = first.Contents().size();
  const TemporaryFile second(".avi");
  AviWriter enough(second.Name(), TestFormat(), {.firstSegmentBytes = bytes, .segments = 1});
  enough.Write(Bytes(99), true);
  enough.Finish();
  EXPECT_EQ(second.Contents(), first.Contents());
  const TemporaryFile third(".avi");
  AviWriter tooLittle(third.Name(), TestFormat(), {.firstSegmentBytes = bytes - 1, .segments = 1});
  MessageOf(ExitCode::kSizeLimit, [&] { tooLittle.Write(Bytes(99), true); });
}

TEST(AviWriter, WorkBrokenOffLeavesAWholeFile) {
  const TemporaryFile whole(".avi");
  AviWriter finished(whole.Name(), TestFormat());
  finished.Write(Bytes(50, 5), true);
  finished.Finish();
  const TemporaryFile broken(".avi");
  {
    AviWriter writer(broken.Name(), TestFormat());
    writer.Write(Bytes(50, 5), true);
  }
  EXPECT_EQ(broken.Contents(), whole.Contents());
}

TEST(AviWriter, WithoutFramesThereIsNoFile) {
  const TemporaryFile file(".avi");
  {
    const AviWriter writer(file.Name(), TestFormat());
    EXPECT_TRUE(file.Exists());
  }
  EXPECT_FALSE(file.Exists());
}

#ifndef _WIN32
TEST(AviWriter, AFullDiskIsNoticed) {
  const std::string message = MessageOf(ExitCode::kOutput, [] {
    AviWriter writer("/dev/full", TestFormat());
    writer.Write(Bytes(1000), true);
    writer.Finish();
  });
  EXPECT_TRUE(message.starts_with("/dev/full: cannot be written")) << message;
}
#endif

TEST(AviSink, MarksUncompressedFrames) {
  for (const PixelFormat format : {PixelFormat::kRgb32, PixelFormat::kUyvy}) {
    const TemporaryFile file(".avi");
    const ClipFormat clip{{format, 16, 16}, {25, 1}};
    AviSink sink(file.Name(), clip);
    sink.Write(Bytes(clip.layout.FrameBytes(), 9));
    sink.Finish();
    const WrittenAvi avi = Parse(file.Contents());
    EXPECT_EQ(avi.format, MakeBitmapFormat(clip.layout));
    EXPECT_EQ(FourCcText(Words(avi.streamHeader)[1]),
              format == PixelFormat::kRgb32 ? "DIB " : "UYVY");
    EXPECT_EQ(Words(avi.mainHeader)[0], 40000U);
    EXPECT_EQ(FourCcText(avi.frames.at(0).code), "00db");
    EXPECT_EQ(Words(avi.index)[1], 0x10U);
  }
}

}  // namespace
}  // namespace qivm
