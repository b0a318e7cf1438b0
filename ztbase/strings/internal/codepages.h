// Byte maps between the three 8-bit character sets a CStr can be converted between: the DOS (OEM) code
// page, the Windows code page 1252 and the Macintosh character set. CStr::ConvertCharSet maps every
// byte through the table of its ordered pair.
#pragma once

#include "ztbase/platform/export.h"
#include "ztbase/strings/str_types.h"

namespace ZtBase::detail {

// The 256-byte table that converts text in set from to set to; nullptr when from == to (nothing to
// convert) or when either identifier is not one of the three sets. Windows <-> Macintosh are the
// identity, deliberately: those two conversions change nothing.
ZTBASE_API const unsigned char* CharSetTable(CharSetIdentifier from, CharSetIdentifier to);

}  // namespace ZtBase::detail
