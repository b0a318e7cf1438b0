// The system calls the platform layer makes, as one table of function pointers set to the real calls
// before any code of the library runs. Nothing but the platform layer calls them; a test may replace an
// entry for a moment (and put it back) to make a call fail, which is how write failures, full disks and
// broken files are tested without special devices.
//
// Each entry makes one attempt, as the system call does: a read or write may be short, and a failure
// gives -1 (or false) with the system's error number (errno) in error, EINTR included; the loops over
// short counts and interruptions are the platform layer's, above the table.
#pragma once

#include <cstddef>
#include <string>

#include "ztbase/platform/export.h"

namespace ZtBase::platform {

struct SystemCalls {
    // Opens path for reading, or reading and writing; create makes it when it does not exist. share is
    // the open's share mode (0, 1 or 2, as OpenFile's), for a system that enforces share modes itself. A
    // file number, or -1.
    int (*open)(const char* path, bool write, bool create, int share, int& error);
    void (*close)(int file);
    long long (*read)(int file, void* buffer, std::size_t count, int& error);
    long long (*write)(int file, const void* buffer, std::size_t count, int& error);
    bool (*sync)(int file, int& error);
    bool (*truncate)(int file, long long length, int& error);
    // Renames, never replacing an existing to.
    bool (*rename)(const char* from, const char* to, int& error);
    // Renames, replacing an existing to in one step: a reader sees the old file or the new one.
    bool (*replace)(const char* from, const char* to, int& error);
    bool (*unlink)(const char* path, int& error);
    // Maps length bytes of the file from its start, shared with every other mapping of it and with the
    // file itself; null on failure.
    void* (*map)(int file, std::size_t length, bool write, int& error);
    void (*unmap)(void* view, std::size_t length);
    // Writes the mapping's changed pages to the file and waits for them.
    bool (*syncMapping)(void* view, std::size_t length, int& error);
#if defined(_WIN32)
    // Creates a thread that runs routine(argument) once resumed; its handle and identifier, or null.
    void* (*startThread)(unsigned(__stdcall* routine)(void*), void* argument, unsigned& id, int& error);
#else
    // Starts routine(argument) on a new, detached thread.
    bool (*startThread)(void* (*routine)(void*), void* argument, int& error);
#endif
    // Loads a shared library with every symbol bound at once and kept to itself; null on failure, with the
    // system's message in error.
    void* (*openLibrary)(const char* path, std::string& error);
    // Connects a stream socket to one address of a host (a sockaddr of length bytes), giving up after
    // timeoutMs; a socket number, or -1.
    int (*connect)(const void* address, unsigned length, int family, int timeoutMs, int& error);
};

// The table in use. Exported for the library's own tests; not part of the installed interface.
ZTBASE_API extern SystemCalls gSystemCalls;
// The real calls, to put an entry back.
ZTBASE_API extern const SystemCalls kRealSystemCalls;

}  // namespace ZtBase::platform
