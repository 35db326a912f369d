# Cross toolchain for the Windows x64 product: mingw-w64 with posix threads, everything static.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TV_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${TV_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TV_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER  ${TV_MINGW_PREFIX}-windres)
set(CMAKE_MC_COMPILER  ${TV_MINGW_PREFIX}-windmc)

set(CMAKE_FIND_ROOT_PATH /usr/${TV_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# The native GoogleTest and Benchmark packages must never be picked up for Windows.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT    "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Tests run through Wine in a private prefix under the build folder (see scripts/wine-run.sh).
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run.sh)
