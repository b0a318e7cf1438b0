// The library's printf-style formatter for 8-bit and 16-bit formats (the C library's wide functions are
// not used: their wchar_t is 32 bits here).
//
// Conversions: %c %d %i %u %x %X %o %e %E %f %F %g %G %a %A %p %s %S %%, flags "-+ 0#", width and
// precision (digits or *), length modifiers hh h l ll z j t L I I32 I64 (and w for strings and characters).
// Strings follow the convention of the format's own width: in a 16-bit format %s takes a 16-bit string
// (const unsigned short*) and %S an 8-bit one (const char*); in an 8-bit format the other way round. %hs
// is always 8-bit, %ls and %ws always 16-bit; %c, %C, %hc, %lc take an int that gives one unit, chosen in
// the same way. A null string prints "(null)". %p prints the address as upper-case hexadecimal digits,
// zero-padded to the width of a pointer. 8-bit text is widened byte by byte; 16-bit text printed into an
// 8-bit result keeps units below 256 and turns the others into '?'. An unknown conversion is copied as it
// stands and takes no argument.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "ztbase/platform/export.h"

namespace ZtBase {

// Formats into buffer, writing at most limit units. Returns the length of the text when it is at most
// limit (a terminator follows it when there is room), or -1 when the text would need more than limit units.
ZTBASE_API int FormatTextV(char* buffer, std::size_t limit, const char* format, va_list args);
ZTBASE_API int FormatTextV(unsigned short* buffer, std::size_t limit, const unsigned short* format,
                           va_list args);

ZTBASE_API int FormatText(char* buffer, std::size_t limit, const char* format, ...);
ZTBASE_API int FormatText(unsigned short* buffer, std::size_t limit, const unsigned short* format, ...);
// 16-bit literal formats: u"%s=%d".
ZTBASE_API int FormatText(unsigned short* buffer, std::size_t limit, const char16_t* format, ...);

}  // namespace ZtBase
