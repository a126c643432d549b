#include "tests/support/model_stream.h"

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

constexpr std::uint32_t kSequenceHeaderCode = 0x1B3;
constexpr std::uint32_t kExtensionStartCode = 0x1B5;
constexpr std::uint32_t kGroupStartCode = 0x1B8;
constexpr std::uint32_t kUserDataStartCode = 0x1B2;
constexpr std::uint32_t kPictureStartCode = 0x100;
constexpr std::uint32_t kSequenceEndCode = 0x1B7;
constexpr std::uint32_t kFirstSliceStartCode = 0x101;
constexpr std::uint32_t kLastSliceStartCode = 0x1AF;

std::uint64_t Bits(int value) { return static_cast<std::uint64_t>(value); }

Component ComponentOf(std::size_t block) {
  if (block < 4) {
    return Component::luma;
  }
  return block % 2 == 0 ? Component::cb : Component::cr;
}

const std::array<std::string_view, 12>& DcCodes(Component component) {
  return component == Component::luma ? kReferenceDcLuma : kReferenceDcChroma;
}

}  // namespace

void PutSequenceHeader(BitString& bits, const ModelPicture& picture) {
  bits.PutStartCode(kSequenceHeaderCode).Put(Bits(picture.width & 0xFFF), 12);
  bits.Put(Bits(picture.height & 0xFFF), 12);
  bits.Put(2, 4).Put(3, 4).Put(125000, 18).Put(1, 1).Put(373, 10).Put(0, 1);
  bits.Put(picture.matrixFlags, 2);
  if (picture.matrixFlags != 0) {
    const Bytes weights(128, 32);
    bits.PutBytes(weights);
  }
}

void PutSequenceExtension(BitString& bits, const ModelPicture& picture) {
  bits.PutStartCode(kExtensionStartCode).Put(1, 4).Put(0x85, 8).Put(0, 1);
  bits.Put(Bits(picture.chromaFormat), 2);
  bits.Put(Bits(picture.width >> 12), 2).Put(Bits(picture.height >> 12), 2);
  bits.Put(0, 12).Put(1, 1).Put(0, 8).Put(0, 1).Put(0, 2).Put(0, 5);
}

void PutSequenceDisplayExtension(BitString& bits, const ModelPicture& picture) {
  bits.PutStartCode(kExtensionStartCode).Put(2, 4).Put(5, 3).Put(1, 1);
  bits.Put(5, 8).Put(5, 8).Put(4, 8);
  bits.Put(Bits(picture.width), 14).Put(1, 1).Put(Bits(picture.height), 14);
}

void PutGroupHeader(BitString& bits) {
  bits.PutStartCode(kGroupStartCode).Put(0, 12).Put(1, 1).Put(0, 12).Put(1, 1).Put(0, 1);
}

void PutUserData(BitString& bits, std::string_view text) {
  bits.PutStartCode(kUserDataStartCode);
  for (const char character : text) {
    bits.Put(static_cast<unsigned char>(character), 8);
  }
  bits.Put(0, 8);
}

void PutPictureHeader(BitString& bits, int pictureCodingType) {
  bits.PutStartCode(kPictureStartCode).Put(0, 10).Put(Bits(pictureCodingType), 3);
  bits.Put(0xFFFF, 16).Put(0, 1);
}

void PutPictureCodingExtension(BitString& bits, const ModelPicture& picture) {
  bits.PutStartCode(kExtensionStartCode).Put(8, 4).Put(0xFFFF, 16);
  bits.Put(Bits(picture.intraDcPrecision), 2).Put(Bits(picture.pictureStructure), 2);
  bits.Put(1, 1).Put(Bits(picture.framePredFrameDct), 1).Put(0, 1);
  bits.Put(Bits(picture.qScaleType), 1).Put(Bits(picture.intraVlcFormat), 1);
  bits.Put(Bits(picture.alternateScan), 1).Put(0, 4);
}

void PutHeaders(BitString& bits, const ModelPicture& picture) {
  PutSequenceHeader(bits, picture);
  PutSequenceExtension(bits, picture);
  PutSequenceDisplayExtension(bits, picture);
  PutGroupHeader(bits);
  PutUserData(bits);
  PutPictureHeader(bits);
  PutPictureCodingExtension(bits, picture);
}

void PutSliceHeader(BitString& bits, const ModelSlice& slice) {
  bits.PutStartCode(kFirstSliceStartCode + static_cast<std::uint32_t>(slice.row));
  bits.Put(Bits(slice.quantiserCode), 5);
  if (slice.intraSliceFlag) {
    bits.Put(1, 1).Put(1, 1).Put(0, 7);
    for (const std::uint8_t byte : slice.extraInformation) {
      bits.Put(1, 1).Put(byte, 8);
    }
  }
  bits.Put(0, 1);
}

void PutBlock(BitString& bits, const Block& levels, Component component, int& predictor) {
  const int difference = levels[0] - predictor;
  predictor = levels[0];
  int size = 0;
  while (std::abs(difference) >= 1 << size) {
    ++size;
  }
  bits.Put(DcCodes(component).at(static_cast<std::size_t>(size)));
  if (size > 0) {
    bits.Put(Bits(difference > 0 ? difference : difference + (1 << size) - 1),
             static_cast<unsigned>(size));
  }
  int run = 0;
  for (std::size_t i = 1; i < levels.size(); ++i) {
    const int level = levels[i];
    if (level == 0) {
      ++run;
      continue;
    }
    if (const ReferenceRunLevel* const code = FindRunLevel(run, std::abs(level))) {
      bits.Put(code->bits, code->length).PutBit(level < 0);
    } else {
      bits.Put(kReferenceEscape).Put(Bits(run), 6).Put(Bits(level & 0xFFF), 12);
    }
    run = 0;
  }
  bits.Put(kReferenceEndOfBlock);
}

void PutSlice(BitString& bits, const ModelPicture& picture, const ModelSlice& slice) {
  PutSliceHeader(bits, slice);
  std::array<int, 3> predictors = {};
  predictors.fill(picture.DcReset());
  bool first = slice.row == 0;
  for (const ModelMacroblock& macroblock : slice.macroblocks) {
    bits.Put(first ? "0" : "1");
    first = false;
    bits.Put(macroblock.quantiserCode == 0 ? "1" : "01");
    if (picture.HasDctType()) {
      bits.PutBit(macroblock.fieldDct);
    }
    if (macroblock.quantiserCode != 0) {
      bits.Put(Bits(macroblock.quantiserCode), 5);
    }
    for (std::size_t i = 0; i < macroblock.blocks.size(); ++i) {
      const Component component = ComponentOf(i);
      PutBlock(bits, macroblock.blocks[i], component,
               predictors[static_cast<std::size_t>(component)]);
    }
  }
}

void PutSequenceEnd(BitString& bits) { bits.PutStartCode(kSequenceEndCode); }

Bytes StreamOf(const ModelPicture& picture, int splitSlice) {
  BitString bits;
  PutHeaders(bits, picture);
  int index = 0;
  for (const ModelSlice& slice : picture.slices) {
    if (index == splitSlice) {
      bits.AlignTo(16);
    }
    PutSlice(bits, picture, slice);
    ++index;
  }
  if (index == splitSlice) {
    bits.AlignTo(16);
  }
  PutSequenceEnd(bits);
  return bits.Bytes();
}

namespace {

[[noreturn]] void Reject(const char* reason) { throw std::runtime_error(reason); }

/// One start code with the bytes up to the next.
struct Unit {
  std::uint32_t code;
  std::span<const std::uint8_t> payload;
};

std::vector<Unit> SplitUnits(std::span<const std::uint8_t> stream) {
  std::vector<Unit> units;
  std::size_t begin = 0;
  for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      if (!units.empty()) {
        units.back().payload = stream.subspan(begin, i - begin);
      }
      units.push_back({0x100U | stream[i + 3], {}});
      begin = i + 4;
    }
  }
  if (!units.empty()) {
    units.back().payload = stream.subspan(begin);
  }
  return units;
}

/// Reads bit after bit until they are one of the codes.
template <typename Value>
class Decoder {
 public:
  void Add(unsigned length, std::uint32_t bits, Value value) { codes_[{length, bits}] = value; }
  void Add(std::string_view code, Value value) {
    std::uint32_t bits = 0;
    for (const char digit : code) {
      bits = bits << 1 | (digit == '1' ? 1U : 0U);
    }
    Add(static_cast<unsigned>(code.size()), bits, value);
  }
  Value Read(BitCursor& cursor) const {
    std::uint32_t bits = 0;
    for (unsigned length = 1; length <= 17; ++length) {
      bits = bits << 1 | cursor.Take(1);
      const auto found = codes_.find({length, bits});
      if (found != codes_.end()) {
        return found->second;
      }
    }
    Reject("a code that no table has");
  }

 private:
  std::map<std::pair<unsigned, std::uint32_t>, Value> codes_;
};

struct RunLevel {
  enum Kind : std::uint8_t { coded, escape, endOfBlock } kind = coded;
  int run = 0;
  int level = 0;
};

const Decoder<RunLevel>& RunLevelDecoder() {
  static const Decoder<RunLevel> kDecoder = [] {
    Decoder<RunLevel> decoder;
    decoder.Add(kReferenceEndOfBlock, {RunLevel::endOfBlock});
    decoder.Add(kReferenceEscape, {RunLevel::escape});
    for (const ReferenceRunLevel& entry : kReferenceRunLevels) {
      decoder.Add(entry.length + 1, entry.bits << 1, {RunLevel::coded, entry.run, entry.level});
      decoder.Add(entry.length + 1, entry.bits << 1 | 1,
                  {RunLevel::coded, entry.run, -entry.level});
    }
    return decoder;
  }();
  return kDecoder;
}

const Decoder<int>& DcSizeDecoder(Component component) {
  static const auto kDecoders = [] {
    std::array<Decoder<int>, 2> decoders;
    for (std::size_t i = 0; i < decoders.size(); ++i) {
      const auto& codes = DcCodes(i == 0 ? Component::luma : Component::cb);
      for (std::size_t size = 0; size < codes.size(); ++size) {
        decoders[i].Add(codes[size], static_cast<int>(size));
      }
    }
    return decoders;
  }();
  return kDecoders[component == Component::luma ? 0 : 1];
}

Block ParseBlock(BitCursor& cursor, Component component, int& predictor) {
  Block levels = {};
  const int size = DcSizeDecoder(component).Read(cursor);
  if (size > 0) {
    const int value = static_cast<int>(cursor.Take(static_cast<unsigned>(size)));
    predictor += value < 1 << (size - 1) ? value - (1 << size) + 1 : value;
  }
  levels[0] = static_cast<std::int16_t>(predictor);
  std::size_t position = 0;
  for (;;) {
    RunLevel code = RunLevelDecoder().Read(cursor);
    if (code.kind == RunLevel::endOfBlock) {
      return levels;
    }
    if (code.kind == RunLevel::escape) {
      code.run = static_cast<int>(cursor.Take(6));
      const int level = static_cast<int>(cursor.Take(12));
      code.level = level >= 2048 ? level - 4096 : level;
    }
    position += static_cast<std::size_t>(code.run) + 1;
    if (position >= levels.size()) {
      Reject("a run past the end of its block");
    }
    levels[position] = static_cast<std::int16_t>(code.level);
  }
}

ModelSlice ParseSlice(const ModelPicture& picture, const Unit& unit) {
  BitCursor cursor(unit.payload);
  ModelSlice slice;
  slice.row = static_cast<int>(unit.code - kFirstSliceStartCode);
  slice.quantiserCode = static_cast<int>(cursor.Take(5));
  slice.intraSliceFlag = cursor.Take(1) == 1;
  if (slice.intraSliceFlag) {
    cursor.Take(8);
    while (cursor.Take(1) == 1) {
      slice.extraInformation.push_back(static_cast<std::uint8_t>(cursor.Take(8)));
    }
  }
  std::array<int, 3> predictors = {};
  predictors.fill(picture.DcReset());
  for (int column = 0; column < picture.Columns(); ++column) {
    ModelMacroblock& macroblock = slice.macroblocks.emplace_back();
    const bool first = slice.row == 0 && column == 0;
    if (cursor.Take(1) == (first ? 1U : 0U)) {
      Reject("a macroblock_address_increment that is not the codec's");
    }
    const bool withQuant = cursor.Take(1) == 0;
    if (withQuant && cursor.Take(1) == 0) {
      Reject("a macroblock_type that is not intra");
    }
    // Without dct_type the frame arrangement is what frame_pred_frame_dct says.
    macroblock.fieldDct =
        picture.HasDctType() ? cursor.Take(1) == 1 : picture.framePredFrameDct == 0;
    if (withQuant) {
      macroblock.quantiserCode = static_cast<int>(cursor.Take(5));
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(picture.BlockCount()); ++i) {
      const Component component = ComponentOf(i);
      macroblock.blocks.push_back(
          ParseBlock(cursor, component, predictors[static_cast<std::size_t>(component)]));
    }
  }
  if (cursor.PastEnd()) {
    Reject("a slice that ends before its last macroblock");
  }
  while (cursor.Position() < 8 * unit.payload.size()) {
    if (cursor.Take(1) != 0) {
      Reject("something other than zeros behind a slice");
    }
  }
  return slice;
}

void ParseExtension(ModelPicture& picture, const Unit& unit) {
  BitCursor cursor(unit.payload);
  const std::uint32_t identifier = cursor.Take(4);
  if (identifier == 1) {
    cursor.Take(9);
    picture.chromaFormat = static_cast<int>(cursor.Take(2));
    picture.width |= static_cast<int>(cursor.Take(2) << 12);
    picture.height |= static_cast<int>(cursor.Take(2) << 12);
  } else if (identifier == 8) {
    cursor.Take(16);
    picture.intraDcPrecision = static_cast<int>(cursor.Take(2));
    picture.pictureStructure = static_cast<int>(cursor.Take(2));
    cursor.Take(1);
    picture.framePredFrameDct = static_cast<int>(cursor.Take(1));
    cursor.Take(1);
    picture.qScaleType = static_cast<int>(cursor.Take(1));
    picture.intraVlcFormat = static_cast<int>(cursor.Take(1));
    picture.alternateScan = static_cast<int>(cursor.Take(1));
  }
}

}  // namespace

ModelPicture ParsePicture(std::span<const std::uint8_t> stream) {
  ModelPicture picture;
  bool ended = false;
  for (const Unit& unit : SplitUnits(stream)) {
    if (ended) {
      Reject("something behind the sequence end code");
    }
    if (unit.code == kSequenceHeaderCode) {
      BitCursor cursor(unit.payload);
      picture.width = static_cast<int>(cursor.Take(12));
      picture.height = static_cast<int>(cursor.Take(12));
    } else if (unit.code == kExtensionStartCode) {
      ParseExtension(picture, unit);
    } else if (unit.code >= kFirstSliceStartCode && unit.code <= kLastSliceStartCode) {
      picture.slices.push_back(ParseSlice(picture, unit));
    }
    ended = unit.code == kSequenceEndCode;
  }
  if (!ended) {
    Reject("no sequence end code");
  }
  return picture;
}

}  // namespace qivm::test
