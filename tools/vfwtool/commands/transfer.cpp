#include "tools/vfwtool/commands/transfer.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/base/files.h"
#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/media/picture_files.h"
#include "tools/vfwtool/media/y4m.h"

namespace vfwtool {

namespace {

double PerSecond(std::uint64_t frames, double seconds) {
  return static_cast<double>(frames) / seconds;
}

std::string SpeedText(std::uint64_t frames, double seconds) {
  if (frames == 0 || seconds <= 0) {
    return Concat(FixedText(seconds, 3), " s");
  }
  return Concat(FixedText(seconds, 3), " s, ", FixedText(PerSecond(frames, seconds), 1),
                " frames/s");
}

}  // namespace

void SizeStatistics::Add(std::uint64_t bytes) {
  smallest_ = count_ == 0 ? bytes : std::min(smallest_, bytes);
  largest_ = std::max(largest_, bytes);
  total_ += bytes;
  ++count_;
}

double SizeStatistics::Mean() const {
  return count_ == 0 ? 0.0 : static_cast<double>(total_) / static_cast<double>(count_);
}

std::string SizeStatistics::Text() const {
  constexpr double kBitsPerByte = 8.0;
  return Concat(FixedText(Mean() * kBitsPerByte / 1e6, 3), " Mbit a frame (smallest ",
                ByteCountText(smallest_), ", largest ", ByteCountText(largest_), ")");
}

JsonObject SizeStatistics::Json() const {
  JsonObject json;
  json.Integer("total", static_cast<std::int64_t>(total_))
      .Integer("smallest", static_cast<std::int64_t>(smallest_))
      .Integer("largest", static_cast<std::int64_t>(largest_))
      .Number("mean", Mean(), 1);
  return json;
}

std::string TransferReport::Text() const {
  std::string text = Concat(action, ' ', CountText(frames, "frame"), " of ", width, 'x', height);
  if (pixelFormat) {
    text += Concat(' ', PixelFormatName(*pixelFormat));
  }
  text += Concat(" at ", rate.Text(), " frames/s from ", input, " to ", output, '\n');
  if (codec) {
    text += Concat("  codec       ", codec->Text());
    text += quality ? Concat(", quality ", *quality, " of 10000\n") : "\n";
  }
  if (compressed) {
    text += Concat("  compressed  ", ByteCountText(compressed->Total()), ", ", compressed->Text(),
                   '\n');
  }
  if (soundStreams != 0) {
    text += Concat("  sound       ", CountText(soundStreams, "stream"), '\n');
  }
  if (damagedFrames != 0) {
    text += Concat("  damaged     ", CountText(damagedFrames, "frame"), '\n');
  }
  if (damagedPackets != 0) {
    text += Concat("  unreadable  ", CountText(damagedPackets, "packet"), '\n');
  }
  if (outputBytes) {
    text += Concat("  output      ", ByteCountText(*outputBytes), '\n');
  }
  if (codecSeconds) {
    text += Concat("  in codec    ", SpeedText(frames, *codecSeconds), '\n');
  }
  return text + Concat("  altogether  ", SpeedText(frames, totalSeconds), '\n');
}

JsonObject TransferReport::Json() const {
  JsonObject json;
  json.Text("action", action).Text("input", input).Text("output", output);
  if (codec) {
    json.Object("codec", codec->Json());
  }
  json.Integer("width", width).Integer("height", height);
  if (pixelFormat) {
    json.Text("pixelFormat", PixelFormatName(*pixelFormat));
  }
  json.Integer("rate", rate.numerator)
      .Integer("scale", rate.denominator)
      .Number("framesPerSecond", rate.PerSecond());
  if (quality) {
    json.Integer("quality", *quality);
  }
  json.Integer("frames", static_cast<std::int64_t>(frames));
  if (compressed) {
    json.Object("compressedBytes", compressed->Json());
  }
  json.Integer("soundStreams", static_cast<std::int64_t>(soundStreams))
      .Integer("damagedFrames", static_cast<std::int64_t>(damagedFrames))
      .Integer("unreadablePackets", static_cast<std::int64_t>(damagedPackets));
  if (outputBytes) {
    json.Integer("outputBytes", static_cast<std::int64_t>(*outputBytes));
  }
  if (codecSeconds) {
    json.Number("codecSeconds", *codecSeconds)
        .Number("codecFramesPerSecond", PerSecond(frames, *codecSeconds), 2);
  }
  json.Number("totalSeconds", totalSeconds)
      .Number("totalFramesPerSecond", PerSecond(frames, totalSeconds), 2);
  return json;
}

namespace {

std::string OutputText(const std::string& output) {
  return output == kStandardStream ? "the standard output" : output;
}

/// Throws ToolError (kInterrupted) with what there is of the output.
[[noreturn]] void EndAsInterrupted(const std::string& output, std::uint64_t frames) {
  throw ToolError(ExitCode::kInterrupted,
                  frames == 0 ? "stopped before the first frame; nothing was written"
                              : Concat("stopped; ", OutputText(output), " has the ",
                                       CountText(frames, "frame"), " so far"));
}

}  // namespace

void Transfer::Open(const std::function<void()>& open) const {
  try {
    const InterruptionWatch::Reading reading;
    open();
  } catch (const ToolError&) {
    if (!InterruptionWatch::IsRequested()) {
      throw;
    }
  }
  if (InterruptionWatch::IsRequested()) {
    EndAsInterrupted("", 0);
  }
}

void Transfer::Run(const Steps& steps, std::optional<std::uint64_t> total,
                   TransferReport& report) const {
  const auto read = [&] {
    try {
      const InterruptionWatch::Reading reading;
      return !InterruptionWatch::IsRequested() && steps.read() && !InterruptionWatch::IsRequested();
    } catch (const ToolError&) {
      // A read that was broken off finds its picture incomplete.
      if (InterruptionWatch::IsRequested()) {
        return false;
      }
      throw;
    }
  };
  const Stopwatch watch;
  Progress progress(streams_.errors, ProgressStyle(arguments_, streams_), total);
  try {
    while (read()) {
      steps.write();
      ++report.frames;
      progress.Update(report.frames, watch.SecondsSinceStart());
    }
    if (!InterruptionWatch::IsRequested()) {
      steps.finish();
    } else if (report.frames != 0) {
      steps.stop();
    } else {
      EndAsInterrupted(report.output, 0);
    }
  } catch (const ToolError& error) {
    const std::uint64_t frames = steps.finishEarly();
    // What the output goes to may have been interrupted as well, and gone first.
    if (InterruptionWatch::IsRequested()) {
      EndAsInterrupted(report.output, frames);
    }
    throw ToolError(error.Code(),
                    frames == 0 ? error.what()
                                : Concat(error.what(), " (", OutputText(report.output), " has the ",
                                         CountText(frames, "frame"), " before that)"));
  }
  report.totalSeconds = watch.SecondsSinceStart();
}

void Transfer::Conclude(TransferReport& report, const DamageLog& log) const {
  report.damagedFrames = log.Frames();
  report.damagedPackets = log.Packets();
  report.outputBytes = FileBytes(report.output);
  PrintReport(report, arguments_,
              report.output == kStandardStream ? streams_.errors : streams_.output);
  if (InterruptionWatch::IsRequested()) {
    EndAsInterrupted(report.output, report.frames);
  }
  log.RequireNone(report.input);
}

DamageLog MakeDamageLog(const Arguments& arguments, const ToolStreams& streams) {
  return arguments.Has(kKeepGoingOption.name) ? DamageLog(streams.errors) : DamageLog();
}

namespace {

SoundFormat FormatOf(const AviReader& reader, std::size_t stream) {
  return ReadSoundFormat(reader.Headers().streams[stream].format);
}

/// The stream that --sound writes.
std::size_t ChooseSound(const AviReader& reader, const Arguments& arguments) {
  const std::vector<std::size_t> sound = reader.SoundStreams();
  if (const auto number = arguments.Number(kSoundStreamOption.name, 1,
                                           static_cast<std::uint32_t>(kMaxAviStreams))) {
    if (*number > sound.size()) {
      RefuseInput(reader.Name(), "has ", CountText(sound.size(), "sound stream"));
    }
    const std::size_t stream = sound[*number - 1];
    if (!FormatOf(reader, stream).IsPcm()) {
      RefuseInput(reader.Name(), StreamText(reader, stream), " is no PCM, which ",
                  kSoundOutputOption.name, " takes alone");
    }
    return stream;
  }
  for (const std::size_t stream : sound) {
    if (FormatOf(reader, stream).IsPcm()) {
      return stream;
    }
  }
  RefuseInput(reader.Name(), "has no PCM sound for ", kSoundOutputOption.name);
}

/// The clip, its uncompressed frames in the format that is wanted.
OpenedClip Repacked(OpenedClip clip, const WantedFormats& formats, const std::string& name) {
  const PixelFormat own = clip.source->Format().layout.format;
  if (formats.uncompressed.value_or(own) != own) {
    clip.source =
        std::make_unique<RepackingSource>(std::move(clip.source), *formats.uncompressed, name);
  }
  return clip;
}

}  // namespace

OpenedClip OpenAviClip(const std::string& name, const WantedFormats& formats, DamageLog& log,
                       const ToolStreams& streams) {
  OpenedClip clip;
  clip.avi = std::make_unique<AviReader>(name);
  NameLosses(*clip.avi, log, streams);
  auto video = std::make_unique<AviSource>(*clip.avi, formats.decoded, log);
  clip.video = video.get();
  clip.source = std::move(video);
  return clip.video->Description() ? std::move(clip) : Repacked(std::move(clip), formats, name);
}

OpenedClip OpenClip(const std::string& name, const WantedFormats& formats, DamageLog& log,
                    const ToolStreams& streams) {
  auto file = std::make_unique<Input>(name, streams);
  if (file->Stream().peek() == 'R') {
    return OpenAviClip(name, formats, log, streams);
  }
  OpenedClip clip;
  clip.source = std::make_unique<Y4mSource>(file->Stream(), file->Name(), file->Size());
  clip.file = std::move(file);
  return Repacked(std::move(clip), formats, name);
}

CreatedClip CreateClip(const std::string& name, ClipKind kind, const ClipFormat& format,
                       AviCompanions companions, const ToolStreams& streams) {
  CreatedClip clip;
  switch (kind) {
    case ClipKind::kAvi:
      clip.sink = std::make_unique<AviSink>(name, format, std::move(companions));
      break;
    case ClipKind::kBmp:
      clip.sink = std::make_unique<BmpSink>(name, format.layout);
      break;
    case ClipKind::kPng:
      clip.sink = std::make_unique<PngSink>(name, format.layout);
      break;
    case ClipKind::kY4m:
      clip.file = std::make_unique<Output>(name, streams);
      clip.sink = std::make_unique<Y4mSink>(*clip.file, format);
      break;
    case ClipKind::kRaw:
      clip.file = std::make_unique<Output>(name, streams);
      clip.sink = std::make_unique<RawSink>(*clip.file, format.layout);
      break;
  }
  return clip;
}

namespace {

/// Sound is no stream of bytes to go through a pipe beside the pictures.
void RequireSoundFile(const std::string& name) {
  if (name == kStandardStream) {
    RefuseUsage(kSoundOutputOption.name, " takes the name of a file, not ", kStandardStream);
  }
}

}  // namespace

void RequireAviOutput(const std::string& output, const Arguments& arguments) {
  if (output == kStandardStream) {
    RefuseUsage("an AVI cannot be written to the standard output; name a file");
  }
  for (const std::string& input : arguments.Operands()) {
    RequireDifferentFiles(input, output);
  }
  if (const auto sound = arguments.Value(kSoundInputOption.name)) {
    RequireSoundFile(*sound);
    RequireDifferentFiles(*sound, output);
  }
}

void RemarkOnSegments(const AviWriter& writer, const std::string& output,
                      const Arguments& arguments, const ToolStreams& streams) {
  if (writer.Segments() > 1 && !arguments.Has(kQuietOption.name)) {
    streams.errors << output << " is an OpenDML AVI of " << writer.Segments()
                   << " segments: programs that open AVIs with AVIFile see the first one\n";
  }
}

std::string StreamText(const AviReader& reader, std::size_t stream) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  if (!headers.IsSound()) {
    return Concat("stream ", stream + 1, " (", FourCcText(headers.Type()), ')');
  }
  std::size_t number = 0;
  for (std::size_t i = 0; i <= stream; ++i) {
    number += reader.Headers().streams[i].IsSound() ? 1U : 0U;
  }
  return Concat("sound stream ", number, " (", FormatOf(reader, stream).Text(), ')');
}

std::unique_ptr<WavTrack> CreateSound(const AviReader& reader, const Arguments& arguments,
                                      DamageLog& log, const ToolStreams& streams) {
  const std::optional<std::string> file = arguments.Value(kSoundOutputOption.name);
  const std::size_t none = reader.Headers().streams.size();
  const std::size_t chosen = file ? ChooseSound(reader, arguments) : none;
  if (!file && arguments.Has(kSoundStreamOption.name)) {
    RefuseUsage(kSoundStreamOption.name, " chooses what ", kSoundOutputOption.name, " writes");
  }
  for (std::size_t i = 0; i < none; ++i) {
    if (i != reader.VideoStream() && i != chosen) {
      streams.errors << reader.Name() << ": " << StreamText(reader, i)
                     << " is left out, for which the output has no place";
      streams.errors << (file || !reader.Headers().streams[i].IsSound()
                             ? "\n"
                             : Concat("; see ", kSoundOutputOption.name, '\n'));
    }
  }
  if (!file) {
    return nullptr;
  }
  RequireSoundFile(*file);
  RequireDifferentFiles(reader.Name(), *file);
  if (AreSameFile(*file, *arguments.Value(kAviOutputOption.name))) {
    RefuseUsage(*file, ": is the output as well");
  }
  return std::make_unique<WavTrack>(*file, reader, chosen, log.OfPackets());
}

}  // namespace vfwtool
