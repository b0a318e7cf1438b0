// The error codes the library's exceptions carry. Callers compare GetErrorCode() with these.
#pragma once

namespace ZtBase {

inline constexpr unsigned kErrOutOfMemory = 1001;
inline constexpr unsigned kErrBaseException = 1002;
inline constexpr unsigned kErrInvalidGeneric = 10001;
inline constexpr unsigned kErrIllegalOperation = 10002;
inline constexpr unsigned kErrGenericSyntax = 10003;
inline constexpr unsigned kErrNotSupported = 10004;
inline constexpr unsigned kErrThreadOrStructure = 10005;  // a threading error or a broken structure
inline constexpr unsigned kErrSyncObject = 10006;
inline constexpr unsigned kErrIndexRange = 10007;
inline constexpr unsigned kErrFileMemory = 10008;
inline constexpr unsigned kErrWrongState = 10009;
inline constexpr unsigned kErrNoBody = 10010;
inline constexpr unsigned kErrLockTimeout = 10011;
inline constexpr unsigned kErrDataTable = 10501;
inline constexpr unsigned kErrDataTableReadOnly = 10502;
inline constexpr unsigned kErrDataTableCompare = 10503;
inline constexpr unsigned kErrUnicodeConversion = 10600;
inline constexpr unsigned kErrIO = 11001;
inline constexpr unsigned kErrFileNotFound = 11002;

}  // namespace ZtBase
