#include "tools/vfwtool/media/avi_reader.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

using std::string_literals::operator""s;
using FoundBy = AviContents::FoundBy;

TEST(AviReader, ReadsHeadersAndChunksOfAllStreams) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = SampleChunks(20, 3);
  EXPECT_EQ(StoreSample(file, SampleHeaders(3), chunks), 1U);
  AviReader reader(file.Name());
  EXPECT_EQ(reader.Contents().foundBy, FoundBy::kIndex);
  ExpectChunks(reader, chunks);
  EXPECT_EQ(reader.VideoStream(), 0U);
  EXPECT_EQ(reader.Format(), SampleVideo().format);
  EXPECT_EQ(reader.Handler(), "TEST"_fourcc);
  EXPECT_EQ(reader.Rate(), (FrameRate{30000, 1001}));
  EXPECT_EQ(reader.FrameCount(), 20U);
  EXPECT_EQ(reader.ReadFrame(2).size(), 74U);
  const AviHeaders& headers = reader.Headers();
  ASSERT_EQ(headers.streams.size(), 3U);
  EXPECT_EQ(headers.streams[1].format, SamplePcm().format);
  EXPECT_EQ(headers.streams[1].Name(), "Left");
  EXPECT_EQ(headers.streams[1].Field(StreamField::kLength), 20 * 1600U);
  EXPECT_EQ(headers.streams[2].format, SampleVbr().format);
  EXPECT_EQ(headers.streams[2].Field(StreamField::kLength), 20U);
  EXPECT_EQ(headers.others, SampleHeaders(3).others);
  EXPECT_EQ(headers.lists, SampleHeaders(3).lists);
}

TEST(AviReader, TheVideoMayBeAnyStream) {
  const TemporaryFile file(".avi");
  AviHeaders headers = SampleHeaders(2);
  std::swap(headers.streams[0], headers.streams[1]);
  StoreSample(file, headers, {{0, Bytes(8, 1), true}, {1, Bytes(5, 2), true}});
  AviReader reader(file.Name());
  EXPECT_EQ(reader.VideoStream(), 1U);
  EXPECT_EQ(reader.ReadFrame(0).size(), 5U);
}

TEST(AviReader, ReadsEverySegment) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = SampleChunks(100, 3);
  EXPECT_GT(StoreSample(file, SampleHeaders(3), chunks, kSmallSegments), 8U);
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.Contents().foundBy, FoundBy::kOpenDmlIndexes);
  ExpectChunks(reader, chunks);
  EXPECT_EQ(reader.Video().Field(StreamField::kLength), 100U);
  // The first segment alone is an ordinary AVI of the chunks that it has.
  const std::string text = file.Text();
  const std::size_t first = 8 + ReadLittleEndian32(file.Contents(), 4);
  ASSERT_EQ(text.substr(first, 4), "RIFF");
  EXPECT_LE(first, kSmallSegments.firstSegmentBytes);
  const TemporaryFile firstFile(".avi");
  firstFile.Store(text.substr(0, first));
  for (int stream = 0; stream < 3; ++stream) {
    firstFile.Overwrite(firstFile.PositionOf("indx"), "JUNK");
  }
  const AviReader firstReader(firstFile.Name());
  EXPECT_EQ(firstReader.Contents().foundBy, FoundBy::kIndex);
  EXPECT_GT(firstReader.FrameCount(), 10U);
  EXPECT_EQ(firstReader.FrameCount(),
            ReadLittleEndian32(file.Contents(), file.PositionOf("avih") + 8 + 16));
  ExpectChunks(
      firstReader,
      {chunks.begin(), chunks.begin() + static_cast<std::ptrdiff_t>(3 * firstReader.FrameCount())});
}

TEST(AviReader, FindsChunksWithoutAnIndex) {
  const std::vector<SampleChunk> chunks = SampleChunks(100, 3);
  for (const AviLimits& limits : {AviLimits{}, kSmallSegments}) {
    const TemporaryFile file(".avi");
    const std::size_t segments = StoreSample(file, SampleHeaders(3), chunks, limits);
    file.Overwrite(file.PositionOf("idx1"), "JUNK");
    for (int stream = 0; segments > 1 && stream < 3; ++stream) {
      file.Overwrite(file.PositionOf("indx"), "JUNK");
    }
    const AviReader reader(file.Name());
    EXPECT_EQ(reader.Contents().foundBy, FoundBy::kChunks);
    ExpectChunks(reader, chunks);
  }
}

TEST(AviReader, FindsTheChunksOfAFileThatWasNotCompleted) {
  const std::vector<SampleChunk> chunks = SampleChunks(30, 3);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(3), chunks);
  const std::string text = file.Text();
  // As writers that were killed leave it: without an index, and the sizes as at the start, which
  // are much too large with some and too small with others.
  struct Sizes {
    std::string riff;
    std::string movie;
  };
  for (const Sizes& sizes :
       {Sizes{"\xFF\xFF\xFF\x7F", "\xFF\xFF\xFF\x7F"}, Sizes{LittleEndian(0), LittleEndian(4)},
        Sizes{LittleEndian(0), LittleEndian(0)}, Sizes{LittleEndian(5000), LittleEndian(100)}}) {
    const TemporaryFile cut(".avi");
    cut.Store(text.substr(0, text.find("idx1")));
    cut.Overwrite(4, sizes.riff);
    cut.Overwrite(cut.PositionOf("movi") - 4, sizes.movie);
    const AviReader reader(cut.Name());
    ExpectChunks(reader, chunks);
    EXPECT_FALSE(reader.Contents().broken.has_value());
  }
}

TEST(AviReader, FindsTheSegmentsOfAFileThatWasNotCompleted) {
  const std::vector<SampleChunk> chunks = SampleChunks(100, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks, kSmallSegments);
  // A writer that fills in the first header at the end alone: nothing in it but zeros.
  file.Overwrite(4, LittleEndian(0));
  file.Overwrite(file.PositionOf("movi") - 4, LittleEndian(4));
  for (int stream = 0; stream < 2; ++stream) {
    file.Overwrite(file.PositionOf("indx"), "JUNK");
  }
  ExpectChunks(AviReader(file.Name()), chunks);
}

TEST(AviReader, TakesTheOdditiesOfOtherWriters) {
  const std::vector<SampleChunk> chunks = SampleChunks(12, 3);
  const TemporaryFile whole(".avi");
  StoreSample(whole, SampleHeaders(3), {});
  const TemporaryFile sample(".avi");
  StoreSample(sample, SampleHeaders(3), chunks);
  const std::string text = sample.Text();
  const std::size_t movie = text.find("movi") - 8;
  const std::string before = text.substr(0, movie);
  const std::string list = text.substr(movie, text.find("idx1") - movie);
  const std::string index = text.substr(text.find("idx1"));
  std::string unpadded;
  std::string records;
  for (std::size_t i = 0; i < chunks.size(); i += 3) {
    for (std::size_t j = i; j < i + 3; ++j) {
      const std::string chunk = ChunksText({chunks[j]});
      unpadded += chunk.substr(0, 8 + chunks[j].bytes.size());
    }
    records += ChunkText("LIST", "rec " + ChunksText({chunks.begin() + static_cast<int>(i),
                                                      chunks.begin() + static_cast<int>(i) + 3}));
  }
  const std::string junk = ChunkText("JUNK", std::string(101, 'j'));
  struct Case {
    const char* oddity;
    std::string text;
  };
  const std::vector<Case> cases = {
      {"an empty list of chunks before the true one",
       before + ChunkText("LIST", "movi") + list + index},
      {"a list of chunks of size 0 before the true one",
       before + "LIST" + LittleEndian(0) + "movi" + list},
      {"records", before + ChunkText("LIST", "movi" + records)},
      {"chunks that are not filled up", before + ChunkText("LIST", "movi" + unpadded)},
      {"junk between the chunks", before + ChunkText("LIST", "movi" + junk + ChunksText(chunks))},
      {"zeros behind the end", text + std::string(5000, '\0')},
  };
  for (const Case& entry : cases) {
    const TemporaryFile file(".avi");
    file.Store(entry.text);
    SCOPED_TRACE(entry.oddity);
    ExpectChunks(AviReader(file.Name()), chunks);
  }
}

TEST(AviReader, TakesIndexesThatCountFromTheBeginning) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = SampleChunks(5, 2);
  StoreSample(file, SampleHeaders(2), chunks);
  const Bytes contents = file.Contents();
  const std::size_t movie = file.PositionOf("movi");
  const std::size_t index = file.PositionOf("idx1") + 8;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::size_t field = index + 16 * i + 8;
    file.Overwrite(field, LittleEndian(ReadLittleEndian32(contents, field) +
                                       static_cast<std::uint32_t>(movie)));
  }
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.Contents().foundBy, FoundBy::kIndex);
  ExpectChunks(reader, chunks);
}

TEST(AviReader, AnIndexThatLacksChunksIsNotTaken) {
  const std::vector<SampleChunk> chunks = SampleChunks(20, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  const std::size_t index = file.PositionOf("idx1");
  file.Overwrite(index + 4, LittleEndian(16 * 10));
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.Contents().foundBy, FoundBy::kChunks);
  ExpectChunks(reader, chunks);
}

TEST(AviReader, ChangesOfThePaletteAreNoFrames) {
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(1), {{0, Bytes(4, 1), true}, {0, Bytes(4, 2), true}});
  for (std::size_t at = file.Text().rfind("00dc"); at != std::string::npos;) {
    file.Overwrite(at, "00pc");  // The last one in the index and in the list.
    at = file.Text().rfind("00dc", file.PositionOf("idx1"));
    if (at == file.PositionOf("00dc")) {
      break;
    }
  }
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.FrameCount(), 1U);
  EXPECT_EQ(reader.Contents().paletteChanges, 1U);
}

TEST(AviReader, RefusesWhatIsNoVideo) {
  const TemporaryFile file(".avi");
  const auto message = [&] {
    return MessageOf(ExitCode::kInput, [&] { const AviReader reader(file.Name()); });
  };
  for (const char* const text : {"YUV4MPEG2 W16 H16", "RIFF", ""}) {
    file.Store(std::string_view(text));
    EXPECT_EQ(message(), file.Name() + ": is not an AVI");
  }
  const auto store = [&] { StoreSample(file, SampleHeaders(1), SampleChunks(3, 1)); };
  store();
  file.Overwrite(file.PositionOf("vids"), "auds");
  EXPECT_EQ(message(), file.Name() + ": has no video stream");
  for (const std::uint32_t rate : {0U, 0x80000000U}) {
    store();
    file.Overwrite(file.PositionOf("strh") + 8 + 20, LittleEndian(rate));
    EXPECT_EQ(message(), file.Name() + ": the stream header states no frame rate");
  }
  store();
  file.Overwrite(file.PositionOf("strf"), "JUNK");
  EXPECT_EQ(message(), file.Name() + ": the stream format is too short");
  for (const std::string& stated : {"\x27"s, "\x36"s}) {
    // 39 and 54 bytes; the format has 53.
    store();
    file.Overwrite(file.PositionOf("strf") + 8, stated);
    EXPECT_EQ(message(), file.Name() + ": the stream format states a wrong size");
  }
  EXPECT_TRUE(Contains(MessageOf(ExitCode::kInput, [] { const AviReader reader("-"); }),
                       "standard input: an AVI must be a file"));
}

TEST(AviReader, IndexesThatLeadNowhereAreNotTaken) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = SampleChunks(60, 2);
  const auto expectSearched = [&] {
    const AviReader reader(file.Name());
    EXPECT_EQ(reader.Contents().foundBy, FoundBy::kChunks);
    ExpectChunks(reader, chunks);
  };
  ASSERT_GT(StoreSample(file, SampleHeaders(2), chunks, kSmallSegments), 5U);
  const std::size_t superIndex = file.PositionOf("indx") + 8;
  const auto standardIndex = static_cast<std::size_t>(
      ReadLittleEndian64(file.Contents(), superIndex + kStandardIndexHeaderBytes) +
      kChunkHeaderBytes);
  // Such that adding a chunk's header passes zero.
  file.Overwrite(superIndex + kStandardIndexHeaderBytes, std::string(8, '\xFC'));
  expectSearched();
  // The chunks of one index likewise: the last one's bytes pass zero.
  StoreSample(file, SampleHeaders(2), chunks, kSmallSegments);
  Bytes base;
  AppendLittleEndian64(base, std::uint64_t{0} - 4000);
  file.Overwrite(standardIndex + 12, std::string(base.begin(), base.end()));
  expectSearched();
  // An entry of the one segment's index states a size beyond the end.
  StoreSample(file, SampleHeaders(2), chunks);
  file.Overwrite(file.PositionOf("idx1") + 8 + 2 * 16 + 12, "\xFF\xFF\xFF\x7F");
  expectSearched();
}

TEST(AviReader, IndexesThatNameTheSameBytesManyTimesAreNotTaken) {
  const TemporaryFile file(".avi");
  const std::vector<SampleChunk> chunks = SampleChunks(60, 1);
  constexpr std::uint32_t kSegments = 255;
  StoreSample(file, SampleHeaders(1), chunks,
              {.firstSegmentBytes = 9000, .nextSegmentBytes = 2000, .segments = kSegments});
  const std::size_t superIndex = file.PositionOf("indx") + 8;
  const std::size_t firstEntry = superIndex + kStandardIndexHeaderBytes;
  const std::string entry = file.Text().substr(firstEntry, kSuperIndexEntryBytes);
  std::string entries;
  for (std::uint32_t i = 0; i < kSegments; ++i) {
    entries += entry;
  }
  file.Overwrite(superIndex + 4, "\xFF"s);
  file.Overwrite(firstEntry, entries);
  const AviReader reader(file.Name());
  EXPECT_EQ(reader.Contents().foundBy, FoundBy::kChunks);
  ExpectChunks(reader, chunks);
  // The one segment's index with the same large frame in every entry.
  std::vector<SampleChunk> large = SampleChunks(60, 1);
  large[0].bytes.assign(5000, 1);
  StoreSample(file, SampleHeaders(1), large);
  const std::size_t index = file.PositionOf("idx1") + 8;
  const std::string first = file.Text().substr(index, kIndexEntryBytes);
  for (std::size_t i = 0; i < 60; ++i) {
    file.Overwrite(index + i * kIndexEntryBytes, first);
  }
  ExpectChunks(AviReader(file.Name()), large);
}

TEST(AviReader, AFileThatVanishesIsTold) {
  const std::vector<SampleChunk> chunks = SampleChunks(4, 1);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(1), chunks);
  AviReader reader(file.Name());
  std::filesystem::resize_file(PathOf(file.Name()), reader.Frame(2).position);
  EXPECT_EQ(reader.ReadFrame(1).size(), 37U);
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { reader.ReadFrame(2); }),
            file.Name() + ": frame 3 cannot be read");
}

TEST(AviReader, NoFileMakesItReadOutside) {
  const TemporaryFile whole(".avi");
  StoreSample(whole, SampleHeaders(3), SampleChunks(8, 3),
              {.firstSegmentBytes = 40000, .nextSegmentBytes = 12000, .segments = 20});
  const std::string text = whole.Text();
  // Every byte of the headers and indexes in turn is replaced, and every length is tried.
  const auto tryFile = [&](const std::string& contents) {
    try {
      const AviReader reader(std::make_unique<std::istringstream>(contents), contents.size(), "x",
                             nullptr);
      for (std::size_t stream = 0; stream < reader.Headers().streams.size(); ++stream) {
        LoadStream(reader, stream);
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

}  // namespace
}  // namespace vfwtool
