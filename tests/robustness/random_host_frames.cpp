// The messages that carry frames.

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

#include "tests/driver/frame_calls.h"
#include "tests/robustness/guarded_value.h"
#include "tests/robustness/host_stand_ins.h"
#include "tests/robustness/random_host.h"

namespace qivm::test {

namespace {

constexpr std::size_t kPage = 4096;

/// A compression's arguments, each of which ends where memory ends.
struct CompressArguments {
  CompressArguments(const BITMAPINFOHEADER& format, std::span<const std::uint8_t> picture,
                    Random& random)
      : inputHeader(format),
        outputHeader(CompressedHeader(format.biWidth, format.biHeight, random.Next())),
        flags(random.Next() & ~DWORD{AVIIF_KEYFRAME}),
        input(picture.size()),
        output(static_cast<std::size_t>(format.biWidth) *
               static_cast<std::size_t>(format.biHeight) * 3) {
    input.Fill(picture);
    input.Protect(GuardedBuffer::Access::read);
    inputHeader.MakeReadOnly();
    fields.dwFlags = random.Next();
    fields.lpbiOutput = outputHeader.Get();
    fields.lpOutput = output.Data();
    fields.lpbiInput = inputHeader.Get();
    fields.lpInput = input.Data();
    fields.lpdwFlags = random.OneIn(8) ? nullptr : flags.Get();
    fields.lFrameNum = static_cast<LONG>(random.Next());
    fields.dwFrameSize = random.Next();
    fields.dwQuality = random.OneIn(4) ? random.Next() : kDefaultQuality;
    if (random.OneIn(4)) {
      fields.dwQuality = static_cast<DWORD>(ICQUALITY_DEFAULT);
    }
  }

  /// The structure that is passed, with the fields as they are now.
  ICCOMPRESS* Request() {
    request = std::make_unique<GuardedValue<ICCOMPRESS>>(fields);
    request->MakeReadOnly();
    return request->Get();
  }
  bool GapsIntact() const {
    return outputHeader.GapsIntact() && flags.GapsIntact() && output.GapsIntact();
  }

  GuardedValue<BITMAPINFOHEADER> inputHeader;
  GuardedValue<BITMAPINFOHEADER> outputHeader;
  GuardedValue<DWORD> flags;
  GuardedBuffer input;
  GuardedBuffer output;
  ICCOMPRESS fields = {};
  std::unique_ptr<GuardedValue<ICCOMPRESS>> request;
};

struct DecompressArguments {
  DecompressArguments(const BITMAPINFOHEADER& format, std::size_t outputBytes,
                      std::span<const std::uint8_t> frame, Random& random)
      : inputHeader(Input(frame.size(), random)),
        outputHeader(format),
        input(frame.size()),
        output(outputBytes) {
    input.Fill(frame);
    input.Protect(GuardedBuffer::Access::read);
    inputHeader.MakeReadOnly();
    output.Fill(std::uint8_t{0});
    fields.dwFlags = random.Next();
    fields.lpbiInput = inputHeader.Get();
    fields.lpInput = input.Data();
    fields.lpbiOutput = outputHeader.Get();
    fields.lpOutput = output.Data();
    fields.ckid = random.Next();
  }

  static BITMAPINFOHEADER Input(std::size_t bytes, Random& random) {
    // Of the stream's header the size of the frame alone counts.
    BITMAPINFOHEADER header = CompressedHeader(static_cast<LONG>(random.Next()),
                                               static_cast<LONG>(random.Next()), random.Next());
    header.biSizeImage = static_cast<DWORD>(bytes);
    return header;
  }
  ICDECOMPRESS* Request() {
    request = std::make_unique<GuardedValue<ICDECOMPRESS>>(fields);
    request->MakeReadOnly();
    return request->Get();
  }
  bool GapsIntact() const { return outputHeader.GapsIntact() && output.GapsIntact(); }
  bool IsUntouched() const {
    return std::ranges::all_of(output.Bytes(), [](std::uint8_t byte) { return byte == 0; });
  }

  GuardedValue<BITMAPINFOHEADER> inputHeader;
  GuardedValue<BITMAPINFOHEADER> outputHeader;
  GuardedBuffer input;
  GuardedBuffer output;
  ICDECOMPRESS fields = {};
  std::unique_ptr<GuardedValue<ICDECOMPRESS>> request;
};

/// Whether a frame of one format is what a context for the other takes.
bool SameFormat(const BITMAPINFOHEADER& a, const BITMAPINFOHEADER& b) {
  return a.biWidth == b.biWidth && a.biHeight == b.biHeight && a.biCompression == b.biCompression &&
         a.biBitCount == b.biBitCount;
}

bool EndsWithEndCode(std::span<const std::uint8_t> frame) {
  constexpr std::uint8_t kEndCode[] = {0, 0, 1, 0xB7};
  return frame.size() >= sizeof(kEndCode) &&
         std::ranges::equal(frame.last(sizeof(kEndCode)), kEndCode);
}

/// Makes one page of a buffer inaccessible, if it is larger than a page, and announces that.
bool BlockOnePage(const GuardedBuffer& buffer, Random& random,
                  AccessWatch::Announcement& announcement) {
  const auto pages = static_cast<std::uint32_t>(buffer.Size() / kPage);
  if (pages == 0) {
    return false;
  }
  // Buffers end with a page.
  std::uint8_t* const page = buffer.Data() + buffer.Size() - (1 + random.Below(pages)) * kPage;
  DWORD before = 0;
  announcement.Add(page, kPage);
  return VirtualProtect(page, kPage, PAGE_NOACCESS, &before) != FALSE;
}

template <typename Pointed>
void** Slot(Pointed*& pointer) {
  return reinterpret_cast<void**>(&pointer);
}

/// Makes a page of a frame's bitmap inaccessible or replaces one of the frame's pointers, by null
/// or by the wall, and announces that. Returns what to pass with the message: the arguments, or
/// sometimes the wall or null in their place.
template <typename Arguments>
Parameter SpoilMemory(Arguments& arguments, const GuardedBuffer& bitmap, const GuardedBuffer& wall,
                      Random& random, AccessWatch::Announcement& announcement) {
  if (random.OneIn(3) && BlockOnePage(bitmap, random, announcement)) {
    return arguments.Request();
  }
  auto& fields = arguments.fields;
  void** const pointers[] = {Slot(fields.lpbiInput), Slot(fields.lpInput), Slot(fields.lpbiOutput),
                             Slot(fields.lpOutput)};
  void*& pointer = *pointers[random.Below(std::size(pointers))];
  // Null is seen before it is followed, and so not announced.
  if (random.OneIn(16)) {
    return nullptr;
  }
  if (random.OneIn(2)) {
    pointer = nullptr;
  } else {
    announcement.Add(wall.Data(), wall.Size());
    pointer = wall.Data();
  }
  if (random.OneIn(8)) {
    announcement.Add(wall.Data(), wall.Size());
    return wall.Data();
  }
  return arguments.Request();
}

std::vector<std::uint8_t> Mutated(std::vector<std::uint8_t> frame, Random& random) {
  const auto place = [&] { return random.Below(static_cast<std::uint32_t>(frame.size())); };
  switch (random.Below(5)) {
    case 0:
      frame.resize(1 + place());
      break;
    case 1:
      for (std::uint32_t left = 1 + random.Below(16); left > 0; --left) {
        frame[place()] = random.Byte();
      }
      break;
    case 2:
      frame[place()] ^= static_cast<std::uint8_t>(1U << random.Below(8));
      break;
    case 3:
      // Among the headers.
      frame[random.Below(std::min<std::uint32_t>(100, static_cast<std::uint32_t>(frame.size())))] ^=
          static_cast<std::uint8_t>(1U << random.Below(8));
      break;
    default:
      for (std::uint8_t& byte : frame) {
        byte = random.OneIn(4) ? static_cast<std::uint8_t>(random.Below(2)) : random.Byte();
      }
      break;
  }
  return frame;
}

}  // namespace

LPARAM RandomHost::WrongSize(std::size_t size) {
  const LPARAM sizes[] = {0, 1, -1, static_cast<LPARAM>(size) - 1, static_cast<LPARAM>(size) + 1};
  return sizes[random_.Below(std::size(sizes))];
}

void RandomHost::Compress(OpenInstance& instance) {
  if (random_.OneIn(16)) {
    Expect(Send(instance.id, ICM_COMPRESS, WildParameter(), WrongSize(sizeof(ICCOMPRESS))),
           ICERR_BADPARAM);
    return;
  }
  if (!instance.model.compressor) {
    Expect(Send(instance.id, ICM_COMPRESS, WildParameter(), sizeof(ICCOMPRESS)), ICERR_ERROR);
    return;
  }
  const auto format = ReferenceFrames::FormatOf(instance.model.compressor->format);
  const auto size = ReferenceFrames::SizeOf(instance.model.compressor->format);
  if (format && size && !random_.OneIn(3)) {
    CompressSound(instance, *format, *size);
  } else {
    CompressDamaged(instance);
  }
}

void RandomHost::CompressSound(OpenInstance& instance, std::size_t format, std::size_t size) {
  const InstanceModel& model = instance.model;
  std::vector<std::uint8_t> picture = references_.Picture(format, size);
  const bool noise = random_.OneIn(4);
  if (noise) {
    std::ranges::generate(picture, [this] { return random_.Byte(); });
  }
  CompressArguments arguments(ReferenceFrames::HeaderOf(format, size), picture, random_);
  const BITMAPINFOHEADER before = arguments.outputHeader.Copy();
  const DWORD flags = arguments.flags.Copy();
  Expect(Send(instance.id, ICM_COMPRESS, arguments.Request(), sizeof(ICCOMPRESS)), ICERR_OK);
  ++counts_.frames;
  Check(ThisHostThread().debugTexts == 0, "a text about a sound frame");
  Check(arguments.GapsIntact(), "a write beside a frame");

  BITMAPINFOHEADER wanted = before;
  wanted.biSizeImage = arguments.outputHeader.Copy().biSizeImage;
  wanted.biPlanes = 1;
  wanted.biClrUsed = 0;
  wanted.biClrImportant = 0;
  Check(arguments.outputHeader.Holds(wanted), "wrong header of a frame");
  Check(wanted.biSizeImage <= arguments.output.Size(), "a frame larger than promised");
  const auto frame = arguments.output.Bytes().first(wanted.biSizeImage);
  Check(EndsWithEndCode(frame), "a frame without its end");
  Check(arguments.fields.lpdwFlags == nullptr || arguments.flags.Holds(flags | AVIIF_KEYFRAME),
        "wrong flags of a frame");
  const DWORD quality = arguments.fields.dwQuality == static_cast<DWORD>(ICQUALITY_DEFAULT)
                            ? model.quality
                            : arguments.fields.dwQuality;
  if (!noise && quality == kDefaultQuality) {
    Check(std::ranges::equal(
              frame, references_.Compressed(format, size, model.compressor->severalProcessors,
                                            model.FieldsChanged())),
          "a frame unlike the reference");
    ++counts_.comparisons;
  }
}

void RandomHost::CompressDamaged(OpenInstance& instance) {
  const BITMAPINFOHEADER& begun = instance.model.compressor->format;
  const auto format = ReferenceFrames::FormatOf(begun);
  const auto size = ReferenceFrames::SizeOf(begun);
  const bool known = format && size;
  // A frame of another size than the begun one stands for those that are too large to try.
  const std::size_t given = known ? *format : 0;
  CompressArguments arguments(ReferenceFrames::HeaderOf(given, size.value_or(0)),
                              references_.Picture(given, size.value_or(0)), random_);
  const DWORD flags = arguments.flags.Copy();
  GuardedValue<BITMAPINFOHEADER> otherHeader({});
  AccessWatch::Announcement announcement(lane_);
  Parameter passed = nullptr;
  if (!known) {
    passed = arguments.Request();
  } else if (random_.OneIn(8)) {
    BITMAPINFOHEADER other = begun;
    other.biHeight += 16;
    otherHeader.Set(other);
    arguments.fields.lpbiInput = otherHeader.Get();
    passed = arguments.Request();
  } else {
    passed = SpoilMemory(arguments, arguments.input, wall_, random_, announcement);
  }
  Expect(Send(instance.id, ICM_COMPRESS, passed, sizeof(ICCOMPRESS)), ICERR_OK);
  ++counts_.damaged;
  Check(ThisHostThread().debugTexts == 2, "no text about a fault");
  Check(arguments.GapsIntact(), "a write beside a frame");
  Check(arguments.flags.Holds(flags), "a key frame after a fault");
}

void RandomHost::Decompress(OpenInstance& instance) {
  if (random_.OneIn(16)) {
    Expect(Send(instance.id, ICM_DECOMPRESS, WildParameter(), WrongSize(sizeof(ICDECOMPRESS))),
           ICERR_BADPARAM);
    return;
  }
  if (!instance.model.decompressor) {
    Expect(Send(instance.id, ICM_DECOMPRESS, WildParameter(), sizeof(ICDECOMPRESS)), ICERR_ERROR);
    return;
  }
  switch (random_.Below(8)) {
    case 0:
    case 1:
      DecompressMutated(instance);
      break;
    case 2:
    case 3:
      DecompressDamaged(instance);
      break;
    default:
      DecompressSound(instance);
      break;
  }
}

BITMAPINFOHEADER RandomHost::MostlyBegunFormat(const BITMAPINFOHEADER& begun) {
  if (ReferenceFrames::FormatOf(begun) && ReferenceFrames::SizeOf(begun) && !random_.OneIn(6)) {
    return ReferenceFrames::HeaderOf(*ReferenceFrames::FormatOf(begun),
                                     *ReferenceFrames::SizeOf(begun));
  }
  return ReferenceFrames::HeaderOf(random_.Below(ReferenceFrames::kOutputFormats),
                                   random_.Below(ReferenceFrames::kSizes));
}

void RandomHost::DecompressSound(OpenInstance& instance) {
  const InstanceModel& model = instance.model;
  const BITMAPINFOHEADER& begun = model.decompressor->format;
  const BITMAPINFOHEADER header = MostlyBegunFormat(begun);
  const std::size_t size = ReferenceFrames::SizeOf(header).value_or(0);
  const std::vector<std::uint8_t> none;
  const bool empty = random_.OneIn(16);
  DecompressArguments arguments(header, BitmapBytes(header), empty ? none : references_.Frame(size),
                                random_);
  Expect(Send(instance.id, ICM_DECOMPRESS, arguments.Request(), sizeof(ICDECOMPRESS)), ICERR_OK);
  ++counts_.frames;
  Check(ThisHostThread().debugTexts == 0, "a text about a sound frame");
  Check(arguments.GapsIntact(), "a write beside a bitmap");
  if (empty || !SameFormat(header, begun)) {
    Check(arguments.IsUntouched(), "a bitmap written without a frame for it");
  } else if (!model.strayHeaders) {
    const std::size_t format = ReferenceFrames::FormatOf(header).value_or(0);
    // Whole: what a picture leaves alone, the fourth bytes of 32-bit pixels, began as it did there.
    Check(std::ranges::equal(arguments.output.Bytes(),
                             references_.Decompressed(format, size, model.FieldsChanged())),
          "a bitmap unlike the reference");
    ++counts_.comparisons;
  }
}

void RandomHost::DecompressMutated(OpenInstance& instance) {
  const BITMAPINFOHEADER& begun = instance.model.decompressor->format;
  // Neither the bitmap's size nor its format need be what was begun or what the frame is.
  BITMAPINFOHEADER header = MostlyBegunFormat(begun);
  std::size_t bytes = BitmapBytes(header);
  if (random_.OneIn(8)) {
    constexpr LONG kExtents[] = {0, -16, -0x7FFFFFFF};
    (random_.OneIn(2) ? header.biWidth : header.biHeight) = kExtents[random_.Below(3)];
    bytes = 1;
  }
  instance.model.strayHeaders = true;
  const auto& frame = references_.Frame(random_.Below(ReferenceFrames::kSizes));
  DecompressArguments arguments(header, bytes, random_.OneIn(4) ? frame : Mutated(frame, random_),
                                random_);
  Expect(Send(instance.id, ICM_DECOMPRESS, arguments.Request(), sizeof(ICDECOMPRESS)), ICERR_OK);
  ++counts_.damaged;
  Check(arguments.GapsIntact(), "a write beside a bitmap");
  Check(SameFormat(header, begun) || arguments.IsUntouched(), "a bitmap of another format written");
}

void RandomHost::DecompressDamaged(OpenInstance& instance) {
  const BITMAPINFOHEADER header = MostlyBegunFormat(instance.model.decompressor->format);
  const std::size_t size = ReferenceFrames::SizeOf(header).value_or(0);
  DecompressArguments arguments(header, BitmapBytes(header), references_.Frame(size), random_);
  AccessWatch::Announcement announcement(lane_);
  const Parameter passed = SpoilMemory(arguments, arguments.output, wall_, random_, announcement);
  Expect(Send(instance.id, ICM_DECOMPRESS, passed, sizeof(ICDECOMPRESS)), ICERR_OK);
  ++counts_.damaged;
  // A page that was blocked must not be read to look.
  arguments.output.Protect(GuardedBuffer::Access::readWrite);
  Check(arguments.GapsIntact(), "a write beside a bitmap");
}

}  // namespace qivm::test
