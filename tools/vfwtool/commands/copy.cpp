#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/commands/copy_streams.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{.name = "IN.avi",
                .help = "the AVI to copy; several are joined in their order",
                .isList = true},
};

constexpr OptionSpec kFromOption = {
    .name = "--from",
    .value = "POSITION",
    .help = "begin with this frame: a number, counted from 1,\nor a time such as 00:01:02.500"};
constexpr OptionSpec kToOption = {
    .name = "--to",
    .value = "POSITION",
    .help = "end with this frame, or before the one that begins\nnearest to this time"};
constexpr OptionSpec kLikeOption = {
    .name = "--like",
    .value = "GOOD.avi",
    .help =
        "take the headers of this AVI, which was recorded\nin the same way, where the input "
        "has none that can be used"};

constexpr std::array kOptions = {
    kAviOutputOption,
    kFromOption,
    kToOption,
    kLikeOption,
    OptionSpec{.name = "--keep-going",
               .help = "look into the frames and put an empty one into\nthe place of each that is "
                       "damaged, and silence\ninto that of sound that cannot be read; exit\n"
                       "code 8"},
    kJsonOption,
    kQuietOption,
};

/// The frame that begins at a position, counted from 0; of a frame number, the one that has it.
std::uint64_t ParsePosition(const OptionSpec& option, const std::string& text,
                            const FrameRate& rate) {
  if (const std::optional<std::uint64_t> milliseconds = ParseTime(text)) {
    return FrameRate{1000, 1}.MomentIn(rate, *milliseconds);
  }
  std::uint32_t number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  if (error != std::errc{} || end != textEnd || number == 0) {
    RefuseUsage(option.name,
                " takes a frame number, counted from 1, or a time such as "
                "00:01:02.500, not '",
                text, "'");
  }
  return number - 1;
}

/// The frames that --from and --to ask for, of `total`: the first one, and the one behind the last.
std::pair<std::uint64_t, std::uint64_t> FindCut(const Arguments& arguments, const FrameRate& rate,
                                                std::uint64_t total) {
  std::uint64_t begin = 0;
  std::uint64_t end = total;
  if (const auto from = arguments.Value(kFromOption.name)) {
    begin = ParsePosition(kFromOption, *from, rate);
  }
  if (const auto to = arguments.Value(kToOption.name)) {
    // A time ends the cut before its frame, a number behind it.
    end = ParsePosition(kToOption, *to, rate) + (ParseTime(*to) ? 0 : 1);
  }
  if (begin >= total || end > total) {
    RefuseUsage(begin >= total ? kFromOption.name : kToOption.name,
                " lies behind the end: there are ", CountText(total, "frame"), ", ",
                TimeText(rate.MillisecondsAt(total)));
  }
  if (begin >= end) {
    RefuseUsage(kToOption.name, " lies before ", kFromOption.name);
  }
  return {begin, end};
}

/// Refuses lent headers that state other pictures than the frames do.
void RequireFramesLike(const AviReader& reader, const std::string& like) {
  constexpr std::uint32_t kMostOfHeaders = 4096;
  const BitmapFormat bitmap = ReadBitmapFormat(reader.Format());
  const bool isOwn = IsOwnCode(bitmap.compression);
  const std::string code = bitmap.compression == 0 ? "RGB" : FourCcText(bitmap.compression);
  bool hasFrames = false;
  for (const AviChunk& frame : reader.Frames()) {
    Bytes bytes;
    if (frame.bytes == 0 ||
        !reader.Read({frame.position, std::min(frame.bytes, kMostOfHeaders), true}, bytes)) {
      continue;
    }
    hasFrames = true;
    const MpegHeaders headers = ReadMpegHeaders(bytes);
    const bool isMpeg =
        headers.hasSequence && bytes.size() > 3 && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1;
    if (isMpeg != isOwn) {
      continue;  // A damaged one, or one of another codec.
    }
    if (isOwn && (std::cmp_not_equal(headers.width, bitmap.width) ||
                  std::cmp_not_equal(headers.height, bitmap.height))) {
      RefuseInput(reader.Name(), "has frames of ", headers.width, 'x', headers.height,
                  ", the headers of ", like, " are for ", bitmap.width, 'x', bitmap.height);
    }
    return;
  }
  if (hasFrames) {
    RefuseInput(reader.Name(), "has no frame of the code ", code, ", for which the headers of ",
                like, " are");
  }
}

std::unique_ptr<AviReader> OpenPart(const std::string& name, const Arguments& arguments,
                                    const ToolStreams& streams) {
  const std::optional<std::string> like = arguments.Value(kLikeOption.name);
  if (!like) {
    return std::make_unique<AviReader>(name);
  }
  auto reader = std::make_unique<AviReader>(name, AviReader(*like));
  if (reader->LentStreams().empty()) {
    streams.errors << name << " has headers of its own, which are used; " << kLikeOption.name
                   << " is not needed\n";
  }
  for (const std::size_t stream : reader->LentStreams()) {
    streams.errors << name << ": the headers of stream " << stream + 1 << " are those of " << *like
                   << '\n';
    if (stream == reader->VideoStream()) {
      RequireFramesLike(*reader, *like);
    }
  }
  return reader;
}

/// A format without the size of a picture, which every frame may state anew.
Bytes ComparableFormat(const AviStreamHeaders& headers) {
  constexpr std::size_t kSizeOffset = 20;
  Bytes format = headers.format;
  if (headers.IsVideo() && format.size() >= kBitmapHeaderBytes) {
    StoreLittleEndian32(format, kSizeOffset, 0);
  }
  return format;
}

std::string PictureText(const AviStreamHeaders& headers) {
  const BitmapFormat format = ReadBitmapFormat(headers.format);
  return Concat(format.width, 'x', format.height, " of ", format.bits, " bits and the code ",
                format.compression == 0 ? "RGB" : FourCcText(format.compression));
}

/// How a stream differs from that of another file, as the end of a sentence; empty when it does
/// not.
std::string DifferenceOf(const AviStreamHeaders& a, const AviStreamHeaders& b) {
  if (a.Type() != b.Type()) {
    return Concat("is ", FourCcText(a.Type()), ", not ", FourCcText(b.Type()));
  }
  if (a.IsVideo() && PictureText(a) != PictureText(b)) {
    return Concat("has pictures of ", PictureText(a), ", not ", PictureText(b));
  }
  if (std::uint64_t{a.Rate().numerator} * b.Rate().denominator !=
      std::uint64_t{b.Rate().numerator} * a.Rate().denominator) {
    return Concat("has the rate ", a.Rate().Text(), ", not ", b.Rate().Text());
  }
  if (a.IsSound() && ReadSoundFormat(a.format).Text() != ReadSoundFormat(b.format).Text()) {
    return Concat("is ", ReadSoundFormat(a.format).Text(), ", not ",
                  ReadSoundFormat(b.format).Text());
  }
  if (ComparableFormat(a) != ComparableFormat(b)) {
    return Concat("has another format, of ", a.format.size(), " bytes, not ", b.format.size());
  }
  if (a.Field(StreamField::kSampleSize) != b.Field(StreamField::kSampleSize)) {
    return Concat("has samples of ", a.Field(StreamField::kSampleSize), " bytes, not ",
                  b.Field(StreamField::kSampleSize));
  }
  return {};
}

/// Throws ToolError (kInput) with the first difference that keeps two files from being joined.
void RequireJoinable(const AviReader& reader, const AviReader& first) {
  const std::vector<AviStreamHeaders>& a = reader.Headers().streams;
  const std::vector<AviStreamHeaders>& b = first.Headers().streams;
  const auto refuse = [&](const std::string& difference) {
    RefuseInput(reader.Name(), "cannot be joined to ", first.Name(), ": ", difference);
  };
  if (a.size() != b.size()) {
    refuse(Concat("it has ", CountText(a.size(), "stream"), ", not ", b.size()));
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (const std::string difference = DifferenceOf(a[i], b[i]); !difference.empty()) {
      refuse(Concat("its stream ", i + 1, ' ', difference));
    }
  }
}

/// Takes a cut back to the key frame before it.
void BeginWithKeyFrame(CopiedPart& part, const ToolStreams& streams) {
  const std::uint32_t wanted = part.begin;
  while (part.begin > 0 && !part.reader->Frame(part.begin).isKeyFrame) {
    --part.begin;
  }
  if (part.begin != wanted) {
    streams.errors << part.reader->Name() << ": frame " << wanted + 1
                   << " builds on others; the cut begins with the key frame before it, "
                   << FramePlace(*part.reader, part.begin) << '\n';
  }
  const FourCc code = ReadBitmapFormat(part.reader->Format()).compression;
  if (part.begin != 0 && part.reader->Contents().foundBy == AviContents::FoundBy::kChunks &&
      ReadBitmapFormat(part.reader->Format()).NeedsCodec() && !IsOwnCode(code)) {
    streams.errors << part.reader->Name()
                   << " has no index, which alone tells the key frames of the code "
                   << FourCcText(code)
                   << ": the cut may begin with a frame that builds on others\n";
  }
}

/// The parts of the inputs that the arguments ask for.
std::vector<CopiedPart> FindParts(std::vector<std::unique_ptr<AviReader>> readers,
                                  const Arguments& arguments, const ToolStreams& streams) {
  std::uint64_t total = 0;
  for (const std::unique_ptr<AviReader>& reader : readers) {
    total += reader->FrameCount();
  }
  const auto [begin, end] = FindCut(arguments, readers.front()->Rate(), total);
  std::vector<CopiedPart> parts;
  std::uint64_t position = 0;
  std::uint64_t before = 0;
  for (std::unique_ptr<AviReader>& reader : readers) {
    const std::uint64_t next = position + reader->FrameCount();
    const std::uint64_t first = std::max(begin, position);
    const std::uint64_t last = std::min(end, next);
    if (first < last) {
      CopiedPart part{.reader = std::move(reader),
                      .begin = static_cast<std::uint32_t>(first - position),
                      .end = static_cast<std::uint32_t>(last - position),
                      .before = before,
                      .isCutAtEnd = true};
      BeginWithKeyFrame(part, streams);
      before += part.Frames();
      parts.push_back(std::move(part));
    }
    position = next;
  }
  parts.back().isCutAtEnd = arguments.Has(kToOption.name);
  return parts;
}

/// The frames of all parts, one after another.
class PartFrames {
 public:
  PartFrames(const std::vector<CopiedPart>& parts, bool looksInside, DamageLog& log)
      : parts_(parts), looksInside_(looksInside), log_(log), next_(parts.front().begin) {}

  /// Reads the next frame; false at the end.
  bool Read() {
    while (next_ == parts_[part_].end) {
      if (++part_ == parts_.size()) {
        return false;
      }
      next_ = parts_[part_].begin;
    }
    const AviReader& reader = *parts_[part_].reader;
    const std::uint32_t frame = next_++;
    isKeyFrame = reader.Frame(frame).isKeyFrame;
    const bool isWhole = looksInside_ ? ReadWholeFrame(reader, frame, log_, bytes)
                                      : reader.Read(reader.Frame(frame), bytes);
    if (!isWhole) {
      if (!looksInside_) {
        log_.Note(reader, frame, "cannot be read");
      }
      bytes.clear();
      isKeyFrame = false;
    }
    return true;
  }

  Bytes bytes;
  bool isKeyFrame = true;

 private:
  const std::vector<CopiedPart>& parts_;
  bool looksInside_;
  DamageLog& log_;
  std::size_t part_ = 0;
  std::uint32_t next_;
};

void Run(const Arguments& arguments, const ToolStreams& streams) {
  const std::vector<std::string>& inputs = arguments.Operands();
  const std::string output = *arguments.Value(kAviOutputOption.name);
  RequireAviOutput(output, arguments);
  if (const auto like = arguments.Value(kLikeOption.name)) {
    RequireDifferentFiles(*like, output);
  }

  const Transfer transfer(arguments, streams);
  DamageLog log = MakeDamageLog(arguments, streams);
  std::vector<std::unique_ptr<AviReader>> readers;
  std::string shownInput;
  for (const std::string& input : inputs) {
    transfer.Open([&] { readers.push_back(OpenPart(input, arguments, streams)); });
    const AviReader& reader = *readers.back();
    if (reader.FrameCount() == 0) {
      RefuseInput(input, "has no frames");
    }
    RequireJoinable(reader, *readers.front());
    NameLosses(reader, log, streams);
    shownInput += Concat(shownInput.empty() ? "" : ", ", input);
  }
  const std::vector<CopiedPart> parts = FindParts(std::move(readers), arguments, streams);
  const AviReader& first = *parts.front().reader;
  AviStreamHeaders video = first.Video();
  if (parts.front().begin != 0) {
    video.SetField(StreamField::kStart, 0);
  }
  AviCompanions companions = JoinCompanions(parts, video, log, streams);
  const BitmapFormat bitmap = ReadBitmapFormat(first.Format());
  TransferReport report{.action = "copied",
                        .input = shownInput,
                        .output = output,
                        .width = static_cast<std::uint32_t>(bitmap.width),
                        .height = static_cast<std::uint32_t>(std::abs(bitmap.height)),
                        .rate = first.Rate(),
                        .soundStreams = companions.CountSound()};
  AviMuxer muxer(output, video, std::move(companions));
  PartFrames frames(parts, arguments.Has(kKeepGoingOption.name), log);
  transfer.Run({.read = [&] { return frames.Read(); },
                .write = [&] { muxer.WriteFrame(frames.bytes, frames.isKeyFrame); },
                .finish = [&] { muxer.Finish(); },
                .stop = [&] { muxer.Stop(); },
                .finishEarly =
                    [&] {
                      muxer.FinishEarly();
                      return muxer.Frames();
                    }},
               parts.back().before + parts.back().Frames(), report);
  RemarkOnSegments(muxer.Writer(), output, arguments, streams);
  transfer.Conclude(report, log);
}

}  // namespace

constinit const Command kCopyCommand = {
    .name = "copy",
    .summary = "cut, join and rescue AVIs without coding anew",
    .description =
        "Writes the frames and the sound of an AVI, or of several behind each other, into a new "
        "AVI without changing a byte of them. Sound is cut at the same moment as the video: PCM to "
        "the sample, other sound to the packet; where it is short of the video at a join, PCM is "
        "filled up with silence. Of a recording whose program was ended before it could complete "
        "the file, everything that is there comes out as a whole AVI with an index.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool copy tape.avi -o scene.avi --from 00:01:02.500 --to 00:01:10\n"
        "  vfwtool copy part1.avi part2.avi -o whole.avi\n"
        "  vfwtool copy broken.avi -o rescued.avi --like another.avi",
    .run = Run,
};

}  // namespace vfwtool
