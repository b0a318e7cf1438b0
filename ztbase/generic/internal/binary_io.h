// The pieces of the binary form of values: 32-bit little-endian integers, doubles and 16-bit text, read
// and written through a CXFile. A failed or short write raises "Write operation failed", a failed or
// short read "Read operation failed" (11001). Counts and lengths read from a file are checked against
// what remains in it before anything is allocated.
#pragma once

#include "ztbase/files/xfile.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase::detail {

ZTBASE_API void WriteU32(CXFile& file, unsigned int value);
ZTBASE_API void WriteDouble(CXFile& file, double value);
// A 32-bit byte count (twice the units), then the units.
ZTBASE_API void WriteText(CXFile& file, const CUniStr& text);

ZTBASE_API unsigned int ReadU32(const CXFile& file);
ZTBASE_API double ReadDouble(const CXFile& file);
ZTBASE_API CUniStr ReadText(const CXFile& file);
// A count of items each taking at least minBytesPerItem in the file; a count that cannot fit in what
// remains of the file raises "Read operation failed" before the caller allocates for it.
ZTBASE_API unsigned int ReadCount(const CXFile& file, unsigned int minBytesPerItem);

}  // namespace ZtBase::detail
