#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tools/vfwtool/media/avi_reader.h"
#include "tools/vfwtool/media/avi_writer.h"

namespace vfwtool {

/// Headers of a video of a code that no codec has, with a format of 53 bytes.
inline AviStreamHeaders SampleVideo() {
  Bytes format = MakeBitmapFormat({PixelFormat::kRgb24, 64, 48});
  format.resize(53, 7);
  return MakeVideoHeaders(format, "TEST"_fourcc, {30000, 1001}, true);
}

/// 16-bit stereo; 4 bytes a sample.
inline AviStreamHeaders SamplePcm(std::uint32_t samplesPerSecond = 48000) {
  Bytes format;
  AppendLittleEndian16(format, 1);
  AppendLittleEndian16(format, 2);
  AppendLittleEndian32(format, samplesPerSecond);
  AppendLittleEndian32(format, 4 * samplesPerSecond);
  AppendLittleEndian16(format, 4);
  AppendLittleEndian16(format, 16);
  AviStreamHeaders headers = MakeSoundHeaders(format);
  headers.others.push_back({"strn"_fourcc, {'L', 'e', 'f', 't', 0}});
  return headers;
}

/// MP3 of packets of different sizes, each of which lasts 1152 samples.
inline AviStreamHeaders SampleVbr() {
  Bytes format;
  AppendLittleEndian16(format, 0x55);
  AppendLittleEndian16(format, 2);
  AppendLittleEndian32(format, 44100);
  AppendLittleEndian32(format, 16000);
  AppendLittleEndian16(format, 1152);
  AppendLittleEndian16(format, 0);
  format.resize(30, 3);
  AviStreamHeaders headers = MakeSoundHeaders(format);
  headers.SetField(StreamField::kScale, 1152);
  headers.SetField(StreamField::kRate, 44100);
  headers.SetField(StreamField::kSampleSize, 0);
  return headers;
}

/// A chunk for a stream.
struct SampleChunk {
  std::size_t stream = 0;
  Bytes bytes;
  bool isKeyFrame = true;

  bool operator==(const SampleChunk&) const = default;
};

/// Bytes that differ from chunk to chunk.
inline Bytes SampleBytes(std::size_t size, std::size_t number) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i + 31 * number + (i >> 8));
  }
  return bytes;
}

/// Frames of odd and even sizes, empty ones among them, every third no key frame; each with 1600
/// samples of the second stream and, of the third, packets of odd and even sizes.
inline std::vector<SampleChunk> SampleChunks(std::size_t frames, std::size_t streams) {
  std::vector<SampleChunk> chunks;
  for (std::size_t i = 0; i < frames; ++i) {
    if (streams > 1) {
      chunks.push_back({1, SampleBytes(1600 * 4, i)});
    }
    if (streams > 2) {
      chunks.push_back({2, SampleBytes(100 + i % 7, 1000 + i)});
    }
    chunks.push_back({0, SampleBytes(i * 37 % 230, i), i % 3 != 2});
  }
  return chunks;
}

inline AviHeaders SampleHeaders(std::size_t streams) {
  AviHeaders headers{.streams = {SampleVideo(), SamplePcm(), SampleVbr()},
                     .others = {{"IDIT"_fourcc, {'n', 'o', 'w', 0}}},
                     .lists = {{"INFO"_fourcc, {'I', 'N', 'A', 'M', 2, 0, 0, 0, 'x', 0}}}};
  headers.streams.resize(streams);
  return headers;
}

/// So that a few hundred frames take several segments.
inline constexpr AviLimits kSmallSegments = {
    .firstSegmentBytes = 120000, .nextSegmentBytes = 50000, .segments = 60};

/// Writes a file and returns the number of its segments.
inline std::size_t StoreSample(const TemporaryFile& file, const AviHeaders& headers,
                               const std::vector<SampleChunk>& chunks,
                               const AviLimits& limits = {}) {
  AviWriter writer(file.Name(), headers, limits);
  for (const SampleChunk& chunk : chunks) {
    writer.Write(chunk.stream, chunk.bytes, chunk.isKeyFrame);
  }
  writer.Finish();
  return writer.Segments();
}

inline std::string LittleEndian(std::uint32_t value) {
  Bytes bytes;
  AppendLittleEndian32(bytes, value);
  return {bytes.begin(), bytes.end()};
}

/// A chunk of a file as text, filled up to an even size.
inline std::string ChunkText(const std::string& code, std::string contents) {
  std::string text = code + LittleEndian(static_cast<std::uint32_t>(contents.size())) + contents;
  return text.size() % 2 == 0 ? text : text + '\0';
}

inline std::string ChunksText(const std::vector<SampleChunk>& chunks) {
  constexpr const char* kCodes[] = {"00dc", "01wb", "02wb"};
  std::string text;
  for (const SampleChunk& chunk : chunks) {
    text += ChunkText(kCodes[chunk.stream], {chunk.bytes.begin(), chunk.bytes.end()});
  }
  return text;
}

/// The chunks of one stream of a file.
inline std::vector<SampleChunk> LoadStream(const AviReader& reader, std::size_t stream) {
  std::vector<SampleChunk> chunks;
  for (const AviChunk& chunk : reader.Contents().streams[stream]) {
    SampleChunk loaded{.stream = stream, .bytes = {}, .isKeyFrame = chunk.isKeyFrame};
    EXPECT_TRUE(reader.Read(chunk, loaded.bytes));
    chunks.push_back(std::move(loaded));
  }
  return chunks;
}

/// The file has these chunks. Where no index tells, all are taken for key frames.
inline void ExpectChunks(const AviReader& reader, const std::vector<SampleChunk>& chunks) {
  const bool areKeysKnown = reader.Contents().foundBy != AviContents::FoundBy::kChunks;
  for (std::size_t stream = 0; stream < reader.Headers().streams.size(); ++stream) {
    std::vector<SampleChunk> expected;
    for (SampleChunk chunk : chunks) {
      if (chunk.stream == stream) {
        chunk.isKeyFrame |= !areKeysKnown;
        expected.push_back(std::move(chunk));
      }
    }
    const std::vector<SampleChunk> loaded = LoadStream(reader, stream);
    ASSERT_EQ(loaded.size(), expected.size()) << "stream " << stream;
    for (std::size_t i = 0; i < loaded.size(); ++i) {
      ASSERT_TRUE(loaded[i] == expected[i]) << "chunk " << i << " of stream " << stream;
    }
  }
}

}  // namespace vfwtool
