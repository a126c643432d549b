#include "tools/vfwtool/media/avi_reader.h"

#include <algorithm>
#include <utility>

#include "tools/vfwtool/base/error.h"
#include "tools/vfwtool/base/files.h"

namespace vfwtool {
namespace {

/// What is wrong with the format of a video; empty when nothing is.
std::string WrongFormat(const Bytes& format) {
  if (format.size() < kBitmapHeaderBytes) {
    return "the stream format is too short";
  }
  // A codec may read as much as the header says that it has.
  const std::uint32_t stated = ReadLittleEndian32(format, 0);
  const bool isRight = stated >= kBitmapHeaderBytes && stated <= format.size();
  return isRight ? "" : "the stream format states a wrong size";
}

/// Whether headers say what is needed to make anything of the stream's chunks.
bool AreUsable(const AviStreamHeaders& stream) {
  if (stream.IsVideo()) {
    return stream.Rate().IsValid() && WrongFormat(stream.format).empty();
  }
  if (stream.IsSound()) {
    return stream.Rate().IsValid() && stream.format.size() >= kSoundFormatBytes;
  }
  return stream.Type() == "txts"_fourcc || stream.Type() == "mids"_fourcc;
}

std::unique_ptr<std::istream> OpenAvi(const std::string& name) {
  if (name == kStandardStream) {
    RefuseInput("standard input", "an AVI must be a file, for it is not read in order");
  }
  return std::make_unique<std::ifstream>(OpenInput(name));
}

}  // namespace

AviReader::AviReader(const std::string& name)
    : AviReader(OpenAvi(name), FileBytes(name).value_or(0), name, nullptr) {}

AviReader::AviReader(const std::string& name, const AviReader& lender)
    : AviReader(OpenAvi(name), FileBytes(name).value_or(0), name, &lender.Headers()) {}

AviReader::AviReader(std::unique_ptr<std::istream> file, std::uint64_t fileBytes, std::string name,
                     const AviHeaders* lent)
    : name_(std::move(name)), stream_(std::move(file)), fileBytes_(fileBytes) {
  const RiffFile riff(*stream_, fileBytes_);
  const bool isAvi = ReadHeaders(riff);
  if (lent != nullptr) {
    Lend(*lent);
  } else if (!isAvi) {
    RefuseInput(name_, "is not an AVI");
  }
  RequireVideo();
  contents_ = FindAviChunks(riff, superIndexes_);
  KeepWholeSamples();
  MarkKeyFrames();
  for (std::size_t i = 0; i < headers_.streams.size(); ++i) {
    if (contents_.kinds[i][0] != 0) {
      headers_.streams[i].chunkKind = contents_.kinds[i];
    }
  }
}

bool AviReader::ReadHeaders(const RiffFile& file) {
  const std::optional<RiffChunk> avi = file.ChunkAt(0, file.Size());
  if (!avi || avi->code != "RIFF"_fourcc || avi->listType != "AVI "_fourcc) {
    return false;
  }
  // The first segment's size may never have been filled in, or be wrong.
  for (const RiffChunk& chunk : file.ChunksIn(avi->begin, file.Size())) {
    if (chunk.code == "RIFF"_fourcc) {
      break;
    }
    if (chunk.listType == "hdrl"_fourcc && headers_.streams.empty()) {
      ReadHeaderList(file, chunk);
    } else if (chunk.code == "LIST"_fourcc && chunk.listType != "hdrl"_fourcc &&
               chunk.listType != "movi"_fourcc && chunk.listType != "rec "_fourcc) {
      headers_.lists.push_back({chunk.listType, file.Contents(chunk)});
    }
  }
  return true;
}

void AviReader::ReadHeaderList(const RiffFile& file, const RiffChunk& list) {
  for (const RiffChunk& chunk : file.ChunksIn(list)) {
    if (chunk.listType == "strl"_fourcc && headers_.streams.size() < kMaxAviStreams) {
      ReadStream(file, chunk);
    } else if (!IsList(chunk.code) && chunk.code != "avih"_fourcc && chunk.code != "JUNK"_fourcc) {
      headers_.others.push_back({chunk.code, file.Contents(chunk)});
    }
  }
}

void AviReader::ReadStream(const RiffFile& file, const RiffChunk& list) {
  AviStreamHeaders stream;
  Bytes superIndex;
  for (const RiffChunk& chunk : file.ChunksIn(list)) {
    if (chunk.code == "strh"_fourcc) {
      stream.header = file.Contents(chunk);
    } else if (chunk.code == "strf"_fourcc) {
      stream.format = file.Contents(chunk);
    } else if (chunk.code == "indx"_fourcc) {
      superIndex = file.Contents(chunk);
    } else if (!IsList(chunk.code) && chunk.code != "JUNK"_fourcc) {
      stream.others.push_back({chunk.code, file.Contents(chunk)});
    }
  }
  stream.header.resize(std::max(stream.header.size(), kStreamHeaderBytes));
  stream.chunkKind = stream.IsSound() ? std::array{'w', 'b'} : std::array{'d', 'c'};
  headers_.streams.push_back(std::move(stream));
  superIndexes_.push_back(std::move(superIndex));
}

/// Puts lent headers in the place of those that are missing or cannot be used.
void AviReader::Lend(const AviHeaders& lent) {
  if (headers_.streams.empty()) {
    headers_ = {.streams = {}, .others = lent.others, .lists = lent.lists};
  }
  std::vector<AviStreamHeaders> own = std::exchange(headers_.streams, {});
  std::vector<Bytes> indexes = std::exchange(superIndexes_, {});
  // Where there are fewer than lent ones, any may be missing: their types tell which.
  std::size_t matched = 0;
  for (const AviStreamHeaders& stream : lent.streams) {
    const bool isMatch =
        matched < own.size() && (!AreUsable(own[matched]) || own[matched].Type() == stream.Type());
    matched += isMatch ? 1U : 0U;
  }
  const bool isByType = own.size() < lent.streams.size() && matched == own.size();
  std::size_t next = 0;
  for (std::size_t i = 0; i < lent.streams.size(); ++i) {
    const bool isThere = next < own.size();
    const bool isUsable = isThere && AreUsable(own[next]);
    const bool isOwn = isUsable && (!isByType || own[next].Type() == lent.streams[i].Type());
    headers_.streams.push_back(isOwn ? own[next] : lent.streams[i]);
    if (!isOwn) {
      lentStreams_.push_back(i);
    }
    const bool isDone = isThere && (isOwn || !isUsable);
    superIndexes_.push_back(isDone ? indexes[next] : Bytes());
    next += isDone ? 1U : 0U;
  }
  for (; next < own.size(); ++next) {
    headers_.streams.push_back(own[next]);
    superIndexes_.push_back(indexes[next]);
  }
}

void AviReader::RequireVideo() {
  const auto found = std::ranges::find_if(headers_.streams, &AviStreamHeaders::IsVideo);
  if (found == headers_.streams.end()) {
    RefuseInput(name_, "has no video stream");
  }
  video_ = static_cast<std::size_t>(found - headers_.streams.begin());
  if (!Rate().IsValid()) {
    RefuseInput(name_, "the stream header states no frame rate");
  }
  if (const std::string wrong = WrongFormat(Format()); !wrong.empty()) {
    RefuseInput(name_, wrong);
  }
}

/// Of PCM in which the file breaks off, what is there belongs to the stream.
void AviReader::KeepWholeSamples() {
  if (!contents_.broken) {
    return;
  }
  AviContents::BrokenChunk& broken = *contents_.broken;
  const AviStreamHeaders& headers = headers_.streams[broken.stream];
  const SoundFormat format = ReadSoundFormat(headers.format);
  if (headers.IsSound() && format.IsPcm() && broken.chunk.bytes >= format.blockBytes) {
    broken.kept = broken.chunk.bytes - broken.chunk.bytes % format.blockBytes;
    contents_.streams[broken.stream].push_back({broken.chunk.position, broken.kept, true});
  }
}

void AviReader::MarkKeyFrames() {
  if (!IsOwnCode(ReadBitmapFormat(Format()).compression)) {
    return;
  }
  for (AviChunk& frame : contents_.streams[video_]) {
    const bool isKeyFrame = frame.bytes != 0;
    unmarkedKeyFrames_ += isKeyFrame && !frame.isKeyFrame ? 1U : 0U;
    frame.isKeyFrame = isKeyFrame;
  }
}

std::vector<std::size_t> AviReader::SoundStreams() const {
  std::vector<std::size_t> sound;
  for (std::size_t i = 0; i < headers_.streams.size(); ++i) {
    if (headers_.streams[i].IsSound()) {
      sound.push_back(i);
    }
  }
  return sound;
}

bool AviReader::Read(const AviChunk& chunk, Bytes& bytes) const {
  if (!File().Holds(chunk.position, chunk.bytes)) {
    return false;
  }
  bytes.resize(chunk.bytes);
  return File().Read(chunk.position, bytes);
}

std::span<std::uint8_t> AviReader::ReadFrame(std::uint32_t index) {
  if (!Read(Frame(index), frame_)) {
    RefuseInput(name_, "frame ", index + 1, " cannot be read");
  }
  return frame_;
}

}  // namespace vfwtool
