#include "tests/robustness/options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qivm::test {

namespace {

bool Read(const char* name, const char* text, std::initializer_list<NumberOption> options) {
  for (const NumberOption& option : options) {
    if (std::strcmp(name, option.name) == 0) {
      char* end = nullptr;
      option.value = std::strtoull(text, &end, 10);
      return end != text && *end == '\0' && *text != '-';
    }
  }
  return false;
}

}  // namespace

bool ReadOptions(int argumentCount, char** arguments, std::initializer_list<NumberOption> options) {
  bool sound = argumentCount % 2 == 1;
  for (int i = 1; sound && i < argumentCount; i += 2) {
    sound = Read(arguments[i], arguments[i + 1], options);
  }
  if (!sound) {
    std::fprintf(stderr, "options:");
    for (const NumberOption& option : options) {
      std::fprintf(stderr, " %s N", option.name);
    }
    std::fprintf(stderr, "\n");
  }
  return sound;
}

}  // namespace qivm::test
