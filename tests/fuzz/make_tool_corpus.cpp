// Writes the seeds that the fuzz targets of the tool's parsers start from: one folder a target,
// each seed a small file.
//
// usage: make_tool_corpus FOLDER

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/core/random_pictures.h"
#include "tests/support/model_codec.h"
#include "tools/vfwtool/media/avi_format.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

namespace fs = std::filesystem;

void Store(const fs::path& file, const Bytes& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

Bytes Frame(std::uint64_t number) {
  using namespace qivm;
  const Bytes bitmap = test::NaturalBitmap(ClientFormat::yuy2, 16, 16, number);
  return test::ModelEncode(ClientFormat::yuy2, 16, 16, bitmap, 20, test::Parts::one);
}

constexpr std::uint32_t kSampleRate = 8000;

/// PCM of one channel with 16 bits.
Bytes SoundFormatBytes(std::uint32_t samplesPerSecond) {
  Bytes format;
  AppendLittleEndian16(format, 1);
  AppendLittleEndian16(format, 1);
  AppendLittleEndian32(format, samplesPerSecond);
  AppendLittleEndian32(format, 2 * samplesPerSecond);
  AppendLittleEndian16(format, 2);
  AppendLittleEndian16(format, 16);
  return format;
}

/// A chunk of a file's list of chunks.
struct Placed {
  FourCc code = 0;
  std::uint32_t offset = 0;  ///< From the word "movi".
  std::uint32_t bytes = 0;
};

enum class Index { kNone, kFirst, kOpenDml };

/// The contents of a standard index, which counts from `base`.
Bytes StandardIndex(FourCc code, const std::vector<Placed>& chunks, std::uint64_t base) {
  Bytes entries;
  for (const Placed& chunk : chunks) {
    if (chunk.code == code) {
      AppendLittleEndian32(entries, chunk.offset + kChunkHeaderBytes);
      AppendLittleEndian32(entries, chunk.bytes);
    }
  }
  Bytes index = {2, 0, 0, kIndexOfChunks};
  AppendLittleEndian32(index,
                       static_cast<std::uint32_t>(entries.size() / kStandardIndexEntryBytes));
  AppendLittleEndian32(index, code);
  AppendLittleEndian64(index, base);
  AppendLittleEndian32(index, 0);
  AppendBytes(index, entries);
  return index;
}

Bytes StreamList(AviStreamHeaders headers, std::uint32_t length, const Bytes& index) {
  headers.SetField(StreamField::kLength, length);
  Bytes list;
  AppendChunk(list, "strh"_fourcc, headers.header);
  AppendChunk(list, "strf"_fourcc, headers.format);
  if (!index.empty()) {
    AppendChunk(list, "indx"_fourcc, index);
  }
  return list;
}

/// An AVI of two frames, with sound between them or without.
Bytes Avi(Index kind, bool hasSound, bool hasRecordLists) {
  std::vector<Placed> chunks;
  Bytes movie;
  const auto add = [&](FourCc code, const Bytes& bytes) {
    chunks.push_back({code, static_cast<std::uint32_t>(kListTypeBytes + movie.size()),
                      static_cast<std::uint32_t>(bytes.size())});
    AppendChunk(movie, code, bytes);
  };
  std::uint32_t samples = 0;
  for (std::uint32_t i = 0; i < 2; ++i) {
    Bytes packet(32 + 2 * i, static_cast<std::uint8_t>(i));
    if (hasRecordLists) {
      AppendListHeader(movie, "LIST"_fourcc, 0, "rec "_fourcc);
    }
    if (hasSound) {
      add("01wb"_fourcc, packet);
      samples += static_cast<std::uint32_t>(packet.size() / 2);
    }
    add("00dc"_fourcc, i == 0 ? Frame(1) : Bytes());
  }
  // An index that every stream brings itself is as long whatever it counts from.
  const auto headers = [&](std::uint64_t base) {
    const auto index = [&](FourCc code) {
      return kind == Index::kOpenDml ? StandardIndex(code, chunks, base) : Bytes();
    };
    Bytes main(56);
    StoreLittleEndian32(main, 0, 40000);
    StoreLittleEndian32(main, 16, 2);
    StoreLittleEndian32(main, 24, hasSound ? 2 : 1);
    Bytes list;
    AppendChunk(list, "avih"_fourcc, main);
    Bytes format = MakeBitmapFormat({PixelFormat::kYuy2, 16, 16});
    StoreLittleEndian32(format, 16, "QIVM"_fourcc);
    AppendList(list, "strl"_fourcc,
               StreamList(MakeVideoHeaders(format, "QIVM"_fourcc, {25, 1}, true), 2,
                          index("00dc"_fourcc)));
    if (hasSound) {
      AppendList(list, "strl"_fourcc,
                 StreamList(MakeSoundHeaders(SoundFormatBytes(kSampleRate)), samples,
                            index("01wb"_fourcc)));
    }
    Bytes start;
    AppendListHeader(start, "RIFF"_fourcc, 0, "AVI "_fourcc);
    AppendList(start, "hdrl"_fourcc, list);
    AppendListHeader(start, "LIST"_fourcc,
                     static_cast<std::uint32_t>(kListTypeBytes + movie.size()), "movi"_fourcc);
    return start;
  };
  const std::size_t base = headers(0).size() - kListTypeBytes;
  Bytes file = headers(base);
  AppendBytes(file, movie);
  if (kind == Index::kFirst) {
    Bytes index;
    for (const Placed& chunk : chunks) {
      AppendLittleEndian32(index, chunk.code);
      AppendLittleEndian32(index, kKeyFrameFlag);
      AppendLittleEndian32(index, chunk.offset);
      AppendLittleEndian32(index, chunk.bytes);
    }
    AppendChunk(file, "idx1"_fourcc, index);
  }
  if (kind != Index::kNone) {
    StoreLittleEndian32(file, 4, static_cast<std::uint32_t>(file.size() - kChunkHeaderBytes));
  }
  return file;
}

void StoreAvis(const fs::path& folder) {
  Store(folder / "indexed", Avi(Index::kFirst, true, false));
  Store(folder / "video-alone", Avi(Index::kFirst, false, false));
  Store(folder / "opendml", Avi(Index::kOpenDml, true, false));
  Store(folder / "not-completed", Avi(Index::kNone, true, false));
  Store(folder / "record-lists", Avi(Index::kFirst, true, true));
}

Bytes Wav(bool isLarge, std::uint32_t statedBytes) {
  const Bytes sound(40, 0x11);
  Bytes file;
  AppendListHeader(file, isLarge ? "RF64"_fourcc : "RIFF"_fourcc, statedBytes, "WAVE"_fourcc);
  if (isLarge) {
    Bytes sizes;
    AppendLittleEndian64(sizes, 0);
    AppendLittleEndian64(sizes, sound.size());
    AppendLittleEndian64(sizes, sound.size() / 2);
    AppendLittleEndian32(sizes, 0);
    AppendChunk(file, "ds64"_fourcc, sizes);
  }
  AppendChunk(file, "fmt "_fourcc, SoundFormatBytes(isLarge ? 64 : kSampleRate));
  AppendLittleEndian32(file, "data"_fourcc);
  AppendLittleEndian32(file, statedBytes);
  AppendBytes(file, sound);
  return file;
}

Bytes Y4m(const std::string& header, std::size_t frameBytes) {
  Bytes file(header.begin(), header.end());
  for (std::uint8_t i = 0; i < 2; ++i) {
    const std::string word = i == 0 ? "FRAME\n" : "FRAME Ixx\n";
    file.insert(file.end(), word.begin(), word.end());
    file.insert(file.end(), frameBytes, i);
  }
  return file;
}

void StoreStreams(const fs::path& folder) {
  Bytes first = Frame(1);
  Bytes second = Frame(2);
  MakeStandard(first);
  MakeStandard(second);
  Store(folder / "one", first);
  Bytes both = first;
  AppendBytes(both, second);
  Store(folder / "two", both);
  qivm::test::Random random(3);
  Store(folder / "liberties", qivm::test::StreamOf(qivm::test::RandomPicture(random, 1, 2)));
}

void StoreAll(const fs::path& folder) {
  StoreAvis(folder / "avi_reader");
  Store(folder / "wav_reader" / "riff", Wav(false, 40));
  Store(folder / "wav_reader" / "rf64", Wav(true, 0xFFFFFFFF));
  Store(folder / "wav_reader" / "not-completed", Wav(false, 0));
  Store(folder / "y4m_reader" / "interlaced",
        Y4m("YUV4MPEG2 W16 H2 F25:1 It A0:0 C422 XTEST\n", 64));
  Store(folder / "y4m_reader" / "rate", Y4m("YUV4MPEG2 C422 F30000:1001 W2 H1 Ib\n", 4));
  StoreStreams(folder / "mpeg_import");
}

}  // namespace
}  // namespace vfwtool

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::cerr << "usage: make_tool_corpus FOLDER\n";
    return 2;
  }
  try {
    vfwtool::StoreAll(arguments[1]);
  } catch (const std::exception& error) {
    std::cerr << "make_tool_corpus: error: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
