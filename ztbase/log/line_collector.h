// CLineCollector gathers, for as long as it lives, the lines that the layers below the log write (debug
// lines such as a data table check's findings, exceptions' lines) instead of the log: a tool that shows a
// check's findings, a test that reads them. Collectors nest; each puts back the sink it replaced. Lines may
// come from any thread.
#pragma once

#include <mutex>

#include "ztbase/base/line_sink.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

class ZTBASE_API CLineCollector : public CLineSink {
public:
    CLineCollector();
    CLineCollector(const CLineCollector&) = delete;
    CLineCollector& operator=(const CLineCollector&) = delete;
    ~CLineCollector() override;

    int vwprintf(LogTypes type, const unsigned short* format, va_list args) override;
    int vprintf(LogTypes type, const char* format, va_list args) override;

    // Everything written so far, line feeds included.
    CUniStr GetText() const;

private:
    CLineSink* m_previous;
    mutable std::mutex m_lock;
    CUniStr m_text;
};

}  // namespace ZtBase
