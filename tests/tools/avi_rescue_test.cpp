// What the AVI reader finds in damaged files.

#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tools/vfwtool/media/avi_reader.h"

namespace vfwtool {
namespace {

using std::string_literals::operator""s;
using FoundBy = AviContents::FoundBy;

TEST(AviRescue, TellsWhereAFileBreaksOff) {
  const std::vector<SampleChunk> chunks = SampleChunks(10, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  const std::string text = file.Text();
  // In the last frame, of 103 bytes, and in the sound before it.
  const std::size_t lastFrame = text.rfind("00dc", text.find("idx1"));
  const std::size_t lastSound = text.rfind("01wb", text.find("idx1"));
  const TemporaryFile cut(".avi");
  cut.Store(text.substr(0, lastFrame + 8 + 50));
  const AviReader inFrame(cut.Name());
  EXPECT_EQ(inFrame.FrameCount(), 9U);
  ASSERT_TRUE(inFrame.Contents().broken.has_value());
  EXPECT_EQ(inFrame.Contents().broken->stream, 0U);
  EXPECT_EQ(inFrame.Contents().broken->chunk.bytes, 50U);
  EXPECT_EQ(inFrame.Contents().broken->stated, 103U);
  cut.Store(text.substr(0, lastSound + 8 + 4001));
  const AviReader inSound(cut.Name());
  EXPECT_EQ(inSound.FrameCount(), 9U);
  // The sound to the last sample of 4 bytes.
  ASSERT_EQ(inSound.Contents().streams[1].size(), 10U);
  EXPECT_EQ(inSound.Contents().streams[1].back(), (AviChunk{lastSound + 8, 4000, true}));
  EXPECT_EQ(inSound.Contents().broken->stream, 1U);
  EXPECT_EQ(inSound.Contents().broken->kept, 4000U);
}

TEST(AviRescue, GoesOnBehindDamage) {
  const std::vector<SampleChunk> chunks = SampleChunks(10, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  file.Overwrite(file.PositionOf("idx1"), "JUNK");
  // The size of frame 5 is beyond the end, that of the sound of frame 7 too small, and the code of
  // frame 9 is overwritten.
  std::size_t position = file.Text().find("01wb");
  for (int i = 0; i < 4; ++i) {
    position = file.Text().find("00dc", position + 1);
  }
  file.Overwrite(file.Text().find("00dc", position + 1) + 4, "\xFF\xFF\xFF\x7F");
  std::size_t sound = file.Text().find("01wb");
  for (int i = 0; i < 6; ++i) {
    sound = file.Text().find("01wb", sound + 1);
  }
  file.Overwrite(sound + 4, LittleEndian(10));
  // Behind the index that was there, whose entries have the same codes, is the file's end.
  std::size_t frame = file.Text().rfind("00dc", file.Text().rfind("JUNK"));
  frame = file.Text().rfind("00dc", frame - 1);
  file.Overwrite(frame, "\1\2\3\4");
  const AviReader reader(file.Name());
  const std::vector<SampleChunk> frames = LoadStream(reader, 0);
  ASSERT_EQ(frames.size(), 9U);
  EXPECT_EQ(frames[3].bytes, chunks[2 * 3 + 1].bytes);
  // A padding byte belongs to a chunk whose size is not known.
  EXPECT_EQ(frames[4].bytes.size(), PaddedBytes(chunks[2 * 4 + 1].bytes.size()));
  EXPECT_EQ(frames[5].bytes, chunks[2 * 5 + 1].bytes);
  EXPECT_EQ(frames[8].bytes, chunks[2 * 9 + 1].bytes);
  const std::vector<SampleChunk> packets = LoadStream(reader, 1);
  ASSERT_EQ(packets.size(), 10U);
  EXPECT_EQ(packets[6].bytes.size(), 10U);
  EXPECT_EQ(packets[7].bytes, chunks[2 * 7].bytes);
  using Why = AviContents::Gap::Why;
  const std::vector<AviContents::Gap>& gaps = reader.Contents().gaps;
  ASSERT_EQ(gaps.size(), 3U);
  EXPECT_EQ(gaps[0].why, Why::kWrongSize);
  EXPECT_EQ(gaps[0].position, reader.Frame(4).position - 8);
  EXPECT_EQ(gaps[1].why, Why::kNoChunk);
  EXPECT_EQ(gaps[1].position, sound + 8 + 10);
  EXPECT_EQ(gaps[1].bytes, 6390U);
  EXPECT_EQ(gaps[2].why, Why::kNoChunk);
  EXPECT_EQ(gaps[2].position, frame);
  EXPECT_EQ(gaps[2].bytes, 8 + PaddedBytes(chunks[2 * 8 + 1].bytes.size()));
}

/// A file of which some bytes cannot be read.
class BadSector final : public std::stringbuf {
 public:
  BadSector(const std::string& text, std::size_t begin, std::size_t end)
      : std::stringbuf(text),
        begin_(static_cast<std::streamoff>(begin)),
        end_(static_cast<std::streamoff>(end)) {}

 protected:
  std::streamsize xsgetn(char* bytes, std::streamsize count) override {
    const std::streamoff at = gptr() - eback();
    return at < end_ && at + count > begin_ ? 0 : std::stringbuf::xsgetn(bytes, count);
  }

 private:
  std::streamoff begin_;
  std::streamoff end_;
};

TEST(AviRescue, GoesOnBehindWhatCannotBeRead) {
  const std::vector<SampleChunk> chunks = SampleChunks(10, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  file.Overwrite(file.PositionOf("idx1"), "JUNK");
  const std::string text = file.Text();
  // Over the headers of frame 4 and of the sound behind it.
  std::size_t frame = 0;
  for (int i = 0; i < 4; ++i) {
    frame = text.find("00dc", frame + 1);
  }
  const std::size_t bad = frame / 512 * 512;
  BadSector buffer(text, bad, bad + 512);
  const AviReader reader(std::make_unique<std::istream>(&buffer), text.size(), "x", nullptr);
  EXPECT_EQ(reader.FrameCount(), 9U);
  EXPECT_EQ(reader.Contents().streams[1].size(), 9U);
  ASSERT_EQ(reader.Contents().gaps.size(), 1U);
  const AviContents::Gap& gap = reader.Contents().gaps[0];
  EXPECT_EQ(gap.why, AviContents::Gap::Why::kUnreadable);
  EXPECT_EQ(gap.position, frame);
  EXPECT_EQ(gap.position + gap.bytes, text.find("00dc", bad + 512));
}

TEST(AviRescue, PassesByChunksOfUnknownCodes) {
  const std::vector<SampleChunk> chunks = SampleChunks(10, 2);
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  // The entries of an index look like chunks.
  const std::size_t index = file.PositionOf("idx1");
  file.Overwrite(index, "idy1");
  const AviReader reader(file.Name());
  ExpectChunks(reader, chunks);
  ASSERT_EQ(reader.Contents().gaps.size(), 1U);
  EXPECT_EQ(reader.Contents().gaps[0].position, index);
}

TEST(AviRescue, TakesLentHeaders) {
  const std::vector<SampleChunk> chunks = SampleChunks(12, 2);
  const TemporaryFile good(".avi");
  StoreSample(good, SampleHeaders(2), SampleChunks(3, 2));
  const AviReader lender(good.Name());
  const TemporaryFile file(".avi");
  // Headers that were never written, a file that begins somewhere, and one that breaks off.
  for (const std::string& text :
       {std::string(2048, '\0') + ChunksText(chunks), ChunksText(chunks),
        std::string(999, 'x') + ChunksText(chunks), ChunksText(chunks) + "00dc\xFF\xFF\0\0abc"s}) {
    file.Store(text);
    const AviReader reader(file.Name(), lender);
    EXPECT_EQ(reader.LentStreams(), (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(reader.Format(), SampleVideo().format);
    ExpectChunks(reader, chunks);
  }
  EXPECT_TRUE(AviReader(good.Name(), lender).LentStreams().empty());
}

TEST(AviRescue, TakesLentHeadersWhereItsOwnCannotBeUsed) {
  const std::vector<SampleChunk> chunks = SampleChunks(6, 2);
  const TemporaryFile good(".avi");
  StoreSample(good, SampleHeaders(2), SampleChunks(3, 2));
  const AviReader lender(good.Name());
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), chunks);
  const std::string text = file.Text();
  const std::size_t video = text.find("strl");
  const std::size_t sound = text.find("strl", video + 1);
  struct Case {
    std::size_t at;
    std::string bytes;
    std::size_t lent;
  };
  for (const Case& entry :
       {Case{video - 8, std::string(4, '\0'), 0}, Case{video + 4, "xxxx", 0},
        Case{video + 8, LittleEndian(20), 0}, Case{video + 12, "xxxx", 0},
        Case{text.find("strf", video), "xxxx", 0}, Case{sound - 8, "xxxx", 1},
        Case{sound + 12, "xxxx", 1}, Case{text.find("strf", sound), "xxxx", 1}}) {
    file.Store(text);
    file.Overwrite(entry.at, entry.bytes);
    SCOPED_TRACE(entry.at);
    const AviReader reader(file.Name(), lender);
    EXPECT_EQ(reader.LentStreams(), std::vector<std::size_t>{entry.lent});
    EXPECT_EQ(reader.Format(), SampleVideo().format);
    EXPECT_EQ(reader.Headers().streams[1].format, SamplePcm().format);
    ExpectChunks(reader, chunks);
  }
}

TEST(AviRescue, KeepsItsOwnHeadersInAnotherOrder) {
  const TemporaryFile good(".avi");
  StoreSample(good, SampleHeaders(3), SampleChunks(3, 3));
  const TemporaryFile file(".avi");
  AviHeaders headers = SampleHeaders(2);
  std::swap(headers.streams[0], headers.streams[1]);
  StoreSample(file, headers, {{0, Bytes(8, 1), true}, {1, Bytes(5, 2), true}});
  const AviReader reader(file.Name(), AviReader(good.Name()));
  EXPECT_EQ(reader.LentStreams(), std::vector<std::size_t>{2});
  EXPECT_EQ(reader.VideoStream(), 1U);
  EXPECT_EQ(reader.Headers().streams.size(), 3U);
}

TEST(AviRescue, CountsTheChunksOfStreamsWithoutHeaders) {
  const std::vector<SampleChunk> chunks = SampleChunks(60, 2);
  const TemporaryFile file(".avi");
  const std::map<std::size_t, std::uint64_t> expected = {{1, 60}};
  StoreSample(file, SampleHeaders(2), chunks);
  const std::size_t second = file.Text().find("strl", file.PositionOf("strl") + 1) - 8;
  file.Overwrite(second, "JUNK");
  const AviReader indexed(file.Name());
  EXPECT_EQ(indexed.Contents().foundBy, FoundBy::kIndex);
  EXPECT_EQ(indexed.Contents().strays, expected);
  EXPECT_EQ(indexed.FrameCount(), 60U);
  file.Overwrite(file.PositionOf("idx1"), "JUNK");
  const AviReader searched(file.Name());
  EXPECT_EQ(searched.Contents().foundBy, FoundBy::kChunks);
  EXPECT_EQ(searched.Contents().strays, expected);
  EXPECT_TRUE(searched.Contents().gaps.empty());
  ASSERT_GT(StoreSample(file, SampleHeaders(2), chunks, kSmallSegments), 1U);
  file.Overwrite(file.Text().find("strl", file.PositionOf("strl") + 1) - 8, "JUNK");
  const AviReader segmented(file.Name());
  EXPECT_EQ(segmented.Contents().foundBy, FoundBy::kOpenDmlIndexes);
  EXPECT_GT(segmented.Contents().strays.at(1), 1U);
}

}  // namespace
}  // namespace vfwtool
