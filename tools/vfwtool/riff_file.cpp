#include "tools/vfwtool/riff_file.h"

#include <algorithm>
#include <array>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {
namespace {

bool IsList(FourCc code) { return code == MakeFourCc("RIFF") || code == MakeFourCc("LIST"); }

}  // namespace

std::optional<RiffChunk> RiffFile::ChunkAt(std::uint64_t position, std::uint64_t limit) const {
  std::array<std::uint8_t, kChunkHeaderBytes + kListTypeBytes> header{};
  const std::span bytes(header);
  const std::uint64_t last = std::min(limit, fileBytes_);
  if (position > last || last - position < kChunkHeaderBytes ||
      !Read(position, bytes.first(kChunkHeaderBytes))) {
    return std::nullopt;
  }
  RiffChunk chunk{.code = ReadLittleEndian32(bytes, 0), .begin = position + kChunkHeaderBytes};
  chunk.end = std::min(chunk.begin + ReadLittleEndian32(bytes, 4), last);
  if (IsList(chunk.code)) {
    const std::uint64_t stated = ReadLittleEndian32(bytes, 4);
    if (!Read(position, bytes)) {
      return std::nullopt;
    }
    chunk.listType = ReadLittleEndian32(bytes, kChunkHeaderBytes);
    chunk.begin += kListTypeBytes;
    // Where the writer was ended before it could complete its lists, they reach as far as they can.
    const bool isIncomplete = stated < kListTypeBytes ||
                              (stated == kListTypeBytes && chunk.listType == MakeFourCc("movi"));
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

std::vector<std::uint8_t> RiffFile::Contents(const RiffChunk& chunk) const {
  std::vector<std::uint8_t> contents(static_cast<std::size_t>(chunk.Bytes()));
  if (!Read(chunk.begin, contents)) {
    contents.clear();
  }
  return contents;
}

}  // namespace qivm
