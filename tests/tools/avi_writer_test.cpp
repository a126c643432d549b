#include "tools/vfwtool/media/avi_writer.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <span>
#include <string>
#include <vector>

#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#endif

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/avi_check.h"

namespace vfwtool {
namespace {

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
    const bool isList = code == "LIST"_fourcc || code == "RIFF"_fourcc;
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
  avi.top = ChunksIn(avi.file, Find(segments, "RIFF"_fourcc, "AVI "_fourcc));
  const auto headers = ChunksIn(avi.file, Find(avi.top, "LIST"_fourcc, "hdrl"_fourcc));
  const auto stream = ChunksIn(avi.file, Find(headers, "LIST"_fourcc, "strl"_fourcc));
  const auto copy = [](const Chunk& chunk) {
    return Bytes(chunk.contents.begin(), chunk.contents.end());
  };
  avi.mainHeader = copy(Find(headers, "avih"_fourcc));
  avi.streamHeader = copy(Find(stream, "strh"_fourcc));
  avi.format = copy(Find(stream, "strf"_fourcc));
  const Chunk movie = Find(avi.top, "LIST"_fourcc, "movi"_fourcc);
  avi.frames = ChunksIn(avi.file, movie);
  avi.moviePosition = movie.position + 8;
  avi.index = copy(Find(avi.top, "idx1"_fourcc));
  return avi;
}

std::vector<std::uint32_t> Words(const Bytes& bytes) {
  std::vector<std::uint32_t> words;
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    words.push_back(ReadLittleEndian32(bytes, i));
  }
  return words;
}

/// Headers of one video, or of a video and its sound.
AviHeaders TestHeaders(std::size_t streams = 1) {
  AviHeaders headers = SampleHeaders(streams);
  headers.others.clear();
  headers.lists.clear();
  return headers;
}

TEST(AviWriter, HeadersStateWhatWasWritten) {
  const TemporaryFile file(".avi");
  AviWriter writer(file.Name(), TestHeaders());
  writer.Write(0, Bytes(1001, 1), true);
  writer.Write(0, Bytes(2000, 2), false);
  writer.Write(0, Bytes(), true);
  writer.Finish();
  const WrittenAvi avi = Parse(file.Contents());
  EXPECT_EQ(avi.format, SampleVideo().format);
  // 1001 / 30000 s a frame; the largest frame and its header 30000 / 1001 times a second.
  EXPECT_EQ(Words(avi.mainHeader),
            (std::vector<std::uint32_t>{33367, 60180, 0, 0x10, 3, 0, 1, 2008, 64, 48, 0, 0, 0, 0}));
  EXPECT_EQ(Words(avi.streamHeader),
            (std::vector<std::uint32_t>{"vids"_fourcc, "TEST"_fourcc, 0, 0, 0, 1001, 30000, 0, 3,
                                        2000, 0xFFFFFFFF, 0, 0, 64 | (48U << 16)}));
  EXPECT_EQ(avi.moviePosition % 2048, 2044U);
}

TEST(AviWriter, TheIndexLeadsToTheChunksOfAllStreams) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = {{0, Bytes(7, 'a'), true},
                                           {1, Bytes(8, 's'), true},
                                           {0, Bytes(), false},
                                           {1, Bytes(3, 't'), true},
                                           {0, Bytes(1001, 'b'), true}};
  StoreSample(file, TestHeaders(2), chunks);
  const WrittenAvi avi = Parse(file.Contents());
  ASSERT_EQ(avi.frames.size(), chunks.size());
  const std::vector<std::uint32_t> index = Words(avi.index);
  ASSERT_EQ(index.size(), 4 * chunks.size());
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    EXPECT_EQ(FourCcText(avi.frames[i].code), chunks[i].stream == 0 ? "00dc" : "01wb");
    EXPECT_EQ(Bytes(avi.frames[i].contents.begin(), avi.frames[i].contents.end()), chunks[i].bytes);
    EXPECT_EQ(index[4 * i], avi.frames[i].code);
    EXPECT_EQ(index[4 * i + 1], chunks[i].isKeyFrame ? 0x10U : 0U);
    EXPECT_EQ(avi.moviePosition + index[4 * i + 2], avi.frames[i].position);
    EXPECT_EQ(index[4 * i + 3], chunks[i].bytes.size());
  }
  // Interleaved; the sound's bytes a second are counted in.
  EXPECT_EQ(Words(avi.mainHeader)[1], 30240U + 192000U);
  EXPECT_EQ(Words(avi.mainHeader)[3], 0x110U);
  EXPECT_EQ(Words(avi.mainHeader)[6], 2U);
}

TEST(AviWriter, StopsBeforeTheFileGrowsTooLarge) {
  const TemporaryFile file(".avi");
  constexpr std::uint64_t kLimit = 10050;
  AviWriter writer(file.Name(), TestHeaders(), {.firstSegmentBytes = kLimit, .segments = 1});
  const std::string message = MessageOf(ExitCode::kSizeLimit, [&] {
    for (;;) {
      writer.Write(0, Bytes(100), true);
    }
  });
  EXPECT_TRUE(message.starts_with(file.Name() + ": an AVI cannot grow beyond")) << message;
  // A smaller frame may still fit.
  EXPECT_NO_THROW(writer.Write(0, Bytes(), true));
  writer.Finish();
  EXPECT_LE(file.Contents().size(), kLimit);
  EXPECT_GT(file.Contents().size() + 100 + 8 + 16, kLimit);
  EXPECT_EQ(Parse(file.Contents()).frames.size(), Words(Parse(file.Contents()).mainHeader)[4]);
}

TEST(AviWriter, AFileOfExactlyTheLimitIsWritten) {
  const TemporaryFile first(".avi");
  AviWriter unlimited(first.Name(), TestHeaders(), {.segments = 1});
  unlimited.Write(0, Bytes(99), true);
  unlimited.Finish();
  const std::uint64_t bytes = first.Contents().size();
  const TemporaryFile second(".avi");
  AviWriter enough(second.Name(), TestHeaders(), {.firstSegmentBytes = bytes, .segments = 1});
  enough.Write(0, Bytes(99), true);
  enough.Finish();
  EXPECT_EQ(second.Contents(), first.Contents());
  const TemporaryFile third(".avi");
  AviWriter tooLittle(third.Name(), TestHeaders(), {.firstSegmentBytes = bytes - 1, .segments = 1});
  MessageOf(ExitCode::kSizeLimit, [&] { tooLittle.Write(0, Bytes(99), true); });
}

TEST(AviWriter, WorkBrokenOffLeavesAWholeFile) {
  const TemporaryFile whole(".avi");
  AviWriter finished(whole.Name(), TestHeaders());
  finished.Write(0, Bytes(50, 5), true);
  finished.Finish();
  const TemporaryFile broken(".avi");
  {
    AviWriter writer(broken.Name(), TestHeaders());
    writer.Write(0, Bytes(50, 5), true);
  }
  EXPECT_EQ(broken.Contents(), whole.Contents());
}

TEST(AviWriter, WithoutFramesThereIsNoFile) {
  const TemporaryFile file(".avi");
  {
    const AviWriter writer(file.Name(), TestHeaders());
    EXPECT_TRUE(file.Exists());
  }
  EXPECT_FALSE(file.Exists());
}

#ifndef _WIN32
TEST(AviWriter, AFullDiskIsNoticed) {
  EXPECT_EQ(MessageOf(ExitCode::kOutput, [] { AviWriter("/dev/full", TestHeaders()); }),
            "/dev/full: cannot be written: No space left on device");
}

/// As long as it lives, the process's files cannot grow beyond that size, as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_{};
};

TEST(AviWriter, AFullDiskLeavesAWholeFileOfWhatFits) {
  const std::vector<SampleChunk> chunks = SampleChunks(24, 2);
  constexpr AviLimits kSegments = {
      .firstSegmentBytes = 60000, .nextSegmentBytes = 40000, .segments = 8};
  for (const AviLimits& limits : {AviLimits{}, kSegments}) {
    const TemporaryFile complete(".avi");
    StoreSample(complete, TestHeaders(2), chunks, limits);
    const std::size_t size = complete.Contents().size();
    // The disk is full inside the headers, chunks, indexes and at the beginning of segments.
    for (std::size_t most = 2000; most < size; most += 701) {
      const TemporaryFile file(".avi");
      std::uint32_t frames = 0;
      {
        const FileSizeLimit full(most);
        try {
          AviWriter writer(file.Name(), TestHeaders(2), limits);
          try {
            for (const SampleChunk& chunk : chunks) {
              writer.Write(chunk.stream, chunk.bytes, chunk.isKeyFrame);
            }
            writer.Finish();
            ADD_FAILURE() << "the disk is not full";
          } catch (const ToolError& error) {
            EXPECT_EQ(error.Code(), ExitCode::kOutput);
            writer.FinishEarly();
            frames = writer.Chunks(0);
          }
        } catch (const ToolError&) {
          EXPECT_LT(most, 6144U) << "the headers fit";
        }
      }
      if (frames == 0) {
        EXPECT_FALSE(file.Exists()) << most;
        continue;
      }
      EXPECT_LE(file.Contents().size(), most);
      // Whole: an index leads to everything, and nothing is wrong.
      const AviReader reader(file.Name());
      EXPECT_NE(reader.Contents().foundBy, AviContents::FoundBy::kChunks) << most;
      EXPECT_EQ(reader.FrameCount(), frames);
      CheckStructure(reader, [&](const AviFinding& finding) {
        ADD_FAILURE() << finding.what << " with " << most << " bytes";
      });
      const std::size_t kept = reader.FrameCount() + reader.Contents().streams[1].size();
      ExpectChunks(reader, {chunks.begin(), chunks.begin() + static_cast<std::ptrdiff_t>(kept)});
      // No more than the index takes was given up.
      EXPECT_GT(file.Contents().size() + 2 * 6500 + 24 * chunks.size(), most);
    }
  }
}
#endif

TEST(AviSink, MarksUncompressedFrames) {
  for (const PixelFormat format : {PixelFormat::kRgb32, PixelFormat::kUyvy}) {
    const TemporaryFile file(".avi");
    const ClipFormat clip{{format, 16, 16}, {25, 1}};
    AviSink sink(file.Name(), clip, CompanionsOf(nullptr));
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
}  // namespace vfwtool
