#include "settings/file_name.h"

#include <gtest/gtest.h>

namespace qivm {
namespace {

const char* NextCharacter(const char* text) { return *text == '\0' ? text : text + 1; }

/// As code page 932 has it: bytes from 0x81 to 0x9f begin a character of two bytes.
const char* NextDoubleByteCharacter(const char* text) {
  const auto byte = static_cast<unsigned char>(*text);
  return NextCharacter(byte >= 0x81 && byte <= 0x9f ? NextCharacter(text) : text);
}

const char* EnteredName(const char* path) { return FileNamePart(path, "\\/:", NextCharacter); }

TEST(FileNamePart, IsWhatStandsBehindTheLastSeparator) {
  EXPECT_STREQ(EnteredName("C:\\Apps\\Editor.exe"), "Editor.exe");
  EXPECT_STREQ(EnteredName("C:/Apps/Editor.exe"), "Editor.exe");
  EXPECT_STREQ(EnteredName("C:Editor.exe"), "Editor.exe");
  EXPECT_STREQ(EnteredName("a\\b/c:d"), "d");
  EXPECT_STREQ(EnteredName("a:b\\c/d"), "d");
  EXPECT_STREQ(EnteredName("Editor.exe"), "Editor.exe");
}

TEST(FileNamePart, HasNoOtherSeparators) {
  EXPECT_STREQ(FileNamePart("C:\\Apps/a:Editor.exe", "\\", NextCharacter), "Apps/a:Editor.exe");
}

TEST(FileNamePart, IsEmptyBehindASeparatorAtTheEnd) {
  EXPECT_STREQ(EnteredName("C:\\Apps\\"), "");
  EXPECT_STREQ(EnteredName(""), "");
}

TEST(FileNamePart, IsNotCutInsideACharacter) {
  // The second byte of this character is that of a backslash.
  EXPECT_STREQ(FileNamePart("C:\\\x95\x5c.exe", "\\/:", NextDoubleByteCharacter), "\x95\x5c.exe");
}

}  // namespace
}  // namespace qivm
