// The root of the library's exception tree and the out-of-memory error. Kept apart from the exceptions
// that carry text (exceptions.h) so that the handle frame and the strings can throw CMemoryError
// without depending on the string classes.
#pragma once

#include "ztbase/base/error_codes.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CZtException {
public:
    CZtException() noexcept = default;
    CZtException(const CZtException&) noexcept = default;
    CZtException& operator=(const CZtException&) noexcept = default;
    virtual ~CZtException();
    virtual int GetErrorCode() const;                         // 1002
    virtual const unsigned short* GetErrorString(int) const;  // "Base Exception"
};

class ZTBASE_API CMemoryError : public CZtException {
public:
    CMemoryError() noexcept = default;
    ~CMemoryError() override;
    int GetErrorCode() const override;                         // 1001
    const unsigned short* GetErrorString(int) const override;  // "Out of memory"
};

}  // namespace ZtBase
