// The two kinds of disk file. CXFileBuffered keeps one 8,192-byte window of the file in memory and
// translates line ends in modes 1 and 3 (the Unicode modes pass through byte for byte); CXFileUnbuffered
// hands every call straight to the system, works in binary mode only and supports region locks. Both
// are made by the operating-system file space through the factory functions below; a body's name is the
// native path it was opened with.
#pragma once

#include <vector>

#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"

namespace ZtBase {

class ZTBASE_API CXFileBuffered : public CXFileRep {
public:
    static constexpr int kWindowSize = 8192;

    // Takes over an open system file. Raises "GetFileSize failed : " (11001) when its size cannot be
    // read and "Invalid CXFile" (10005) for a text mode above 6, closing the file in both cases.
    CXFileBuffered(const CStr& name, int systemFile, XF_TEXT_MODE mode, unsigned char readOnly);
    CXFileBuffered(const CXFileBuffered&) = delete;
    CXFileBuffered& operator=(const CXFileBuffered&) = delete;
    // Writes a dirty window (quietly) and closes the file.
    ~CXFileBuffered() override;

    // Seek clamps to [0, length]; no system call.
    void Seek(int position) override;
    void SeekFromEnd(int offset) override;
    void SeekRelative(int offset) override;
    int GetFilePosition() override { return m_position; }
    // The length known to the body: taken at the open and raised only by writes in modes 0 and 2.
    int GetFileLength() override { return m_length; }
    unsigned int ReadBlock(char* buffer, unsigned int count) override;
    unsigned int WriteBlock(const char* buffer, unsigned int count) override;
    // Scans the window for the line end instead of going character by character; the result is the
    // base algorithm's in every mode (Unicode modes use it unchanged).
    unsigned char ReadLn(CStr& line) override;
    short PutChar(short c) override;
    short GetChar() override;
    unsigned short UniPutChar(unsigned short c) override;
    unsigned short UniGetChar() override;
    void Flush() override;
    unsigned char Eof() override { return m_position >= m_length ? 1 : 0; }
    // Region locks are not offered by this kind: -1 and nothing raised; unlocking does nothing.
    int LockRegion(int offset, int length) override;
    void UnlockRegion(int lockId) override;
    // Cuts or extends the file itself; the position and the length field stay as they were.
    void SetFileLength(unsigned int length) override;

private:
    bool Raw() const { return GetTextMode() == XF_BINARY || GetTextMode() == XF_TEXT_LF; }
    bool InValidWindow(int position) const {
        return position >= m_windowStart && position - m_windowStart < m_count;
    }
    // Reads the window at the position (writing a dirty one back first).
    void Refill();
    // Writes a dirty window; false on failure when not raising.
    bool WriteBack(bool raise);
    // Makes the window ready to take `need` bytes at the position: a window never holds bytes that were
    // neither read from the file nor given by a caller, so a write that does not continue the valid
    // bytes starts a fresh window at the position.
    void PrepareWrite(int need);
    unsigned int ReadTranslated(char* buffer, unsigned int count);
    unsigned int WriteTranslated(const char* buffer, unsigned int count);

    int m_file;
    int m_position = 0;
    int m_length = 0;
    int m_count = 0;  // valid bytes in the window
    int m_capacity = kWindowSize;
    int m_windowStart = 0;
    long long m_fileOffset = -1;  // where the system's file position is, -1 when not known
    unsigned char m_dirty = 0;
    unsigned char m_readOnly;
    char m_buffer[kWindowSize];
};

class ZTBASE_API CXFileUnbuffered : public CXFileRep {
public:
    // Takes over an open system file; binary mode.
    CXFileUnbuffered(const CStr& name, int systemFile, unsigned char readOnly);
    CXFileUnbuffered(const CXFileUnbuffered&) = delete;
    CXFileUnbuffered& operator=(const CXFileUnbuffered&) = delete;
    ~CXFileUnbuffered() override;

    void Seek(int position) override;
    // The offset is passed as given: a positive one moves past the end (unlike the buffered kind).
    void SeekFromEnd(int offset) override;
    void SeekRelative(int offset) override;
    int GetFilePosition() override;
    int GetFileLength() override;
    unsigned int ReadBlock(char* buffer, unsigned int count) override;
    unsigned int WriteBlock(const char* buffer, unsigned int count) override;
    short PutChar(short c) override;
    short GetChar() override;
    unsigned short UniPutChar(unsigned short c) override;
    unsigned short UniGetChar() override;
    void Flush() override;
    unsigned char Eof() override;
    unsigned char IsLockingSupported() override { return 1; }
    // A system lock on the byte range, failing at once when another open holds an overlapping one (or
    // this one already does); the id is the first free slot of the lock table. Failure raises
    // "Error returned for lock file : " (11001) unlogged.
    int LockRegion(int offset, int length) override;
    // Unknown and free ids are ignored.
    void UnlockRegion(int lockId) override;
    void SetFileLength(unsigned int length) override;

private:
    long long SeekTo(long long offset, int from);

    int m_file;
    std::vector<unsigned> m_lockOffsets;
    std::vector<unsigned> m_lockLengths;
    std::vector<unsigned char> m_lockInUse;
    unsigned char m_readOnly;
};

// The factories of the operating-system file space. Refusals come before any system call.
// OpenExisting: buffered only exclusive, or sharing reads when read-only; unbuffered only in binary mode.
ZTBASE_API CXFile OpenDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode,
                               unsigned char readOnly, XF_SHARE_FLAGS share);
// Create always (read and write, exclusive); unbuffered only in binary mode.
ZTBASE_API CXFile CreateDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode);
// Open always (read and write, exclusive: the share argument is not used) at the end of the file.
ZTBASE_API CXFile AppendDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode,
                                 XF_SHARE_FLAGS share);

}  // namespace ZtBase
