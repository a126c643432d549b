#include <algorithm>

#include "tools/vfwtool/commands/transfer.h"

namespace vfwtool {
namespace {

/// "behind frame 17", for a place of the file.
std::string PlaceText(const AviReader& reader, std::uint64_t position) {
  const auto next =
      std::ranges::lower_bound(reader.Frames(), position, std::ranges::less(), &AviChunk::position);
  const auto frames = next - reader.Frames().begin();
  return frames == 0 ? "before the first frame" : Concat("behind frame ", frames);
}

std::string GapText(const AviReader& reader, const AviContents::Gap& gap) {
  using Why = AviContents::Gap::Why;
  const std::string place = Concat("at byte ", gap.position, ", ", PlaceText(reader, gap.position));
  if (gap.why == Why::kWrongSize) {
    return Concat("the chunk ", place, ", states a wrong size: the ", gap.bytes,
                  " bytes up to the next one are taken for it");
  }
  return Concat(
      gap.bytes, " bytes ", place, ", are left out: ",
      gap.why == Why::kUnreadable ? "the file cannot be read there" : "no chunk begins there");
}

}  // namespace

void NameLosses(const AviReader& reader, DamageLog& log, const ToolStreams& streams) {
  if (InterruptionWatch::IsRequested()) {
    return;  // A search that was broken off found less than there is.
  }
  const AviContents& contents = reader.Contents();
  const auto tell = [&](const auto&... what) {
    streams.errors << reader.Name() << Concat(what...) << '\n';
    log.NoteLoss();
  };
  bool isMissing = false;
  for (const AviContents::Gap& gap : contents.gaps) {
    tell(": ", GapText(reader, gap));
    isMissing |= gap.why != AviContents::Gap::Why::kWrongSize;
  }
  if (isMissing && reader.Headers().streams.size() > 1) {
    streams.errors << reader.Name()
                   << ": behind what is left out, streams may be out of step with each other\n";
  }
  for (const auto& [stream, chunks] : contents.strays) {
    tell(": ", CountText(chunks, "chunk"), " of stream ", stream + 1,
         " left out, which has no headers; see 'copy' and --like");
  }
  if (contents.broken) {
    const AviContents::BrokenChunk& broken = *contents.broken;
    const bool isVideo = broken.stream == reader.VideoStream();
    tell(" breaks off inside ",
         isVideo ? Concat("frame ", reader.FrameCount() + 1) : StreamText(reader, broken.stream),
         broken.kept != 0 ? Concat(": of ", broken.stated, " bytes, ", broken.kept, " are there")
                          : Concat(": the last ", broken.chunk.bytes, " of ", broken.stated,
                                   " bytes are left out"));
  }
  if (contents.paletteChanges != 0) {
    streams.errors << reader.Name() << ": " << CountText(contents.paletteChanges, "change")
                   << " of the palette left out\n";
  }
}

}  // namespace vfwtool
