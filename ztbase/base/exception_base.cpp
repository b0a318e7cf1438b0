#include "ztbase/base/exception_base.h"

namespace ZtBase {

namespace {
constexpr unsigned short kBaseMessage[] = {'B', 'a', 's', 'e', ' ', 'E', 'x', 'c',
                                           'e', 'p', 't', 'i', 'o', 'n', 0};
constexpr unsigned short kMemoryMessage[] = {'O', 'u', 't', ' ', 'o', 'f', ' ',
                                             'm', 'e', 'm', 'o', 'r', 'y', 0};
}  // namespace

CZtException::~CZtException() = default;
int CZtException::GetErrorCode() const {
    return kErrBaseException;
}
const unsigned short* CZtException::GetErrorString(int) const {
    return kBaseMessage;
}

CMemoryError::~CMemoryError() = default;
int CMemoryError::GetErrorCode() const {
    return kErrOutOfMemory;
}
const unsigned short* CMemoryError::GetErrorString(int) const {
    return kMemoryMessage;
}

}  // namespace ZtBase
