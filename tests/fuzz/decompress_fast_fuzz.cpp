// Frames of any bytes through decompressors that live as long as the program: no memory, no thread
// and no page is asked for on the way, so that many times as many frames are tried as under a
// sanitizer. Inaccessible pages lie at both ends of frame and bitmap. Every input is decoded twice,
// with other kernels, on more threads, in the other order of lines or into another format, and both
// must show the same.

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>

#include "tests/core/kernel_tiers.h"
#include "tests/fuzz/frames_input.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_stream.h"

namespace qivm::test {

namespace {

constexpr std::uint8_t kBackground = 0x55;

/// Memory that begins and ends with a page.
class Arena {
 public:
  static constexpr std::size_t kSize = std::size_t{1} << 17;

  /// Its first or last bytes.
  std::span<std::uint8_t> Take(std::size_t size, Edge edge) const {
    return edge == Edge::first ? buffer_.Bytes().first(size) : buffer_.Bytes().last(size);
  }

 private:
  GuardedBuffer buffer_{kSize};
};

/// One way to decode: into what, by which kernels, on how many threads.
struct Way {
  ClientFormat format;
  KernelTier tier;
  unsigned threads = 1;
  Edge edge = Edge::first;
  bool invertOrder = false;
};

Bytes EmptyFrame() {
  ModelPicture picture;
  picture.width = 16;
  picture.height = 16;
  BitString bits;
  PutHeaders(bits, picture);
  PutSequenceEnd(bits);
  return bits.Bytes();
}

class Decoders {
 public:
  /// Decodes the frames of an input into a bitmap of `place`'s. It holds what it showed until it is
  /// used again.
  std::span<const std::uint8_t> Decode(const FramesInput& input, const Way& way,
                                       const Arena& place) {
    const int width = 16 * input.columns;
    const int height = 16 * input.rows;
    DecompressorContext& context = Context(input, way);
    const BitmapInfoHeader header = UncompressedHeader(way.format, width, height);
    const auto bitmap = place.Take(BitmapBytes(way.format, width, height), way.edge);
    std::ranges::fill(bitmap, kBackground);
    // Headers that end early leave those of the frame before in force: it is always the same one.
    static const Bytes empty = EmptyFrame();
    DecodeFrom(context, {empty, false}, way, header, bitmap);
    for (std::size_t i = 0; i < input.count; ++i) {
      const FramesInput::Frame& frame = input.frames[i];
      DecodeFrom(context, {frame.bytes, frame.shifted != way.invertOrder}, way, header, bitmap);
    }
    return bitmap;
  }

 private:
  void DecodeFrom(DecompressorContext& context, const FramesInput::Frame& frame, const Way& way,
                  const BitmapInfoHeader& header, std::span<std::uint8_t> bitmap) {
    const auto bytes = frame_.Take(frame.bytes.size(), way.edge);
    std::ranges::copy(frame.bytes, bytes.begin());
    DecodeSoundly(context, frame, bytes.data(), header, bitmap.data());
    Require(std::ranges::equal(frame.bytes, bytes), "the frame is only read");
  }

  DecompressorContext& Context(const FramesInput& input, const Way& way) {
    auto& context = contexts_[{way.format, input.columns, input.rows, way.tier, way.threads}];
    if (context == nullptr) {
      context.reset(new DecompressorContext);
      Require(context->Begin(UncompressedHeader(way.format, 16 * input.columns, 16 * input.rows),
                             {way.tier, way.threads, 1}),
              "every size is decoded");
    }
    return *context;
  }

  Arena frame_;
  std::map<std::tuple<ClientFormat, int, int, KernelTier, unsigned>,
           std::unique_ptr<DecompressorContext>>
      contexts_;
};

/// Whether two bitmaps of RGB formats show the same.
bool SameRgb(std::span<const std::uint8_t> rgb24, std::span<const std::uint8_t> rgb32) {
  for (std::size_t i = 0; 3 * i < rgb24.size(); ++i) {
    if (std::memcmp(&rgb24[3 * i], &rgb32[4 * i], 3) != 0) {
      return false;
    }
  }
  return true;
}

bool SamePlanes(const Planes& a, const Planes& b) {
  return a.luma == b.luma && a.cb == b.cb && a.cr == b.cr;
}

class Comparison {
 public:
  void Run(const FramesInput& input) {
    const bool swap = (input.hash >> 6 & 1) != 0;
    one_ = {input.format, machine_, 1, swap ? Edge::last : Edge::first};
    other_ = {input.format, machine_, 1, swap ? Edge::first : Edge::last};
    const unsigned choice = input.hash & 63;
    if (choice == 0) {
      CompareThreads(input);
    } else if (choice < 4) {
      CompareOrders(input);
    } else if (choice < 6) {
      CompareFormats(input);
    } else {
      // The plain kernels take a multiple of the others' time.
      const bool plain = choice < 14 || machine_ < KernelTier::sse2;
      other_.tier = plain ? KernelTier::plain : KernelTier::sse2;
      Require(std::ranges::equal(decoders_.Decode(input, one_, a_),
                                 decoders_.Decode(input, other_, b_)),
              "all kernels make the same pixels");
    }
  }

 private:
  void CompareThreads(const FramesInput& input) {
    // Not all sizes and formats: that would be a thousand threads.
    FramesInput shared = input;
    shared.columns = 2;
    one_.format = other_.format = IsRgb(input.format) ? ClientFormat::rgb24 : ClientFormat::yuy2;
    other_.threads = kThreadCounts[1 + (input.hash >> 8) % (kThreadCounts.size() - 1)];
    Require(std::ranges::equal(decoders_.Decode(shared, one_, a_),
                               decoders_.Decode(shared, other_, b_)),
            "any number of threads makes the same pixels");
  }

  void CompareOrders(const FramesInput& input) {
    FramesInput first = input;
    first.count = 1;
    first.frames[0].shifted = false;
    const auto plain = decoders_.Decode(first, one_, a_);
    other_.invertOrder = true;
    const auto shifted = decoders_.Decode(first, other_, b_);
    const auto isBackground = [](std::uint8_t byte) { return byte == kBackground; };
    Require(std::ranges::all_of(shifted, isBackground) ||
                std::ranges::equal(shifted, RotatedRows(one_.format, 16 * input.columns,
                                                        16 * input.rows, plain, 1)),
            "the shifted picture is the plain one, a line further down");
  }

  void CompareFormats(const FramesInput& input) {
    if (IsRgb(input.format)) {
      one_.format = ClientFormat::rgb24;
      other_.format = ClientFormat::rgb32;
      Require(SameRgb(decoders_.Decode(input, one_, a_), decoders_.Decode(input, other_, b_)),
              "both RGB formats show the same");
      return;
    }
    other_.format = input.format == ClientFormat::yuy2 ? ClientFormat::y16 : ClientFormat::yuy2;
    const int width = 16 * input.columns;
    const int height = 16 * input.rows;
    Require(SamePlanes(PlanesOf(one_.format, width, height, decoders_.Decode(input, one_, a_)),
                       PlanesOf(other_.format, width, height, decoders_.Decode(input, other_, b_))),
            "all YUV formats show the same");
  }

  const KernelTier machine_ = Processor::Current().tier;
  Way one_ = {};
  Way other_ = {};
  Arena a_;
  Arena b_;
  Decoders decoders_;
};

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static qivm::test::Comparison comparison;
  comparison.Run(qivm::test::ReadFrames({data, std::min(size, qivm::test::Arena::kSize)}));
  return 0;
}
