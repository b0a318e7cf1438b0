#include "ztbase/errors/exceptions.h"

#include "ztbase/base/line_sink.h"

namespace ZtBase {

detail::CodedException::~CodedException() = default;

CZtUnloggedException::CZtUnloggedException(unsigned code, const CUniStr& message, const CUniStr& module,
                                           unsigned line)
    : CodedException(code, message, module, line) {}
CZtUnloggedException::CZtUnloggedException(unsigned code, const CUniStr& message, const char* module,
                                           unsigned line)
    : CodedException(code, message, CUniStr(module), line) {}
CZtUnloggedException::CZtUnloggedException(unsigned code, const unsigned short* message,
                                           const unsigned short* module, unsigned line)
    : CodedException(code, CUniStr(message), CUniStr(module), line) {}
CZtUnloggedException::CZtUnloggedException(unsigned code, const unsigned short* message, const char* module,
                                           unsigned line)
    : CodedException(code, CUniStr(message), CUniStr(module), line) {}
CZtUnloggedException::~CZtUnloggedException() = default;

CZtSimpleException::CZtSimpleException(unsigned code, const CUniStr& message, const CUniStr& module,
                                       unsigned line)
    : CodedException(code, message, module, line) {
    WriteToLog();
}
CZtSimpleException::CZtSimpleException(unsigned code, const CUniStr& message, const char* module,
                                       unsigned line)
    : CodedException(code, message, CUniStr(module), line) {
    WriteToLog();
}
CZtSimpleException::CZtSimpleException(unsigned code, const unsigned short* message,
                                       const unsigned short* module, unsigned line)
    : CodedException(code, CUniStr(message), CUniStr(module), line) {
    WriteToLog();
}
CZtSimpleException::CZtSimpleException(unsigned code, const unsigned short* message, const char* module,
                                       unsigned line)
    : CodedException(code, CUniStr(message), CUniStr(module), line) {
    WriteToLog();
}
CZtSimpleException::~CZtSimpleException() = default;

void CZtSimpleException::WriteToLog() const {
    static constexpr U16Literal format(u"Exception Thrown in %s(%d):  code=%d: %s\n");
    SinkPrintf(eLogError, format, static_cast<const unsigned short*>(m_module), m_line, m_code,
               static_cast<const unsigned short*>(m_message));
}

CZtXFileException::~CZtXFileException() = default;
CZtCommException::~CZtCommException() = default;
CZtAbort::~CZtAbort() = default;
CZtMemoryException::~CZtMemoryException() = default;
CZtMappedDataTableException::~CZtMappedDataTableException() = default;
CZtSubcomponentException::~CZtSubcomponentException() = default;

void ThrowArrayBoundsException() {
    throw CZtSimpleException(kErrIndexRange, CUniStr("subscript out of range"), ".\\ztbase", 520);
}

}  // namespace ZtBase
