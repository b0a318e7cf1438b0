// Numbers to text. MakeStr / MakeUniStr write a value in decimal (format 0) or lower-case hexadecimal
// (format 1) and right-justify it to width with fill; padding goes before any sign ("00-12"), and a
// width of 0 means none. Negative values in hexadecimal are their two's-complement bit pattern at the
// value's own width (the 16-bit forms use the 16 low bits). Any other format gives the null string for
// integers. Doubles are written as "%g" and ignore the format.
#pragma once

#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"
#include "ztbase/strings/str_types.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

ZTBASE_API CStr MakeStr(short value, unsigned char width = 0, StrFormat format = eDecimal, char fill = ' ');
ZTBASE_API CStr MakeStr(unsigned short value, unsigned char width = 0, StrFormat format = eDecimal,
                        char fill = ' ');
ZTBASE_API CStr MakeStr(int value, unsigned char width = 0, StrFormat format = eDecimal, char fill = ' ');
ZTBASE_API CStr MakeStr(unsigned int value, unsigned char width = 0, StrFormat format = eDecimal,
                        char fill = ' ');
ZTBASE_API CStr MakeStr(long long value, unsigned char width = 0, StrFormat format = eDecimal,
                        char fill = ' ');
ZTBASE_API CStr MakeStr(double value, unsigned char width = 0, StrFormat format = eDecimal, char fill = ' ');

ZTBASE_API CUniStr MakeUniStr(short value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');
ZTBASE_API CUniStr MakeUniStr(unsigned short value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');
ZTBASE_API CUniStr MakeUniStr(int value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');
ZTBASE_API CUniStr MakeUniStr(unsigned int value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');
ZTBASE_API CUniStr MakeUniStr(long long value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');
ZTBASE_API CUniStr MakeUniStr(double value, unsigned char width = 0, StrFormat format = eDecimal,
                              unsigned short fill = ' ');

// A length-prefixed byte string: the first byte is the count n, the next n bytes the text, of which
// zero bytes are skipped. A count of 0 (or a null pointer) gives the null string.
ZTBASE_API CStr CopyFromPascal(const unsigned char* p);

}  // namespace ZtBase
