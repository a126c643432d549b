#include "tools/vfwtool/commands/copy_streams.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vfwtool {
namespace {

/// The moments between which the other streams of a part lie, and the moment of the output at which
/// they begin.
struct Span {
  AviPackets::Part part;
  std::uint64_t at = 0;
};

/// `start` is when the first frame of the output is due.
Span SpanOf(const CopiedPart& part, std::uint64_t start, const FrameRate& rate) {
  const AviReader& reader = *part.reader;
  const auto momentOf = [&](std::uint64_t frame) { return reader.Rate().MomentIn(rate, frame); };
  Span span;
  if (part.before != 0 || part.begin != 0) {
    span.part.from = momentOf(reader.Video().Field(StreamField::kStart) + part.begin);
    span.at = momentOf(start + part.before);
  }
  if (part.isCutAtEnd) {
    span.part.to = span.part.from + momentOf(start + part.before + part.Frames()) - span.at;
  }
  return span;
}

/// Says how far a stream that silence cannot fill up gets away from the video at the joins.
void NameShifts(const std::vector<CopiedPart>& parts, const std::vector<Span>& spans,
                std::size_t stream, const ToolStreams& streams) {
  std::optional<std::uint64_t> end;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const AviReader& reader = *parts[i].reader;
    const FrameRate rate = reader.Headers().streams[stream].Rate();
    AviPackets packets(reader, stream, spans[i].part);
    const std::optional<std::uint64_t> begin = packets.NextBegin();
    if (!begin) {
      continue;
    }
    const std::uint64_t due = *begin - spans[i].part.from + spans[i].at;
    const std::uint64_t found = end.value_or(due);
    const std::uint64_t shift = rate.MillisecondsAt(std::max(due, found) - std::min(due, found));
    if (shift > reader.Rate().MillisecondsAt(1)) {
      streams.errors << reader.Name() << ": from the join on, " << StreamText(reader, stream)
                     << " is " << FixedText(static_cast<double>(shift) / 1000, 3)
                     << (found < due ? " s early" : " s late")
                     << ", for only PCM is cut to the sample and filled up with silence\n";
    }
    end = found + packets.SkipToEnd() - *begin;
  }
}

/// Says which streams are not cut at the moment at which the video is.
void NameUncut(const AviReader& reader, std::size_t stream, const ToolStreams& streams) {
  const AviStreamHeaders& headers = reader.Headers().streams[stream];
  if (!headers.Rate().IsValid()) {
    streams.errors << reader.Name() << ": " << StreamText(reader, stream)
                   << " states no rate; it is not cut\n";
  } else if (!headers.IsSound()) {
    streams.errors
        << reader.Name() << ": " << StreamText(reader, stream)
        << " is cut by the number of its packets, for they do not say when they are due\n";
  }
}

}  // namespace

AviCompanions JoinCompanions(const std::vector<CopiedPart>& parts, const AviStreamHeaders& video,
                             DamageLog& log, const ToolStreams& streams) {
  const AviReader& first = *parts.front().reader;
  AviCompanions companions{
      .streams = {}, .others = first.Headers().others, .lists = first.Headers().lists};
  for (std::size_t i = 0; i < first.Headers().streams.size(); ++i) {
    if (i == first.VideoStream()) {
      companions.streams.push_back(nullptr);
      continue;
    }
    auto joined = std::make_unique<JoinedPackets>();
    const FrameRate rate = first.Headers().streams[i].Rate();
    std::vector<Span> spans;
    for (const CopiedPart& part : parts) {
      const Span span =
          rate.IsValid() ? SpanOf(part, video.Field(StreamField::kStart), rate) : Span{};
      joined->Add(std::make_unique<AviPackets>(*part.reader, i, span.part, log.OfPackets()),
                  span.part.from, span.at);
      spans.push_back(span);
    }
    if (parts.front().begin != 0 || parts.back().isCutAtEnd) {
      NameUncut(first, i, streams);
    }
    if (rate.IsValid() && !IsCutAnywhere(first.Headers().streams[i])) {
      NameShifts(parts, spans, i, streams);
    }
    companions.streams.push_back(std::move(joined));
  }
  return companions;
}

}  // namespace vfwtool
