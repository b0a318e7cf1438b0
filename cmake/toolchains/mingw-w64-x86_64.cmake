# 64-bit Windows (x86-64), run here under wine64: cmake --toolchain cmake/toolchains/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(ZTBASE_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
# Debian's wine64 package keeps its loader out of PATH.
find_program(ZTBASE_WINE64 wine64 PATHS /usr/lib/wine REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all ${ZTBASE_WINE64})
