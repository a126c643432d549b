#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/avi_check.h"

namespace vfwtool {
namespace {

/// Whether two numbers are further apart than rounding, or a clock that runs a little fast,
/// explains.
bool AreApart(double a, double b) {
  constexpr double kTolerance = 0.01;
  return std::abs(a - b) > 1 && std::abs(a - b) > kTolerance * b;
}

class HeaderCheck {
 public:
  HeaderCheck(const AviReader& reader, const AviFindings& report)
      : reader_(reader), file_(reader.File()), report_(report) {}

  void CheckChunks(const RiffChunk& list);
  void CheckMainHeader();
  void CheckVideo();
  void CheckSound(std::size_t stream);

 private:
  template <typename... Parts>
  void Tell(std::uint64_t offset, const Parts&... what) {
    report_({.offset = offset, .what = Concat(what...)});
  }
  template <typename... Parts>
  void TellOfStream(std::size_t stream, const Parts&... what) {
    report_({.what = Concat("the headers of stream ", stream + 1, " state ", what...)});
  }
  void RequireBytes(const RiffChunk& chunk, std::size_t least);

  const AviReader& reader_;
  RiffFile file_;
  const AviFindings& report_;
  std::optional<RiffChunk> main_;
};

void HeaderCheck::RequireBytes(const RiffChunk& chunk, std::size_t least) {
  if (chunk.Size() < least) {
    Tell(chunk.begin - kChunkHeaderBytes, FourCcText(chunk.code), " has ",
         CountText(chunk.Size(), "byte"), ", not ", least);
  }
}

/// Goes through the chunks of the list of headers or of a list in it.
void HeaderCheck::CheckChunks(const RiffChunk& list) {
  // Some programs leave the rectangle out.
  constexpr std::size_t kLeastStreamHeaderBytes = 48;
  for (std::uint64_t position = list.begin; position < list.end;) {
    const std::optional<RiffChunk> chunk = file_.ChunkAt(position, list.end);
    if (!chunk || !IsWord(chunk->code)) {
      Tell(position, "no chunk begins where the one before ends");
      return;
    }
    if (const std::string wrong = WrongSizeText(*chunk, position, list.end); !wrong.empty()) {
      Tell(position, wrong);
    }
    if (chunk->code == "avih"_fourcc) {
      RequireBytes(*chunk, kMainHeaderBytes);
      main_ = chunk;
    } else if (chunk->code == "strh"_fourcc) {
      RequireBytes(*chunk, kLeastStreamHeaderBytes);
    } else if (list.listType == "hdrl"_fourcc && chunk->listType == "strl"_fourcc) {
      CheckChunks(*chunk);
    }
    position = PaddedBytes(chunk->end);
  }
}

void HeaderCheck::CheckMainHeader() {
  constexpr double kMicroseconds = 1e6;
  if (!main_) {
    report_({.what = "there is no header of the file"});
    return;
  }
  Bytes header = file_.Contents(*main_);
  header.resize(std::max(header.size(), kMainHeaderBytes));
  const auto word = [&](std::size_t offset) { return ReadLittleEndian32(header, offset); };
  const auto tell = [&](const auto&... what) {
    Tell(main_->begin, "the header of the file states ", what...);
  };
  if (const double duration = kMicroseconds / reader_.Rate().PerSecond();
      AreApart(word(0), duration)) {
    tell(word(0), " us a frame, the video has ", FixedText(duration, 0));
  }
  if ((word(12) & kHasIndexFlag) == 0 &&
      reader_.Contents().foundBy == AviContents::FoundBy::kIndex) {
    tell("no index, but there is one");
  }
  if (const std::size_t streams = reader_.Headers().streams.size(); word(24) != streams) {
    tell(CountText(word(24), "stream"), ", there are ", streams);
  }
  const BitmapFormat bitmap = ReadBitmapFormat(reader_.Format());
  const std::int64_t rows = std::abs(std::int64_t{bitmap.height});
  if (std::cmp_not_equal(word(32), bitmap.width) || std::cmp_not_equal(word(36), rows)) {
    tell("pictures of ", word(32), 'x', word(36), ", the video has ", bitmap.width, 'x', rows);
  }
}

void HeaderCheck::CheckVideo() {
  constexpr std::uint16_t kOwnBits = 24;
  const BitmapFormat bitmap = ReadBitmapFormat(reader_.Format());
  const std::size_t stream = reader_.VideoStream();
  const bool isOwn = IsOwnCode(bitmap.compression);
  // Of other codecs many answer for the code of another one.
  if (const FourCc handler = reader_.Handler(); handler != 0 && IsOwnCode(handler) != isOwn) {
    TellOfStream(stream, "the handler ", FourCcText(handler), ", but frames of the code ",
                 bitmap.compression == 0 ? "RGB" : FourCcText(bitmap.compression));
  }
  if (isOwn && bitmap.bits != kOwnBits) {
    TellOfStream(stream, bitmap.bits, " bits a pixel, frames of this codec have ", kOwnBits);
  }
  if (bitmap.width <= 0 || bitmap.height == 0 || (isOwn && bitmap.height < 0)) {
    TellOfStream(stream, "pictures of ", bitmap.width, 'x', bitmap.height);
  }
}

void HeaderCheck::CheckSound(std::size_t stream) {
  const AviStreamHeaders& headers = reader_.Headers().streams[stream];
  const FrameRate rate = headers.Rate();
  if (!rate.IsValid()) {
    TellOfStream(stream, "no rate");
  }
  if (headers.format.size() < kSoundFormatBytes) {
    TellOfStream(stream, "no whole format");
    return;
  }
  SoundFormat format = ReadSoundFormat(headers.format);
  const std::uint32_t sampleBytes = std::uint32_t{format.channels} * format.bits / 8;
  if (format.blockBytes == 0) {
    TellOfStream(stream, "blocks of no bytes");
    return;
  }
  if (!format.IsPcm()) {
    if (!format.IsKnown() && format.bits >= 16 && format.blockBytes == sampleBytes) {
      TellOfStream(stream, format.CodingText(), ", which is unknown, all else that of PCM");
    }
    return;
  }
  if (format.blockBytes != sampleBytes) {
    TellOfStream(stream, "blocks of ", CountText(format.blockBytes, "byte"), ", samples have ",
                 sampleBytes);
  }
  if (const std::uint32_t stated = headers.Field(StreamField::kSampleSize);
      stated != format.blockBytes) {
    TellOfStream(stream, "samples of ", CountText(stated, "byte"), " and blocks of ",
                 format.blockBytes);
  }
  if (rate.IsValid() && AreApart(rate.PerSecond(), format.samplesPerSecond)) {
    TellOfStream(stream, "a rate of ", FixedText(rate.PerSecond(), 0), ", samples come at ",
                 format.samplesPerSecond, " Hz");
  }
}

}  // namespace

void CheckHeaders(const AviReader& reader, const RiffChunk& list, const AviFindings& report) {
  HeaderCheck check(reader, report);
  check.CheckChunks(list);
  check.CheckMainHeader();
  check.CheckVideo();
  for (const std::size_t stream : reader.SoundStreams()) {
    check.CheckSound(stream);
  }
}

}  // namespace vfwtool
