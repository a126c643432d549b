#include "settings/value_names.h"

#include <charconv>

namespace qivm {

ValueName ValueName::Decimal(std::string_view prefix, std::size_t number) {
  ValueName name;
  char* const digits = name.text_ + prefix.copy(name.text_, kMaxPrefix);
  std::to_chars(digits, digits + kMaxDigits, number);
  return name;
}

ValueName ValueName::Hexadecimal(std::string_view prefix, std::size_t number) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  ValueName name;
  char* const digits = name.text_ + prefix.copy(name.text_, kMaxPrefix);
  digits[0] = kDigits[number / 16 % 16];
  digits[1] = kDigits[number % 16];
  return name;
}

}  // namespace qivm
