#include "tools/vfwtool/media/riff.h"

#include <algorithm>
#include <array>

namespace vfwtool {

void AppendChunk(Bytes& bytes, FourCc code, std::span<const std::uint8_t> contents) {
  AppendLittleEndian32(bytes, code);
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(contents.size()));
  AppendBytes(bytes, contents);
  bytes.resize(static_cast<std::size_t>(PaddedBytes(bytes.size())));
}

void AppendList(Bytes& bytes, FourCc type, std::span<const std::uint8_t> contents) {
  AppendListHeader(bytes, "LIST"_fourcc,
                   static_cast<std::uint32_t>(contents.size()) + kListTypeBytes, type);
  AppendBytes(bytes, contents);
}

void AppendListHeader(Bytes& bytes, FourCc code, std::uint32_t listBytes, FourCc type) {
  AppendLittleEndian32(bytes, code);
  AppendLittleEndian32(bytes, listBytes);
  AppendLittleEndian32(bytes, type);
}

void AppendSpace(Bytes& bytes, std::size_t space) {
  AppendChunk(bytes, "JUNK"_fourcc, Bytes(space - kChunkHeaderBytes));
}

bool IsList(FourCc code) { return code == "RIFF"_fourcc || code == "LIST"_fourcc; }

std::optional<RiffChunk> RiffFile::ChunkAt(std::uint64_t position, std::uint64_t limit) const {
  std::array<std::uint8_t, kListHeaderBytes> header{};
  const std::span bytes(header);
  const std::uint64_t last = std::min(limit, fileBytes_);
  if (position > last || last - position < kChunkHeaderBytes ||
      !Read(position, bytes.first(kChunkHeaderBytes))) {
    return std::nullopt;
  }
  RiffChunk chunk{.code = ReadLittleEndian32(bytes, 0),
                  .begin = position + kChunkHeaderBytes,
                  .stated = ReadLittleEndian32(bytes, 4)};
  chunk.end = std::min(chunk.begin + chunk.stated, last);
  if (IsList(chunk.code)) {
    if (!Read(position, bytes)) {
      return std::nullopt;
    }
    chunk.listType = ReadLittleEndian32(bytes, kChunkHeaderBytes);
    chunk.begin += kListTypeBytes;
    // Where the writer was ended before it could complete its lists, they reach as far as they can.
    const bool isIncomplete = chunk.stated < kListTypeBytes ||
                              (chunk.stated == kListTypeBytes && chunk.listType == "movi"_fourcc);
    chunk.end = std::max(chunk.begin, isIncomplete ? last : chunk.end);
  }
  return chunk;
}

std::vector<RiffChunk> RiffFile::ChunksIn(std::uint64_t begin, std::uint64_t end) const {
  std::vector<RiffChunk> chunks;
  while (const std::optional<RiffChunk> chunk = ChunkAt(begin, end)) {
    chunks.push_back(*chunk);
    begin = PaddedBytes(chunk->end);
  }
  return chunks;
}

bool RiffFile::Read(std::uint64_t position, std::span<std::uint8_t> bytes) const {
  if (!Holds(position, bytes.size())) {
    return false;
  }
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(position));
  file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file_.gcount() == static_cast<std::streamsize>(bytes.size());
}

Bytes RiffFile::Contents(const RiffChunk& chunk) const {
  Bytes contents(static_cast<std::size_t>(chunk.Size()));
  if (!Read(chunk.begin, contents)) {
    contents.clear();
  }
  return contents;
}

}  // namespace vfwtool
