#include "settings/settings_reader.h"

#include <algorithm>
#include <optional>

#include "settings/value_names.h"

namespace qivm {

namespace {

using Result = ValueSource::Result;

template <typename Word>
Result ReadWord(const ValueSource& source, const char* name, Word& word) {
  static_assert(sizeof(Word) == 4);
  return source.Read(name, {reinterpret_cast<char*>(&word), sizeof(word)});
}

/// A value that must be a whole 32-bit number.
template <typename Word>
std::optional<Word> ReadDword(const ValueSource& source, const char* name) {
  Word word = 0;
  const Result result = ReadWord(source, name, word);
  if (!result.read || result.type != ValueType::dword || result.bytes != sizeof(word)) {
    return std::nullopt;
  }
  return word;
}

/// How many entries a stored count asks for: a signed number, zero or below asks for none.
std::size_t EntryCount(std::int32_t stored, std::size_t limit) {
  return stored <= 0 ? 0 : std::min(static_cast<std::size_t>(stored), limit);
}

}  // namespace

bool ReadCodecValues(const ValueSource& source, CodecSettings& settings) {
  const auto fieldsOrder = ReadDword<std::uint32_t>(source, kFieldsOrderValue);
  if (!fieldsOrder || *fieldsOrder > 1) {
    return false;
  }
  settings.changeFieldsOrder = *fieldsOrder;

  const auto stored = ReadDword<std::int32_t>(source, kFourCCCountValue);
  if (!stored) {
    return false;
  }
  const std::size_t count = EntryCount(*stored, kMaxFourCCs);
  bool sound = true;
  for (std::size_t i = 0; i < count; ++i) {
    FourCC& entry = settings.fourCCList[i];
    const ValueName name = ValueName::Decimal(kFourCCPrefix, i + 1);
    const Result result = ReadWord(source, name.Text(), entry);
    if (result.read && result.type == ValueType::dword) {
      entry = UpperCaseFourCC(entry);
    } else {
      sound = false;
    }
  }
  return sound;
}

bool ReadApplicationValues(const ValueSource& source, CodecSettings& settings) {
  const auto stored = ReadDword<std::int32_t>(source, kApplicationCountValue);
  if (!stored) {
    return false;
  }
  const std::size_t count = EntryCount(*stored, kMaxApplications);
  bool sound = true;
  for (std::size_t i = 0; i < count; ++i) {
    std::array<char, kApplicationNameBytes>& entry = settings.applicationList[i];
    const ValueName name = ValueName::Decimal(kApplicationPrefix, i + 1);
    const Result result = source.Read(name.Text(), entry);
    // A string may fill its entry without a terminator.
    entry.back() = '\0';
    sound = sound && result.read && result.type == ValueType::string;
  }
  return sound;
}

bool ReadDefectiveAppValues(const ValueSource& source, DefectiveAppList& list) {
  list = {};
  std::uint32_t state = 0;
  if (!ReadWord(source, kCorrectStateValue, state).read || state != 1) {
    return false;
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    // The entry's last byte is not read into and stays the terminator.
    const std::span<char> buffer(list[i].data(), list[i].size() - 1);
    const ValueName name = ValueName::Hexadecimal(kDefectiveAppPrefix, i);
    if (!source.Read(name.Text(), buffer).read) {
      list[i] = {};
      break;
    }
  }
  return true;
}

}  // namespace qivm
