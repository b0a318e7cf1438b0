// Work items for the task managers: a reference-counted body whose DoTask does the work, and its handle.
#pragma once

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CParallelTaskRep : public CRepBase {
public:
    CParallelTaskRep() = default;
    ~CParallelTaskRep() override;

    virtual void DoTask() = 0;
    // The order of a priority queue (the greatest task runs first). Tasks that go into one override it; the
    // default raises 10002 "Ordering not implemented for this type".
    virtual unsigned char operator>(const CParallelTaskRep& other) const;
};

class ZTBASE_API CParallelTask : public ZtHandle<CParallelTaskRep> {
public:
    CParallelTask() noexcept = default;
    explicit CParallelTask(CParallelTaskRep* body) noexcept : ZtHandle(body) {}

    unsigned char Eq(const CParallelTask& other) const noexcept { return m_rep == other.m_rep ? 1 : 0; }
    void DoTask() const {
        if (m_rep) m_rep->DoTask();
    }
    // Compares the bodies (both must be there).
    unsigned char operator>(const CParallelTask& other) const { return *m_rep > *other.m_rep; }
};

}  // namespace ZtBase
