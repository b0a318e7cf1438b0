// The generic stream reader: one value read from its text form.
//
// Every unit of code 32 or below counts as white space and is skipped between tokens. Comments ("/* */"
// and "//" to the end of the line) may stand wherever a value is expected and between the elements of
// lists, sets and bundles. Letters are the ASCII letters, the Latin-1 letters (0xAA, 0xB5, 0xBA and
// 0xC0 to 0xFF except 0xD7 and 0xF7) and every unit from 0x100 on; digits are "0" to "9".
//
// Syntax errors raise CZtSimpleException 10003 whose message ends with the up to 100 units of text that
// end where reading stopped, in double quotes. Values nested more than kMaxGenericNesting levels deep are
// refused the same way ("Generic stream nested too deeply : \""). "@name" opens the file through the
// file system; a file that is not found raises 11002 "File not found : " + name, not a syntax error.
#pragma once

#include "ztbase/generic/generic.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// How deep values may nest in text (every list, set, bundle and association value is one level). The
// values a text can hold are then comfortably within what printing, comparing, storing and releasing
// nested sets and bundles (which recurse per level) can do on a small thread stack.
inline constexpr unsigned int kMaxGenericNesting = 1000;

// Reads one value from text at position and leaves position just behind it. Text that holds only white
// space and comments from position on gives the null value; the text may not end inside a comment, and a
// line comment counts as ending there when nothing but line breaks follows it. Nothing is changed when
// the reader throws.
ZTBASE_API CGeneric ReadGenericValue(const CUniStr& text, unsigned int& position);
// The same; when the reader throws, stoppedAt tells where in the text it stopped (for messages that
// name a line and column).
ZTBASE_API CGeneric ReadGenericValue(const CUniStr& text, unsigned int& position, unsigned int& stoppedAt);

}  // namespace ZtBase
