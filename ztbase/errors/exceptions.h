// The library's exceptions. Every failure is thrown by value and caught by reference to CZtException.
// CZtSimpleException (and each of its subclasses) writes one error line to the log (through the line
// sink) when it is constructed;
// CZtUnloggedException carries the same fields and writes nothing.
#pragma once

#include "ztbase/base/error_codes.h"
#include "ztbase/base/exception_base.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

namespace detail {
// The fields and accessors common to the logged and the unlogged exception.
class ZTBASE_API CodedException : public CZtException {
public:
    ~CodedException() override;
    int GetErrorCode() const override { return static_cast<int>(m_code); }
    // The message, whatever the argument.
    const unsigned short* GetErrorString(int) const override { return m_message; }
    virtual unsigned GetExceptionErrorCode() const { return m_code; }
    virtual const unsigned short* GetModuleName() const { return m_module; }
    virtual unsigned GetLineNumber() const { return m_line; }

protected:
    CodedException(unsigned code, const CUniStr& message, const CUniStr& module, unsigned line)
        : m_message(message), m_code(code), m_module(module), m_line(line) {}
    CodedException(const CodedException&) = default;
    CodedException& operator=(const CodedException&) = default;

    CUniStr m_message;
    unsigned m_code;
    CUniStr m_module;  // the raising source, such as ".\\ztprocess", stored unchanged
    unsigned m_line;
};
}  // namespace detail

class ZTBASE_API CZtUnloggedException : public detail::CodedException {
public:
    CZtUnloggedException(unsigned code, const CUniStr& message, const CUniStr& module, unsigned line);
    CZtUnloggedException(unsigned code, const CUniStr& message, const char* module, unsigned line);
    CZtUnloggedException(unsigned code, const unsigned short* message, const unsigned short* module,
                         unsigned line);
    CZtUnloggedException(unsigned code, const unsigned short* message, const char* module, unsigned line);
    CZtUnloggedException(const CZtUnloggedException&) = default;
    CZtUnloggedException& operator=(const CZtUnloggedException&) = default;
    ~CZtUnloggedException() override;
};

class ZTBASE_API CZtSimpleException : public detail::CodedException {
public:
    // Each form stores the fields and writes "Exception Thrown in <module>(<line>):  code=<code>: <message>"
    // to the log at the error type.
    CZtSimpleException(unsigned code, const CUniStr& message, const CUniStr& module, unsigned line);
    CZtSimpleException(unsigned code, const CUniStr& message, const char* module, unsigned line);
    CZtSimpleException(unsigned code, const unsigned short* message, const unsigned short* module,
                       unsigned line);
    CZtSimpleException(unsigned code, const unsigned short* message, const char* module, unsigned line);
    CZtSimpleException(const CZtSimpleException&) = default;
    CZtSimpleException& operator=(const CZtSimpleException&) = default;
    ~CZtSimpleException() override;

private:
    void WriteToLog() const;
};

#define ZTBASE_LOGGED_EXCEPTION(Name)                   \
    class ZTBASE_API Name : public CZtSimpleException { \
    public:                                             \
        using CZtSimpleException::CZtSimpleException;   \
        Name(const Name&) = default;                    \
        Name& operator=(const Name&) = default;         \
        ~Name() override;                               \
    };

ZTBASE_LOGGED_EXCEPTION(CZtXFileException)  // file errors
ZTBASE_LOGGED_EXCEPTION(CZtCommException)   // communication errors
ZTBASE_LOGGED_EXCEPTION(CZtAbort)           // a deliberate abort of an operation
ZTBASE_LOGGED_EXCEPTION(CZtMemoryException)
ZTBASE_LOGGED_EXCEPTION(CZtMappedDataTableException)  // data tables
ZTBASE_LOGGED_EXCEPTION(CZtSubcomponentException)     // errors of a loaded component
#undef ZTBASE_LOGGED_EXCEPTION

// Throws CZtSimpleException 10007 "subscript out of range" from ".\\ztbase".
[[noreturn]] ZTBASE_API void ThrowArrayBoundsException();

}  // namespace ZtBase
