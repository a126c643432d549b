#include <array>
#include <cstdlib>
#include <memory>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/codecs/avi_source.h"
#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/commands/transfer.h"
#include "tools/vfwtool/media/avi_check.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

constexpr std::array kOperands = {
    OperandSpec{"FILE.avi", "the AVI to check"},
};

constexpr std::array kOptions = {kJsonOption, kQuietOption};

/// What came of checking an AVI.
struct VerifyReport {
  std::string file;
  std::uint64_t frames = 0;
  std::uint64_t packets = 0;  ///< Of all other streams.
  std::string decoder;        ///< Empty where there is none for the frames.
  std::uint64_t count = 0;    ///< Of everything that is wrong.
  struct Entry {
    AviFinding finding;
    std::string place;  ///< "frame 17 (00:00:00.640), at byte 1234"
    std::string time{};
  };
  std::vector<Entry> entries{};  ///< The first of it.

  std::string Text() const {
    std::string text = Concat(
        file, ": ", CountText(frames, "frame"), ", ", CountText(packets, "other packet"),
        ", decoded by ", decoder.empty() ? "none, for no codec takes the frames" : decoder, '\n');
    for (const Entry& entry : entries) {
      text += Concat("  ", entry.place, entry.place.empty() ? "" : ": ", entry.finding.what, '\n');
    }
    if (count > entries.size()) {
      text += Concat("  and ", count - entries.size(), " more\n");
    }
    return text + (count == 0 ? "Nothing is wrong.\n" : "");
  }

  JsonObject Json() const {
    std::vector<JsonObject> list;
    for (const Entry& entry : entries) {
      JsonObject json;
      if (entry.finding.frame) {
        json.Integer("frame", std::int64_t{*entry.finding.frame} + 1).Text("time", entry.time);
      }
      if (entry.finding.offset) {
        json.Integer("offset", static_cast<std::int64_t>(*entry.finding.offset));
      }
      json.Text("what", entry.finding.what);
      list.push_back(json);
    }
    JsonObject json;
    json.Text("file", file)
        .Integer("frames", static_cast<std::int64_t>(frames))
        .Integer("otherPackets", static_cast<std::int64_t>(packets))
        .Text("decoder", decoder)
        .Integer("defects", static_cast<std::int64_t>(count))
        .List("list", list);
    return json;
  }
};

/// Decodes the frames of an AVI, where there is a codec for them.
class FrameDecoder {
 public:
  FrameDecoder(const AviReader& reader, const AviFindings& tell) {
    if (!ReadBitmapFormat(reader.Format()).NeedsCodec()) {
      return;
    }
    try {
      if (std::unique_ptr<Codec> codec = FindDecompressor(reader.Handler(), reader.Format())) {
        decompressor_.emplace(std::move(codec), reader.Format(), PixelFormat::kYuy2);
        picture_.resize(decompressor_->Layout().FrameBytes());
      }
    } catch (const ToolError& error) {
      tell({.what = Concat("the frames cannot be decompressed: ", error.what())});
    }
  }

  std::string Name() const {
    return decompressor_ ? decompressor_->Description().Text() : std::string();
  }
  Refusal Decode(std::span<std::uint8_t> frame, bool isKeyFrame) {
    return decompressor_ && !frame.empty() ? decompressor_->Decompress(frame, isKeyFrame, picture_)
                                           : Refusal();
  }

 private:
  std::optional<Decompressor> decompressor_;
  Bytes picture_;
};

/// What is wrong with one frame.
void CheckFrame(const AviReader& reader, std::uint32_t index, FrameDecoder& decoder, Bytes& frame,
                const AviFindings& tell) {
  const AviChunk& chunk = reader.Frame(index);
  if (!reader.Read(chunk, frame)) {
    tell({.frame = index, .offset = chunk.position, .what = "cannot be read"});
    return;
  }
  const BitmapFormat bitmap = ReadBitmapFormat(reader.Format());
  if (IsOwnCode(bitmap.compression) && !frame.empty()) {
    for (const FrameDamage& damage : FindDamage(frame, bitmap.width, std::abs(bitmap.height))) {
      tell({.frame = index, .offset = chunk.position + damage.offset, .what = damage.what});
    }
  }
  if (const Refusal refusal = decoder.Decode(frame, chunk.isKeyFrame)) {
    tell({.frame = index,
          .offset = chunk.position,
          .what = Concat("cannot be decompressed: ", *refusal)});
  }
}

void Run(const Arguments& arguments, const ToolStreams& streams) {
  constexpr std::size_t kMostEntries = 1000;
  const std::string& file = arguments.Operand(0);
  const AviReader reader(file);
  VerifyReport report{.file = file, .frames = reader.FrameCount(), .decoder = {}};
  const auto tell = [&](const AviFinding& finding) {
    if (++report.count > kMostEntries) {
      return;
    }
    VerifyReport::Entry entry{.finding = finding, .place = {}};
    if (finding.frame) {
      entry.place = FramePlace(reader, *finding.frame);
      entry.time = TimeText(reader.Rate().MillisecondsAt(*finding.frame));
    }
    if (finding.offset) {
      entry.place += Concat(entry.place.empty() ? "" : ", ", "at byte ", *finding.offset);
    }
    report.entries.push_back(std::move(entry));
  };
  CheckStructure(reader, tell);
  FrameDecoder decoder(reader, tell);
  report.decoder = decoder.Name();
  const Stopwatch watch;
  Bytes bytes;
  {
    Progress progress(streams.errors, ProgressStyle(arguments, streams), reader.FrameCount());
    for (std::uint32_t i = 0; i < reader.FrameCount(); ++i) {
      CheckFrame(reader, i, decoder, bytes, tell);
      progress.Update(i + 1, watch.SecondsSinceStart());
    }
  }
  for (std::size_t i = 0; i < reader.Headers().streams.size(); ++i) {
    if (i == reader.VideoStream()) {
      continue;
    }
    for (const AviChunk& packet : reader.Contents().streams[i]) {
      ++report.packets;
      if (!reader.Read(packet, bytes)) {
        tell({.offset = packet.position, .what = Concat(StreamText(reader, i), " cannot be read")});
      }
    }
  }
  PrintReport(report, arguments, streams.output);
  if (report.count != 0) {
    throw ToolError(ExitCode::kDamage, Concat(file, " has ", CountText(report.count, "defect")));
  }
}

}  // namespace

constinit const Command kVerifyCommand = {
    .name = "verify",
    .summary = "check every frame of an AVI, and how the file is put together",
    .description =
        "Checks the structure of an AVI (chunks, both kinds of index, headers, sizes and lengths), "
        "reads "
        "all of its frames and sound, checks the headers and every code of frames of this codec, "
        "and decodes them. Lists what is wrong with frame, moment and place in the file. The exit "
        "code is 0 only when nothing is.",
    .operands = kOperands,
    .options = kOptions,
    .examples =
        "  vfwtool verify tape.avi\n"
        "  vfwtool verify tape.avi --json",
    .run = Run,
};

}  // namespace vfwtool
