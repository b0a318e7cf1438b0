// CXFile: the one handle through which the library reads and writes bytes, over an abstract body,
// CXFileRep, that each kind of storage (disk, memory, mapped, pipe, socket) implements. Line and
// character reading and writing in 8-bit and 16-bit form are written once here, in terms of the block
// and character operations of each kind; the text mode decides which of them a call uses.
#pragma once

#include "ztbase/base/handle.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

class CBlob;
class CXFile;

// Stored in files of other kinds: the numbers are fixed.
enum XF_TEXT_MODE : int {
    XF_BINARY = 0,
    XF_TEXT_CRLF = 1,     // 8-bit; reading drops CR, writing turns LF into CR LF
    XF_TEXT_LF = 2,       // 8-bit; no translation
    XF_TEXT_CR = 3,       // 8-bit; reading turns CR into LF, writing LF into CR
    XF_UNICODE_CRLF = 4,  // the same three on 16-bit units (UTF-16, little-endian, no byte-order mark)
    XF_UNICODE_LF = 5,
    XF_UNICODE_CR = 6,
};

enum XF_SHARE_FLAGS : int { XF_SHARE_NONE = 0, XF_SHARE_READ = 1, XF_SHARE_READ_WRITE = 2 };

// The purpose whose search paths the file system keeps. Values other than the named ones are the
// application's own.
enum EOpenCode : int { eOpenProgramDir = 0, eOpenCurrentDir = 1, eOpenTempDir = 5 };

inline bool IsUnicodeMode(int mode) noexcept {
    return mode >= XF_UNICODE_CRLF && mode <= XF_UNICODE_CR;
}
inline bool IsValidMode(int mode) noexcept {
    return mode >= XF_BINARY && mode <= XF_UNICODE_CR;
}

class ZTBASE_API CXFileRep {
public:
    CXFileRep(const CStr& name, XF_TEXT_MODE mode) : m_name(name), m_mode(mode) {}
    CXFileRep(const CXFileRep& other) : m_refCount(0), m_name(other.m_name), m_mode(other.m_mode) {}
    CXFileRep& operator=(const CXFileRep& other) {
        m_name = other.m_name;
        m_mode = other.m_mode;
        return *this;
    }
    virtual ~CXFileRep();

    virtual void Seek(int position) = 0;
    virtual void SeekFromEnd(int offset) = 0;
    virtual void SeekRelative(int offset) = 0;
    virtual int GetFilePosition() = 0;
    virtual int GetFileLength() = 0;
    // Bytes delivered / taken, after the kind's line-end translation.
    virtual unsigned int ReadBlock(char* buffer, unsigned int count) = 0;
    virtual unsigned int WriteBlock(const char* buffer, unsigned int count) = 0;
    virtual unsigned char ReadLn(CStr& line);
    virtual void WriteLn();
    virtual void WriteLn(const CStr& line);
    virtual void Write(char c);
    virtual void Write(const CStr& text);
    // The character, or -1 when nothing was written / at the end.
    virtual short PutChar(short c) = 0;
    virtual short GetChar() = 0;
    virtual unsigned char UniReadLn(CUniStr& line);
    virtual void UniWriteLn();
    virtual void UniWriteLn(const CUniStr& line);
    virtual void UniWrite(unsigned short c);
    virtual void UniWrite(const CUniStr& text);
    // The unit, or 0xFFFF when nothing was written / at the end.
    virtual unsigned short UniPutChar(unsigned short c) = 0;
    virtual unsigned short UniGetChar() = 0;
    virtual void Flush() = 0;
    virtual unsigned char Eof() = 0;
    // The file's bytes in memory, for kinds that have them in one piece; null otherwise.
    virtual char* CreateMemoryView(int offset, int length);
    virtual unsigned char IsLockingSupported();
    // The base refuses: 10009 "Locking not supported".
    virtual int LockRegion(int offset, int length);
    virtual void UnlockRegion(int lockId);
    virtual void SetFileLength(unsigned int length) = 0;
    // The base refuses: 10009 "Invalid call for this type of file".
    virtual CXFile GetDuplicateFile();
    // The whole file from its start; in modes 1 and 4 read into 2n+2 bytes, and the blob's length is
    // always n, the file length in bytes, whatever the translation delivered.
    virtual void GetWholeFile(CBlob& result);

    const CStr& GetName() const noexcept { return m_name; }
    XF_TEXT_MODE GetTextMode() const noexcept { return m_mode; }

    void IncRefCount() noexcept { LockedIncrement(m_refCount); }

protected:
    // Character operations made of one block operation, for kinds whose block operations already do
    // what a character needs: one byte, or the two bytes of a unit (low byte first).
    short PutCharAsBlock(short c);
    short GetCharAsBlock();
    unsigned short UniPutCharAsBlock(unsigned short c);
    unsigned short UniGetCharAsBlock();

public:
    unsigned char DecAndCompareToZeroRefCount() noexcept { return LockedDecrement(m_refCount); }
    unsigned char ReleaseWasLast() noexcept { return ZtBase::ReleaseWasLast(m_refCount); }
    int GetRefCount() const noexcept {
        return std::atomic_ref<int>(const_cast<int&>(m_refCount)).load(std::memory_order_acquire);
    }

private:
    int m_refCount = 0;
    CStr m_name;
    XF_TEXT_MODE m_mode;
};

class ZTBASE_API CXFile : public ZtHandle<CXFileRep> {
public:
    CXFile() noexcept = default;
    // Adopts a body made for it (the count goes to 1).
    explicit CXFile(CXFileRep* body) : ZtHandle(body) {}

    void Blank() noexcept { Release(); }

    // Opened through gFileSystem with a purpose code (code 1, the current directory, when none is given).
    // A failed open raises and leaves the handle as it was.
    void OpenExisting(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                      unsigned char readOnly, XF_SHARE_FLAGS share);
    void Create(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode);
    void OpenForAppend(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                       XF_SHARE_FLAGS share);
    void OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                      XF_SHARE_FLAGS share);
    void Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode);
    void OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, XF_SHARE_FLAGS share);

    // Forwarders. On a blank handle nothing is raised: reads give 0, false, -1 (0xFFFF) or an empty
    // result, Eof gives true, and everything else does nothing.
    void Seek(int position) const;
    void SeekFromEnd(int offset) const;
    void SeekRelative(int offset) const;
    int GetFilePosition() const;
    int GetFileLength() const;
    unsigned int ReadBlock(char* buffer, unsigned int count) const;
    unsigned int WriteBlock(const char* buffer, unsigned int count) const;
    unsigned char ReadLn(CStr& line) const;
    void WriteLn() const;
    void WriteLn(const CStr& line) const;
    void Write(char c) const;
    void Write(const CStr& text) const;
    short PutChar(short c) const;
    short GetChar() const;
    unsigned char UniReadLn(CUniStr& line) const;
    void UniWriteLn() const;
    void UniWriteLn(const CUniStr& line) const;
    void UniWrite(unsigned short c) const;
    void UniWrite(const CUniStr& text) const;
    unsigned short UniPutChar(unsigned short c) const;
    unsigned short UniGetChar() const;
    void Flush() const;
    unsigned char Eof() const;
    // Always the view of the whole file from its start, whatever the arguments: callers add the current
    // position themselves.
    char* CreateMemoryView(int offset, int length) const;
    unsigned char IsLockingSupported() const;
    int LockRegion(int offset, int length) const;
    void UnlockRegion(int lockId) const;
    void SetFileLength(unsigned int length) const;
    CXFile GetDuplicateFile() const;
    void GetWholeFile(CBlob& result) const;

    CStr GetName() const;
    XF_TEXT_MODE GetTextMode() const;

    // The rest of the file from the current position, up to the first zero byte (unit).
    CStr ReadIntoString() const;
    CUniStr ReadIntoStringW() const;
};

}  // namespace ZtBase
