// Streams beside the video: cut, joined and put side by side.

#include "tools/vfwtool/media/packets.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/codecs/avi_source.h"
#include "tools/vfwtool/media/avi_writer.h"

namespace vfwtool {
namespace {

struct Loaded {
  std::vector<std::uint64_t> begins;
  std::vector<std::size_t> sizes;
  Bytes bytes;
};

Loaded Load(PacketSource& source) {
  Loaded loaded;
  PacketSource::Packet packet;
  while (const std::optional<std::uint64_t> begin = source.NextBegin()) {
    source.Read(packet);
    loaded.begins.push_back(*begin);
    loaded.sizes.push_back(packet.bytes.size());
    AppendBytes(loaded.bytes, packet.bytes);
  }
  return loaded;
}

/// All bytes of a stream of the sample.
Bytes Joined(const std::vector<SampleChunk>& chunks, std::size_t stream) {
  Bytes bytes;
  for (const SampleChunk& chunk : chunks) {
    if (chunk.stream == stream) {
      AppendBytes(bytes, chunk.bytes);
    }
  }
  return bytes;
}

Bytes Part(const Bytes& bytes, std::uint64_t begin, std::uint64_t end) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
          bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

class Packets : public testing::Test {
 protected:
  Packets() {
    AviHeaders headers = SampleHeaders(3);
    headers.streams[2].SetField(StreamField::kStart, 5);
    StoreSample(file_, headers, chunks_);
    reader_ = std::make_unique<AviReader>(file_.Name());
  }

  const std::vector<SampleChunk> chunks_ = SampleChunks(20, 3);
  TemporaryFile file_{".avi"};
  std::unique_ptr<AviReader> reader_;
};

TEST_F(Packets, ComeAsTheyAre) {
  AviPackets pcm(*reader_, 1);
  const Loaded loaded = Load(pcm);
  EXPECT_EQ(loaded.sizes, std::vector<std::size_t>(20, 6400));
  EXPECT_EQ(loaded.begins[19], 19 * 1600U);
  EXPECT_EQ(loaded.bytes, Joined(chunks_, 1));
  // Packets of different sizes last one unit each; the stream begins late.
  AviPackets vbr(*reader_, 2);
  const Loaded packets = Load(vbr);
  EXPECT_EQ(packets.begins[0], 5U);
  EXPECT_EQ(packets.begins[19], 24U);
  EXPECT_EQ(packets.bytes, Joined(chunks_, 2));
  EXPECT_EQ(EndOf(*reader_, 1), 20 * 1600U);
  EXPECT_EQ(EndOf(*reader_, 2), 25U);
}

TEST_F(Packets, OfPcmAreCutToTheSample) {
  const Bytes all = Joined(chunks_, 1);
  for (const auto& [from, to] : {std::pair<std::uint64_t, std::uint64_t>{0, 1},
                                 {1, 1600},
                                 {1599, 1601},
                                 {1600, 3200},
                                 {5000, 31999},
                                 {7, UINT64_MAX},
                                 {32000, 40000}}) {
    AviPackets packets(*reader_, 1, {from, to});
    const Loaded loaded = Load(packets);
    EXPECT_EQ(loaded.bytes, Part(all, 4 * from, 4 * std::min<std::uint64_t>(to, 32000)));
    if (!loaded.begins.empty()) {
      EXPECT_EQ(loaded.begins.front(), from);
    }
  }
}

TEST_F(Packets, OfOtherSoundAreCutBetweenPackets) {
  AviPackets packets(*reader_, 2, {7, 9});
  const Loaded loaded = Load(packets);
  EXPECT_EQ(loaded.begins, (std::vector<std::uint64_t>{7, 8}));
  EXPECT_EQ(loaded.sizes, (std::vector<std::size_t>{102, 103}));
}

TEST(PacketsOfLargeChunks, ComeInPiecesOfASecond) {
  const TemporaryFile file(".avi");
  AviHeaders headers = SampleHeaders(3);
  headers.streams[1] = SamplePcm(1000);
  // MP3 of constant bytes: a unit is a byte, which may be divided between blocks of 417.
  AviStreamHeaders& constant = headers.streams[2];
  constant.SetField(StreamField::kScale, 1);
  constant.SetField(StreamField::kRate, 16000);
  constant.SetField(StreamField::kSampleSize, 1);
  constant.format[12] = 417 & 0xFF;
  constant.format[13] = 417 >> 8;
  const std::vector<SampleChunk> chunks = {{0, Bytes(10, 1), true},
                                           {1, SampleBytes(4 * 2500 + 3, 1), true},
                                           {2, SampleBytes(40000, 2), true}};
  StoreSample(file, headers, chunks);
  const AviReader reader(file.Name());
  AviPackets pcm(reader, 1);
  const Loaded loaded = Load(pcm);
  EXPECT_EQ(loaded.sizes, (std::vector<std::size_t>{4000, 4000, 2003}));
  EXPECT_EQ(loaded.begins, (std::vector<std::uint64_t>{0, 1000, 2000}));
  EXPECT_EQ(loaded.bytes, chunks[1].bytes);
  AviPackets mp3(reader, 2);
  const Loaded pieces = Load(mp3);
  EXPECT_EQ(pieces.sizes, (std::vector<std::size_t>{38 * 417, 38 * 417, 40000 - 76 * 417}));
  EXPECT_EQ(pieces.bytes, chunks[2].bytes);

  // What begins where another part ends has the rest of the chunk, piece by piece.
  AviPackets first(reader, 2, {0, 10000});
  AviPackets rest(reader, 2, {10000, UINT64_MAX});
  Bytes joined = Load(first).bytes;
  EXPECT_EQ(joined.size(), 38 * 417);
  AppendBytes(joined, Load(rest).bytes);
  EXPECT_EQ(joined, chunks[2].bytes);
}

TEST(PacketsOfLargeChunks, HaveAnIncompleteSampleOnce) {
  // Without a sample size, the last sample of a chunk counts though it is not complete.
  const TemporaryFile file(".avi");
  AviHeaders headers = SampleHeaders(2);
  headers.streams[1].SetField(StreamField::kSampleSize, 0);
  const std::vector<SampleChunk> chunks = {{0, Bytes(10, 1), true},
                                           {1, SampleBytes(4 * 50 + 3, 1), true}};
  StoreSample(file, headers, chunks);
  const AviReader reader(file.Name());
  AviPackets first(reader, 1, {0, 50});
  AviPackets rest(reader, 1, {50, UINT64_MAX});
  Bytes joined = Load(first).bytes;
  EXPECT_EQ(joined.size(), 4U * 50);
  AppendBytes(joined, Load(rest).bytes);
  EXPECT_EQ(joined, chunks[1].bytes);
}

TEST_F(Packets, ThatVanishAreTold) {
  AviPackets packets(*reader_, 1);
  PacketSource::Packet packet;
  packets.Read(packet);
  std::filesystem::resize_file(PathOf(file_.Name()), 5000);
  EXPECT_TRUE(MessageOf(ExitCode::kInput, [&] {
                packets.Read(packet);
              }).starts_with(file_.Name() + ": stream 2 cannot be read at byte "));
}

TEST_F(Packets, ThatCannotBeReadKeepTheirLength) {
  std::filesystem::resize_file(PathOf(file_.Name()), 5000);
  std::ostringstream errors;
  DamageLog log(errors);
  for (const std::size_t stream : {1U, 2U}) {
    AviPackets packets(*reader_, stream, {}, log.OfPackets());
    const Loaded loaded = Load(packets);
    const std::size_t bytes = Joined(chunks_, stream).size();
    EXPECT_EQ(loaded.bytes, Bytes(bytes));
    EXPECT_EQ(loaded.begins.size(), 20U);
  }
  EXPECT_EQ(log.Packets(), 40U);
  EXPECT_EQ(log.Frames(), 0U);
  EXPECT_TRUE(
      Contains(errors.str(), file_.Name() + ": stream 2 at 00:00:00.633, at byte " +
                                 std::to_string(reader_->Contents().streams[1][19].position) +
                                 ", cannot be read\n"))
      << errors.str();
  EXPECT_EQ(MessageOf(ExitCode::kDamage, [&] { log.RequireNone("x"); }),
            "40 packets of x are damaged");

  DamageLog strict;
  AviPackets packets(*reader_, 1, {}, strict.OfPackets());
  PacketSource::Packet packet;
  EXPECT_TRUE(Contains(MessageOf(ExitCode::kInput, [&] { packets.Read(packet); }),
                       "; --keep-going goes on behind it"));
}

TEST(PacketsOfSound, OfEightBitsAreSilentInTheMiddle) {
  SoundFormat format = ReadSoundFormat(SamplePcm().format);
  EXPECT_EQ(Silence(format, 3), Bytes(12));
  format.bits = 8;
  EXPECT_EQ(Silence(format, 3), Bytes(12, 0x80));
}

TEST_F(Packets, OfTwoFilesAreJoined) {
  JoinedPackets joined;
  joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{100, 2000}), 100, 0);
  joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{31000, UINT64_MAX}), 31000,
             1900);
  const Loaded loaded = Load(joined);
  Bytes expected = Part(Joined(chunks_, 1), 400, 8000);
  AppendBytes(expected, Part(Joined(chunks_, 1), 4 * 31000, 4 * 32000));
  EXPECT_EQ(loaded.bytes, expected);
  EXPECT_EQ(loaded.begins.back() + loaded.sizes.back() / 4, 2900U);
}

TEST_F(Packets, SilenceFillsWhatIsMissingAtAJoin) {
  JoinedPackets joined;
  joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{31000, UINT64_MAX}), 31000,
             0);
  joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{0, 10}), 0, 51000);
  const Loaded loaded = Load(joined);
  // 1000 samples, then 50000 of silence in pieces of at most a second, then 10.
  EXPECT_EQ(loaded.sizes, (std::vector<std::size_t>{4000, 4 * 48000, 4 * 2000, 40}));
  EXPECT_EQ(Part(loaded.bytes, 4000, 4 * 51000), Bytes(4 * 50000));
  EXPECT_EQ(loaded.begins.back(), 51000U);
}

// Headers of a hostile file claim any moment, and any number of samples a second.
TEST_F(Packets, SilenceHasAnEnd) {
  constexpr std::uint64_t kMost = (std::uint64_t{1} << 32) / 4;
  for (const std::uint64_t gap : {kMost, kMost + 1}) {
    JoinedPackets joined;
    joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{31000, UINT64_MAX}),
               31000, 0);
    joined.Add(std::make_unique<AviPackets>(*reader_, 1, AviPackets::Part{0, 10}), 0, 1000 + gap);
    PacketSource::Packet packet;
    joined.Read(packet);
    if (gap == kMost) {
      joined.Read(packet);
      EXPECT_EQ(packet.bytes, Bytes(4 * 48000));
    } else {
      EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { joined.Read(packet); }),
                "the sound: a gap of 1073741825 samples is more than silence can fill");
    }
  }
}

TEST_F(Packets, SilenceComesInSmallPacketsWhateverASecondIs) {
  AviHeaders headers = SampleHeaders(2);
  headers.streams[1].SetField(StreamField::kScale, 1);
  headers.streams[1].SetField(StreamField::kRate, 0xFFFFFFFF);
  const TemporaryFile file(".avi");
  StoreSample(file, headers, SampleChunks(1, 2));
  const AviReader reader(file.Name());
  JoinedPackets joined;
  joined.Add(std::make_unique<AviPackets>(reader, 1), 0, 0);
  joined.Add(std::make_unique<AviPackets>(reader, 1), 0, 10'000'000);
  PacketSource::Packet packet;
  joined.Read(packet);
  joined.Read(packet);
  EXPECT_EQ(packet.bytes, Bytes(std::size_t{1} << 20));
}

TEST_F(Packets, AStreamThatBeginsLateStaysLate) {
  JoinedPackets joined;
  joined.Add(std::make_unique<AviPackets>(*reader_, 2, AviPackets::Part{2, UINT64_MAX}), 2, 0);
  EXPECT_EQ(joined.Headers().Field(StreamField::kStart), 3U);
  EXPECT_EQ(joined.NextBegin(), 3U);
}

/// The streams of the chunks of a file in their order.
std::string Order(const TemporaryFile& file) {
  const AviReader reader(file.Name());
  std::vector<std::pair<std::uint64_t, char>> places;
  for (std::size_t stream = 0; stream < reader.Headers().streams.size(); ++stream) {
    for (const AviChunk& chunk : reader.Contents().streams[stream]) {
      places.emplace_back(chunk.position, "vsm"[stream]);
    }
  }
  std::ranges::sort(places);
  std::string order;
  for (const auto& [position, letter] : places) {
    order += letter;
  }
  return order;
}

TEST_F(Packets, StandBeforeTheFrameDuringWhichTheyBegin) {
  const TemporaryFile file(".avi");
  AviMuxer muxer(file.Name(), reader_->Video(), CompanionsOf(*reader_));
  for (std::uint32_t i = 0; i < 20; ++i) {
    muxer.WriteFrame(reader_->ReadFrame(i), reader_->Frame(i).isKeyFrame);
  }
  muxer.Finish();
  // A frame lasts 1601.6 samples, so that the second packet begins during the first frame; a packet
  // of MP3 lasts 1152 of 44100 a second, and the first one begins 5 later.
  EXPECT_EQ(Order(file).substr(0, 24), "ssvsvsvsvsmvsmmvsmvsmvsm");
  const AviReader copy(file.Name());
  ExpectChunks(copy, chunks_);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(copy.Headers().streams[i], reader_->Headers().streams[i]) << i;
  }
  EXPECT_EQ(copy.Headers().others, SampleHeaders(3).others);
  EXPECT_EQ(copy.Headers().lists, SampleHeaders(3).lists);
}

TEST_F(Packets, ThatAreLeftFollowTheLastFrame) {
  const TemporaryFile file(".avi");
  {
    AviMuxer muxer(file.Name(), reader_->Video(), CompanionsOf(*reader_));
    muxer.WriteFrame(reader_->ReadFrame(0), true);
    muxer.Finish();
  }
  EXPECT_EQ(Order(file), "ssv" + std::string(18, 's') + std::string(20, 'm'));
  {
    AviMuxer muxer(file.Name(), reader_->Video(), CompanionsOf(*reader_));
    muxer.WriteFrame(reader_->ReadFrame(0), true);
    muxer.Stop();
  }
  EXPECT_EQ(Order(file), "ssv");
}

TEST_F(Packets, StayWithTheFramesAcrossSegments) {
  const TemporaryFile file(".avi");
  AviMuxer muxer(file.Name(), reader_->Video(), CompanionsOf(*reader_), kSmallSegments);
  for (std::uint32_t i = 0; i < 20; ++i) {
    muxer.WriteFrame(reader_->ReadFrame(i), reader_->Frame(i).isKeyFrame);
  }
  muxer.Finish();
  EXPECT_GT(muxer.Writer().Segments(), 1U);
  const AviReader copy(file.Name());
  EXPECT_EQ(copy.Contents().foundBy, AviContents::FoundBy::kOpenDmlIndexes);
  ExpectChunks(copy, chunks_);
}

}  // namespace
}  // namespace vfwtool
