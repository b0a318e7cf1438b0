// How the generic values raise their errors (module ".\\genericdata").
#pragma once

#include "ztbase/errors/exceptions.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase::detail {

inline constexpr char kGenericModule[] = ".\\genericdata";

// CZtSimpleException with the code and message.
[[noreturn]] ZTBASE_API void ThrowGeneric(unsigned code, const char* message, unsigned line);
// A reader error (10003): the message, then the up to 100 characters of text that end at position, then a
// closing double quote.
[[noreturn]] ZTBASE_API void ThrowStreamError(const char* message, const CUniStr& text, unsigned position,
                                              unsigned line);

}  // namespace ZtBase::detail
