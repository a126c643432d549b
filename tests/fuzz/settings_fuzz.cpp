// Registry values of any name, type, length and content through the settings loader.

#include <algorithm>
#include <memory>

#include "settings/settings_reader.h"
#include "tests/fuzz/fuzz_input.h"

namespace qivm::test {

namespace {

/// Answers every question with the next bytes of the input.
class AnySource final : public ValueSource {
 public:
  explicit AnySource(FuzzedDataProvider& input) : input_(input) {}

  Result Read(const char* name, std::span<char> buffer) const override {
    Require(name != nullptr && *name != '\0', "every value has a name");
    Result result;
    result.read = input_.ConsumeIntegralInRange(0, 7) != 0;
    result.type = input_.ConsumeIntegralInRange(0, 7) == 0
                      ? static_cast<ValueType>(input_.ConsumeIntegral<std::uint32_t>())
                      : input_.PickValueInArray({ValueType::string, ValueType::dword});
    const auto bytes =
        input_.ConsumeBytes<char>(input_.ConsumeIntegralInRange<std::size_t>(0, buffer.size()));
    std::copy(bytes.begin(), bytes.end(), buffer.begin());
    result.bytes = bytes.size();
    return result;
  }

 private:
  FuzzedDataProvider& input_;
};

template <typename List>
void RequireTerminated(const List& list) {
  for (const auto& entry : list) {
    Require(std::find(entry.begin(), entry.end(), '\0') != entry.end(),
            "names end inside their entries");
  }
}

void Fuzz(FuzzedDataProvider& input) {
  const AnySource source(input);
  CodecSettings settings;
  const bool codec = ReadCodecValues(source, settings);
  Require(settings.changeFieldsOrder <= 1, "the field order is 0 or 1");
  Require(settings.handlerFourCC == kQivm, "the handler is not a setting");
  if (codec) {
    for (const FourCC code : settings.fourCCList) {
      Require(code == UpperCaseFourCC(code), "codes are upper-case");
    }
  }
  ReadApplicationValues(source, settings);
  RequireTerminated(settings.applicationList);

  const auto list = std::make_unique<DefectiveAppList>();
  const bool complete = ReadDefectiveAppValues(source, *list);
  RequireTerminated(*list);
  Require(complete || list->front().front() == '\0', "an incomplete list is empty");
}

}  // namespace

}  // namespace qivm::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  qivm::test::Fuzz(input);
  return 0;
}
