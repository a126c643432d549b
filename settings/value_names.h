#pragma once

#include <cstddef>
#include <string_view>

/// Names of the stored values.
namespace qivm {

constexpr char kFieldsOrderValue[] = "ChangeFieldsOrder";
constexpr char kFourCCCountValue[] = "MPEG2NameCount";
constexpr char kFourCCPrefix[] = "MPEG2Name";
constexpr char kApplicationCountValue[] = "AppCount";
constexpr char kApplicationPrefix[] = "App";
constexpr char kCorrectStateValue[] = "Correct state";
constexpr char kDefectiveAppPrefix[] = "Application";

/// The name of one value of a list: the list's prefix and the entry's number. The lists have at
/// most 16 entries.
class ValueName {
 public:
  /// With the number in decimal; the lists of codes and applications count from 1.
  static ValueName Decimal(std::string_view prefix, std::size_t number);
  /// With the number as two upper-case hexadecimal digits; the list of defective applications
  /// counts from 0.
  static ValueName Hexadecimal(std::string_view prefix, std::size_t number);

  const char* Text() const { return text_; }

 private:
  static constexpr std::size_t kMaxPrefix = 24;
  static constexpr std::size_t kMaxDigits = 3;

  char text_[kMaxPrefix + kMaxDigits + 1] = {};
};

}  // namespace qivm
