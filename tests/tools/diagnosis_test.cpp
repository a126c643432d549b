#include "tools/vfwtool/codecs/diagnosis.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

CodecRegistration Sound(unsigned bits, bool isTried) {
  return {.bits = bits,
          .mayWrite = true,
          .registered = "test.dll",
          .path = "C:\\Windows\\test.dll",
          .exists = true,
          .fileBits = bits,
          .isTried = isTried,
          .hasEntryPoint = isTried};
}

Diagnosis SoundDiagnosis() {
  return {.code = "TEST"_fourcc,
          .toolBits = 32,
          .systemBits = 64,
          .registrations = {Sound(32, true), Sound(64, false)},
          .opensForCompression = true,
          .opensForDecompression = true,
          .answering = {{"TEST"_fourcc, "", "", "test.dll"}}};
}

TEST(Diagnosis, ASoundCodecIsUsable) {
  const Diagnosis diagnosis = SoundDiagnosis();
  EXPECT_TRUE(diagnosis.IsUsable());
  EXPECT_EQ(diagnosis.Text(),
            "codec TEST, as this 32-bit program sees it on a 64-bit system\n"
            "  for 32-bit    test.dll (C:\\Windows\\test.dll, 32-bit, can be loaded)\n"
            "  for 64-bit    test.dll (C:\\Windows\\test.dll, 64-bit)\n"
            "  rights        this user can register codecs\n"
            "  compresses    yes\n"
            "  decompresses  yes\n"
            "  all codecs of 32-bit programs:\n"
            "    TEST (test.dll)\n"
            "Nothing is wrong.\n");
  const std::string json = diagnosis.Json().Print();
  EXPECT_TRUE(Contains(json, "\"usable\": true")) << json;
  EXPECT_TRUE(Contains(json, "\"problem\": \"\"")) << json;
}

TEST(Diagnosis, EveryDefectHasItsAdvice) {
  struct Case {
    void (*damage)(Diagnosis&);
    const char* problem;
  };
  const Case cases[] = {
      {[](Diagnosis& d) { d.registrations[0].registered.clear(); },
       "32-bit programs do not see the codec: vidc.TEST is not registered for them."},
      {[](Diagnosis& d) { d.registrations[0].exists = false; },
       "32-bit programs cannot load the codec: there is no C:\\Windows\\test.dll. Copy the 32-bit"},
      {[](Diagnosis& d) { d.registrations[0].fileBits = 64; },
       "C:\\Windows\\test.dll is a 64-bit library. Replace it by the 32-bit driver"},
      {[](Diagnosis& d) { d.registrations[0].fileBits = 0; }, "is no Windows library"},
      {[](Diagnosis& d) { d.registrations[0].loadError = "the reason (error 126)"; },
       "C:\\Windows\\test.dll: the reason (error 126)"},
      {[](Diagnosis& d) { d.registrations[0].hasEntryPoint = false; },
       "it does not export DriverProc"},
      {[](Diagnosis& d) { d.opensForCompression = d.opensForDecompression = false; },
       "does not open as a codec of the code TEST"},
  };
  for (const Case& entry : cases) {
    Diagnosis diagnosis = SoundDiagnosis();
    entry.damage(diagnosis);
    EXPECT_FALSE(diagnosis.IsUsable());
    const std::string problem = diagnosis.Problem(diagnosis.registrations[0]);
    EXPECT_TRUE(Contains(problem, entry.problem)) << problem;
    EXPECT_TRUE(diagnosis.Text().ends_with(problem + ".\n")) << diagnosis.Text();
    EXPECT_TRUE(Contains(diagnosis.Json().Print(), "\"usable\": false"));
  }
}

TEST(Diagnosis, TheOtherBitnessIsToldButDoesNotCount) {
  Diagnosis diagnosis = SoundDiagnosis();
  diagnosis.registrations[1].registered.clear();
  diagnosis.registrations[1].mayWrite = false;
  EXPECT_TRUE(diagnosis.IsUsable());
  EXPECT_TRUE(Contains(diagnosis.Text(), "64-bit programs do not see the codec"));
  EXPECT_TRUE(Contains(diagnosis.Text(), "this user cannot register codecs"));
  // A codec that opens one way only is one.
  diagnosis.opensForCompression = false;
  EXPECT_TRUE(diagnosis.IsUsable());
}

TEST(ProgramBits, AreReadFromTheHeader) {
  const TemporaryFile file(".dll");
  EXPECT_EQ(ProgramBits(file.Name()), 0U);
  const std::string start = "MZ" + std::string(0x3A, '\0') + std::string("\x40\0\0\0", 4);
  for (const auto& [header, bits] :
       {std::pair{std::string("PE\0\0\x4C\x01", 6), 32U},
        std::pair{std::string("PE\0\0\x64\x86", 6), 64U},
        std::pair{std::string("PE\0\0\x01\x02", 6), 0U}, std::pair{std::string("NE"), 0U}}) {
    file.Store(start + header);
    EXPECT_EQ(ProgramBits(file.Name()), bits);
  }
  file.Store("#!/bin/sh\n" + std::string(100, ' '));
  EXPECT_EQ(ProgramBits(file.Name()), 0U);
}

}  // namespace
}  // namespace vfwtool
