# Windows, by a mingw compiler for CMAKE_SYSTEM_PROCESSOR. Where there is one for each thread model
# the posix one is taken: the tests' GoogleTest needs it, and what the short name means depends on
# the machine.
set(CMAKE_SYSTEM_NAME Windows)
set(prefix ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
find_program(QIVM_MINGW_CC NAMES ${prefix}-gcc-posix ${prefix}-gcc REQUIRED)
find_program(QIVM_MINGW_CXX NAMES ${prefix}-g++-posix ${prefix}-g++ REQUIRED)
set(CMAKE_C_COMPILER ${QIVM_MINGW_CC})
set(CMAKE_CXX_COMPILER ${QIVM_MINGW_CXX})
set(CMAKE_RC_COMPILER ${prefix}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
set(CMAKE_FIND_ROOT_PATH /usr/${prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
