# Cross-building for Windows with Debian's MinGW-w64 compilers (the -posix thread model, for std::thread
# and std::mutex). Included by the two toolchain files beside it, which set ZTBASE_MINGW_TRIPLE first.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${ZTBASE_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZTBASE_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZTBASE_MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ZTBASE_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The compiler's own run-time DLLs (libstdc++, libgcc, winpthread), for running what was built.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++-6.dll
                OUTPUT_VARIABLE ZTBASE_MINGW_STDCXX OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(ZTBASE_MINGW_RUNTIME_DIR "${ZTBASE_MINGW_STDCXX}" DIRECTORY)
set(ZTBASE_MINGW_RUNTIME_DIRS ${ZTBASE_MINGW_RUNTIME_DIR} /usr/${ZTBASE_MINGW_TRIPLE}/lib)
