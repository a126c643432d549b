#pragma once

// QIVM_BEGIN_TARGET and QIVM_END_TARGET enclose functions that are compiled for a wider instruction
// set than the rest of their file.

#define QIVM_PRAGMA(text) _Pragma(#text)
#if defined(__clang__)
#define QIVM_BEGIN_TARGET(name) \
  QIVM_PRAGMA(clang attribute push(__attribute__((target(name))), apply_to = function))
#define QIVM_END_TARGET QIVM_PRAGMA(clang attribute pop)
#else
#define QIVM_BEGIN_TARGET(name) QIVM_PRAGMA(GCC push_options) QIVM_PRAGMA(GCC target(name))
#define QIVM_END_TARGET QIVM_PRAGMA(GCC pop_options)
#endif
