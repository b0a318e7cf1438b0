// CSyncIsapiInit: start-up synchronisation for a host that loads the library from several threads at once
// (a web-server extension). gSyncIsapiInit is constructed after every other global object of the library
// and destroyed before them, so IsIISInitialized tells a caller whether the library's global objects are
// all usable: 0 before the library's start-up has finished and again once its shut-down has begun, 1 in
// between. On this platform nothing else needs synchronising: the loader runs the library's start-up once
// and before any caller can reach it.
#pragma once

#include <atomic>

#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CSyncIsapiInit {
public:
    CSyncIsapiInit() noexcept { m_initialized.store(1, std::memory_order_release); }
    CSyncIsapiInit(const CSyncIsapiInit&) = delete;
    CSyncIsapiInit& operator=(const CSyncIsapiInit&) = delete;
    ~CSyncIsapiInit() { m_initialized.store(0, std::memory_order_release); }

    unsigned char IsIISInitialized() const noexcept { return m_initialized.load(std::memory_order_acquire); }

private:
    std::atomic<unsigned char> m_initialized{0};
};

ZTBASE_API extern CSyncIsapiInit gSyncIsapiInit;

}  // namespace ZtBase
