#include "tests/tools/cli_clips.h"

#include <windows.h>

#include <vfw.h>

#include <gtest/gtest.h>

#include "tools/vfwtool/base/files.h"

namespace vfwtool {

ReadAvi LoadAvi(const std::string& name) {
  ReadAvi avi;
  AVIFileInit();
  IAVIStream* stream = nullptr;
  const HRESULT opened = AVIStreamOpenFromFileW(&stream, PathOf(name).c_str(), streamtypeVIDEO, 0,
                                                OF_READ | OF_SHARE_DENY_WRITE, nullptr);
  if (SUCCEEDED(opened)) {
    AVISTREAMINFOW info{};
    EXPECT_EQ(AVIStreamInfoW(stream, &info, sizeof(info)), S_OK);
    avi.handler = info.fccHandler;
    avi.rate = {info.dwRate, info.dwScale};
    LONG bytes = 0;
    EXPECT_EQ(AVIStreamReadFormat(stream, 0, nullptr, &bytes), S_OK);
    avi.format.resize(static_cast<std::size_t>(bytes));
    EXPECT_EQ(AVIStreamReadFormat(stream, 0, avi.format.data(), &bytes), S_OK);
    for (LONG i = 0; i < static_cast<LONG>(info.dwLength); ++i) {
      Picture frame(info.dwSuggestedBufferSize);
      EXPECT_EQ(AVIStreamRead(stream, i, 1, frame.data(), static_cast<LONG>(frame.size()), &bytes,
                              nullptr),
                S_OK);
      frame.resize(static_cast<std::size_t>(bytes));
      avi.frames.push_back(frame);
      avi.areKeyFrames.push_back(AVIStreamFindSample(stream, i, FIND_KEY | FIND_PREV) == i);
    }
    AVIStreamRelease(stream);
  } else {
    ADD_FAILURE() << name << " is not opened by AVIFile";
  }
  AVIFileExit();
  return avi;
}

}  // namespace vfwtool
