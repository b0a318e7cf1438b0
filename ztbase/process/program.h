// What a program on top of the library needs from the system at its start: its arguments as text the
// library reads alike everywhere, and standard streams that carry bytes as they are.
#pragma once

#include <string>
#include <vector>

#include "ztbase/platform/export.h"

namespace ZtBase {

// The program's command-line arguments in UTF-8, the program's name first. Where the system keeps them as
// 16-bit text (Windows), they are read from it, so that no character is lost to the 8-bit code page main's
// arguments come in; elsewhere they are main's own.
ZTBASE_API std::vector<std::string> GetProgramArguments(int argc, char** argv);

// Makes standard input and output carry the bytes written and read as they are: no line-end translation
// where the system's C library would make one (Windows).
ZTBASE_API void SetStandardStreamsUntranslated() noexcept;

}  // namespace ZtBase
