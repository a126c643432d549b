#include "tools/vfwtool/media/wav.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string Number(std::uint64_t value, std::size_t bytes = 4) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> 8 * i);
  }
  return text;
}

std::string Chunk(const std::string& code, const std::string& contents) {
  return code + Number(contents.size()) + contents + std::string(contents.size() % 2, '\0');
}

/// A WAV file of that sound, with what stands between its header and the data.
std::string Wav(const std::string& data, const std::string& between = "") {
  return "RIFF" + Number(0) + "WAVE" + between + Chunk("fmt ", Text(SamplePcm().format)) +
         Chunk("data", data);
}

std::unique_ptr<WavPackets> Open(const std::string& text) {
  return std::make_unique<WavPackets>(std::make_unique<std::istringstream>(text), text.size(),
                                      "sound");
}

std::string Read(const std::string& text) {
  const std::unique_ptr<WavPackets> packets = Open(text);
  std::string samples;
  PacketSource::Packet packet;
  while (packets->NextBegin()) {
    packets->Read(packet);
    samples += Text(packet.bytes);
  }
  return samples;
}

const std::string kData = Text(SampleBytes(40000, 1));

TEST(WavPackets, HaveTheSoundOfTheFile) {
  const std::unique_ptr<WavPackets> packets = Open(Wav(kData, Chunk("LIST", "INFOabc")));
  EXPECT_EQ(packets->Headers().format, SamplePcm().format);
  EXPECT_EQ(packets->Headers().Rate(), (FrameRate{48000, 1}));
  EXPECT_EQ(packets->Headers().Field(StreamField::kSampleSize), 4U);
  EXPECT_EQ(packets->NextBegin(), 0U);
  PacketSource::Packet packet;
  packets->Read(packet);
  EXPECT_EQ(packet.bytes.size(), 4 * 6000U);
  EXPECT_EQ(packets->NextBegin(), 6000U);
  packets->Read(packet);
  EXPECT_EQ(packet.bytes.size(), 4 * 4000U);
  EXPECT_FALSE(packets->NextBegin().has_value());
  EXPECT_EQ(Read(Wav(kData)), kData);
}

TEST(WavPackets, EndWithTheLastWholeBlock) { EXPECT_EQ(Read(Wav(kData + "abc")), kData); }

TEST(WavPackets, RefuseSoundThatBreaksOff) {
  const auto message = [](const std::string& text) {
    return MessageOf(ExitCode::kInput, [&] { Open(text); });
  };
  std::string wav = Wav(kData);
  EXPECT_EQ(message(wav.substr(0, wav.size() - 5)),
            "sound: breaks off: it states 40000 bytes of sound and has 39995");
  wav = Wav(kData, Chunk("ds64", Number(99, 8) + Number(40004, 8) + Number(1000, 8) + Number(0)));
  wav.replace(0, 4, "RF64");
  wav.replace(wav.find("data") + 4, 4, Number(0xFFFFFFFF));
  EXPECT_EQ(message(wav), "sound: breaks off: it states 40004 bytes of sound and has 40000");
}

TEST(WavPackets, MayBeNone) {
  EXPECT_EQ(Read(Wav("")), "");
  EXPECT_EQ(Read(Wav("") + Chunk("LIST", "INFO" + Chunk("ICMT", "abc"))), "");
}

TEST(WavPackets, ReachToTheEndWhereTheSizeIsNotKnown) {
  for (const std::uint32_t stated : {0U, 0x7FFFF000U, 0xFFFFFFFFU}) {
    std::string wav = Wav(kData);
    wav.replace(wav.find("data") + 4, 4, Number(stated));
    EXPECT_EQ(Read(wav), kData);
  }
}

TEST(WavPackets, TakeTheSizeOfRf64) {
  const std::string sizes =
      Chunk("ds64", Number(99, 8) + Number(4000, 8) + Number(1000, 8) + Number(0));
  std::string wav = Wav(kData, sizes);
  wav.replace(wav.find("data") + 4, 4, Number(0xFFFFFFFF));
  for (const char* const code : {"RF64", "BW64"}) {
    wav.replace(0, 4, code);
    EXPECT_EQ(Read(wav), kData.substr(0, 4000));
  }
}

TEST(WavPackets, RefuseWhatIsNoPcm) {
  const auto message = [](const std::string& text) {
    return MessageOf(ExitCode::kInput, [&] { Open(text); });
  };
  EXPECT_EQ(message(""), "sound: is not a WAV file");
  EXPECT_EQ(message("RIFF____AVI "), "sound: is not a WAV file");
  EXPECT_EQ(message("RIFF____WAVE"), "sound: has no sound");
  EXPECT_EQ(message("RIFF____WAVE" + Chunk("data", kData)), "sound: has no sound");
  EXPECT_EQ(
      message("RIFF____WAVE" + Chunk("fmt ", Text(SampleVbr().format)) + Chunk("data", kData)),
      "sound: has sound that is no PCM: MP3, 44100 Hz, 2 channels");
  // A block of no bytes, and a rate of no samples.
  for (const std::size_t field : {12U, 4U}) {
    std::string format = Text(SamplePcm().format);
    format.replace(field, 4, Number(0));
    EXPECT_TRUE(message("RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData))
                    .starts_with("sound: has sound that is no PCM"));
  }
  // Blocks that do not hold a sample of each channel, and no channels.
  for (const auto& [channels, blockBytes] :
       {std::pair{2, 1}, std::pair{2, 3}, std::pair{2, 2}, std::pair{2, 65534}, std::pair{0, 4}}) {
    std::string format = Text(SamplePcm().format);
    format.replace(2, 2, Number(static_cast<std::uint64_t>(channels), 2));
    format.replace(12, 2, Number(static_cast<std::uint64_t>(blockBytes), 2));
    EXPECT_TRUE(message("RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData))
                    .starts_with("sound: has sound that is no PCM"))
        << channels << ' ' << blockBytes;
  }
}

TEST(WavPackets, TakeExtensibleFormats) {
  std::string format = Text(SamplePcm().format) + Number(22, 2) + Number(16, 2) + Number(3) +
                       Number(1, 2) + std::string("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
  format.replace(0, 2, Number(0xFFFE, 2));
  const std::string wav = "RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData);
  EXPECT_EQ(Read(wav), kData);
  EXPECT_EQ(Text(Open(wav)->Headers().format), format);
  // A subformat of somebody's own, whose first word is that of PCM.
  format.back() = 'r';
  EXPECT_EQ(MessageOf(ExitCode::kInput,
                      [&] { Open("RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData)); }),
            "sound: has sound that is no PCM: coding 65534, 48000 Hz, 2 channels, 16 bits");
}

TEST(WavWriter, WritesWhatIsReadBack) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format);
    writer.Write(SampleBytes(40000, 1));
    writer.Finish();
  }
  EXPECT_EQ(Read(file.Text()), kData);
  const Bytes contents = file.Contents();
  EXPECT_EQ(ReadLittleEndian32(contents, 4), contents.size() - 8);
  EXPECT_EQ(file.Text().substr(0, 4), "RIFF");
}

TEST(WavWriter, WorkBrokenOffLeavesAWholeFile) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format);
    writer.Write(SampleBytes(40000, 1));
  }
  EXPECT_EQ(Read(file.Text()), kData);
  EXPECT_EQ(ReadLittleEndian32(file.Contents(), file.PositionOf("data") + 4), 40000U);
  std::make_unique<WavWriter>(file.Name(), SamplePcm().format).reset();
  EXPECT_FALSE(file.Exists());
}

TEST(WavWriter, BecomesRf64WhereTheSizesAreTooSmall) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format, 40000);
    writer.Write(SampleBytes(40000, 1));
    writer.Finish();
  }
  const Bytes contents = file.Contents();
  EXPECT_EQ(ReadLittleEndian32(contents, 0), "RF64"_fourcc);
  EXPECT_EQ(ReadLittleEndian32(contents, 4), 0xFFFFFFFFU);
  EXPECT_EQ(ReadLittleEndian32(contents, 12), "ds64"_fourcc);
  EXPECT_EQ(ReadLittleEndian64(contents, 20), contents.size() - 8);
  EXPECT_EQ(ReadLittleEndian64(contents, 28), 40000U);
  EXPECT_EQ(ReadLittleEndian64(contents, 36), 10000U);
  EXPECT_EQ(ReadLittleEndian32(contents, file.PositionOf("data") + 4), 0xFFFFFFFFU);
  EXPECT_EQ(Read(file.Text()), kData);
}

}  // namespace
}  // namespace vfwtool
