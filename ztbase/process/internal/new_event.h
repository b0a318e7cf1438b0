// A new manual-reset event for the synchronisation objects, or the library's exception when the system
// refuses one.
#pragma once

#include "ztbase/errors/exceptions.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase::detail {

inline platform::ManualResetEvent* NewEvent(bool signalled, const char16_t* failure, unsigned line) {
    try {
        return new platform::ManualResetEvent(signalled);
    } catch (...) {
        throw CZtSimpleException(kErrSyncObject, CUniStr(failure), ".\\ztprocess", line);
    }
}

}  // namespace ZtBase::detail
