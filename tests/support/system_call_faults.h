// Failures injected through the platform layer's table of system calls. While a fault object lives,
// its entry of the table is replaced; the real call is put back when it goes.
#pragma once

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>

#include "expect_error.h"
#include "system_errors.h"
#include "ztbase/platform/internal/system_calls.h"

namespace test_support {

// The first `budget` bytes written (over every file) reach the disk; then each write fails with error
// (the disk is full). A write that crosses the budget is cut short at it, as a filling disk does.
class FailWritesAfter {
public:
    explicit FailWritesAfter(long long budget, int error = test_support::kErrorDiskFull) {
        s_budget = budget;
        s_error = error;
        s_tripped = false;
        ZtBase::platform::gSystemCalls.write = &Write;
    }
    ~FailWritesAfter() { ZtBase::platform::gSystemCalls.write = ZtBase::platform::kRealSystemCalls.write; }
    FailWritesAfter(const FailWritesAfter&) = delete;
    FailWritesAfter& operator=(const FailWritesAfter&) = delete;

    // Whether a write was refused.
    static bool Tripped() { return s_tripped; }

private:
    static long long Write(int file, const void* buffer, std::size_t count, int& error) {
        if (s_budget <= 0) {
            s_tripped = true;
            error = s_error;
            return -1;
        }
        if (static_cast<long long>(count) > s_budget) count = static_cast<std::size_t>(s_budget);
        const long long done = ZtBase::platform::kRealSystemCalls.write(file, buffer, count, error);
        if (done > 0) s_budget -= done;
        return done;
    }
    static inline long long s_budget = 0;
    static inline int s_error = 0;
    static inline bool s_tripped = false;
};

// Every synchronisation to the disk fails with an I/O error.
class FailSyncs {
public:
    FailSyncs() { ZtBase::platform::gSystemCalls.sync = &Sync; }
    ~FailSyncs() { ZtBase::platform::gSystemCalls.sync = ZtBase::platform::kRealSystemCalls.sync; }
    FailSyncs(const FailSyncs&) = delete;
    FailSyncs& operator=(const FailSyncs&) = delete;

private:
    static bool Sync(int, int& error) {
        error = test_support::kErrorIo;
        return false;
    }
};

// The calls a FailNthCall counts, as bits.
enum FaultKind : unsigned {
    kFaultWrite = 1,     // write
    kFaultSync = 2,      // sync and syncMapping
    kFaultTruncate = 4,  // truncate (also how files grow)
    kFaultMap = 8,       // map
    kFaultRename = 16,   // rename and replace
    kFaultOpen = 32,     // open
    kFaultAll = 63,
};

// While it lives, the nth call (counting from 1) among the chosen kinds fails with error and every other
// call goes through to the system. Calls() tells how many chosen calls were made: fewer than n means the
// operation ran to its end untouched.
class FailNthCall {
public:
    FailNthCall(unsigned kinds, long long n, int error = test_support::kErrorIo) {
        s_kinds = kinds;
        s_n = n;
        s_error = error;
        s_calls = 0;
        auto& t = ZtBase::platform::gSystemCalls;
        t.write = &Write;
        t.sync = &Sync;
        t.syncMapping = &SyncMapping;
        t.truncate = &Truncate;
        t.map = &Map;
        t.rename = &Rename;
        t.replace = &Replace;
        t.open = &Open;
    }
    ~FailNthCall() { ZtBase::platform::gSystemCalls = ZtBase::platform::kRealSystemCalls; }
    FailNthCall(const FailNthCall&) = delete;
    FailNthCall& operator=(const FailNthCall&) = delete;

    static long long Calls() { return s_calls; }
    static bool Tripped() { return s_calls >= s_n; }

private:
    using Real = ZtBase::platform::SystemCalls;
    static const Real& R() { return ZtBase::platform::kRealSystemCalls; }
    // Whether this call of the kind is the one to fail.
    static bool Fails(unsigned kind, int& error) {
        if (!(s_kinds & kind) || ++s_calls != s_n) return false;
        error = s_error;
        return true;
    }
    static long long Write(int f, const void* b, std::size_t n, int& e) {
        return Fails(kFaultWrite, e) ? -1 : R().write(f, b, n, e);
    }
    static bool Sync(int f, int& e) { return Fails(kFaultSync, e) ? false : R().sync(f, e); }
    static bool SyncMapping(void* v, std::size_t n, int& e) {
        return Fails(kFaultSync, e) ? false : R().syncMapping(v, n, e);
    }
    static bool Truncate(int f, long long n, int& e) {
        return Fails(kFaultTruncate, e) ? false : R().truncate(f, n, e);
    }
    static void* Map(int f, std::size_t n, bool w, int& e) {
        return Fails(kFaultMap, e) ? nullptr : R().map(f, n, w, e);
    }
    static bool Rename(const char* a, const char* b, int& e) {
        return Fails(kFaultRename, e) ? false : R().rename(a, b, e);
    }
    static bool Replace(const char* a, const char* b, int& e) {
        return Fails(kFaultRename, e) ? false : R().replace(a, b, e);
    }
    static int Open(const char* p, bool w, bool c, int s, int& e) {
        return Fails(kFaultOpen, e) ? -1 : R().open(p, w, c, s, e);
    }

    static inline unsigned s_kinds = 0;
    static inline long long s_n = 0;
    static inline int s_error = 0;
    static inline long long s_calls = 0;
};

// What one attempt of a fault loop ended with: nothing thrown, or the library's error.
struct FaultOutcome {
    long long n = 0;       // the call made to fail
    bool tripped = false;  // the operation made that many calls, so one of them failed
    bool threw = false;    // the operation raised the library's error
    int code = 0;          // its code
    std::string message;   // its message, as UTF-8
};

// Runs attempt with the nth chosen call failing, for n = 1, 2, ... until an attempt makes fewer than n
// such calls, and gives each outcome to check (which looks at what is left on disk). Returns the number of
// the last n, the count of chosen calls the whole operation makes plus one. Anything but the library's
// error escaping the attempt fails the test where it is thrown.
inline long long ForEachFailingCall(unsigned kinds, const std::function<void()>& attempt,
                                    const std::function<void(const FaultOutcome&)>& check,
                                    long long limit = 20000) {
    for (long long n = 1; n <= limit; ++n) {
        FaultOutcome outcome;
        outcome.n = n;
        long long calls = 0;
        {
            FailNthCall fault(kinds, n);
            try {
                attempt();
            } catch (const ZtBase::CZtSimpleException& e) {
                outcome.threw = true;
                outcome.code = static_cast<int>(e.GetExceptionErrorCode());
                outcome.message = MessageOf(e);
            } catch (const ZtBase::CZtException& e) {
                outcome.threw = true;
                outcome.code = e.GetErrorCode();
                outcome.message = MessageOf(e);
            }
            calls = FailNthCall::Calls();
            outcome.tripped = calls >= n;
        }
        check(outcome);
        if (calls < n) return n;
    }
    ADD_FAILURE() << "the operation still makes system calls after " << limit;
    return limit;
}

}  // namespace test_support
