# 32-bit Windows (i686), the library's own platform: cmake --toolchain cmake/toolchains/mingw-w64-i686.cmake
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ZTBASE_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
