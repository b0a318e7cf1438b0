// How the file subsystem raises its errors: CZtXFileException (or, where a failure is expected and
// handled, CZtUnloggedException) from the module ".\\xfile". Messages that name a file end with the name.
#pragma once

#include "ztbase/errors/exceptions.h"
#include "ztbase/strings/str.h"

namespace ZtBase::detail {

inline constexpr char kXFileModule[] = ".\\xfile";
// The code of "Invalid CXFile": a body in a state it cannot work in (a text mode above 6).
inline constexpr unsigned kErrInvalidFile = kErrThreadOrStructure;

[[noreturn]] ZTBASE_API void ThrowXFile(unsigned code, const char* message, unsigned line);
[[noreturn]] ZTBASE_API void ThrowXFile(unsigned code, const char* message, const CStr& name, unsigned line);
[[noreturn]] ZTBASE_API void ThrowXFileUnlogged(unsigned code, const char* message, const CStr& name,
                                                unsigned line);

}  // namespace ZtBase::detail
