// Files over one block of memory that never grows: CXFileMemoryMapped maps a whole disk file,
// CXFileMemoryView shows a caller's block as a file, and CXFileSubsetOfMemoryMappedFile shows a stretch of
// another mapped file (a member of a container) and keeps that file alive. They read and write the block
// directly and hand out pointers into it (CreateMemoryView), which is what the data tables and containers
// are built on.
//
// Seek does not clamp: the position is exactly what was asked, and the block operations deliver nothing
// from a position outside the block. Writes never grow the file: a write that does not fit is cut short,
// and a write to a read-only block takes nothing; neither is an error.
#pragma once

#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

// The frame the three kinds share: a position over size bytes at data.
class ZTBASE_API CXFileMemoryBlock : public CXFileRep {
public:
    CXFileMemoryBlock(const CXFileMemoryBlock&) = delete;
    CXFileMemoryBlock& operator=(const CXFileMemoryBlock&) = delete;

    void Seek(int position) override { m_position = position; }
    // Positions wrap like 32-bit arithmetic instead of overflowing.
    void SeekFromEnd(int offset) override { Seek(static_cast<int>(static_cast<long long>(m_size) - offset)); }
    void SeekRelative(int offset) override {
        Seek(static_cast<int>(static_cast<long long>(m_position) + offset));
    }
    int GetFilePosition() override { return m_position; }
    int GetFileLength() override { return static_cast<int>(m_size); }
    // Modes 0 and 2 (and the Unicode modes, byte for byte) copy; mode 1 drops CR, mode 3 delivers CR as LF.
    unsigned int ReadBlock(char* buffer, unsigned int count) override;
    // Mode 1 stores LF as CR LF when both fit and stops when only one byte is left for the pair; mode 3
    // stores LF as CR. Returns the caller's bytes taken.
    unsigned int WriteBlock(const char* buffer, unsigned int count) override;
    // -1 (0xFFFF) without a block, at the end, or when nothing could be written.
    short PutChar(short c) override { return PutCharAsBlock(c); }
    short GetChar() override { return GetCharAsBlock(); }
    unsigned short UniPutChar(unsigned short c) override { return UniPutCharAsBlock(c); }
    unsigned short UniGetChar() override { return UniGetCharAsBlock(); }
    void Flush() override {}
    unsigned char Eof() override { return m_position < 0 || m_position >= static_cast<int>(m_size) ? 1 : 0; }
    // block + offset; null without a block, for a negative offset or length, or when offset + length
    // passes the size.
    char* CreateMemoryView(int offset, int length) override;
    unsigned char IsLockingSupported() override { return 0; }
    // No region locks: -1, nothing raised; unlocking does nothing.
    int LockRegion(int, int) override { return -1; }
    void UnlockRegion(int) override {}
    // The view kinds refuse: 10009 "not allowed for this file type".
    void SetFileLength(unsigned int length) override;

    bool IsReadOnly() const noexcept { return m_readOnly; }

protected:
    CXFileMemoryBlock(const CStr& name, XF_TEXT_MODE mode, char* data, unsigned size, bool readOnly)
        : CXFileRep(name, mode), m_size(size), m_data(data), m_readOnly(readOnly) {}

    void SetBlock(char* data, unsigned size) noexcept {
        m_data = data;
        m_size = size;
    }
    char* Data() const noexcept { return m_data; }
    unsigned Size() const noexcept { return m_size; }

private:
    // The bytes from the position to the end; 0 when the position is outside the block.
    unsigned Remaining() const noexcept;

    int m_position = 0;
    unsigned m_size;
    char* m_data;  // not owned by this frame
    bool m_readOnly;
};

class ZTBASE_API CXFileMemoryMapped : public CXFileMemoryBlock {
public:
    // Takes over the open system file and maps size bytes of it (the whole file when size is 0); a
    // writable mapping longer than the file extends the file. Raises, closing nothing it was not given:
    // "Invalid initialization of CXFileMemoryMapped : " + name (10009) for no file; "GetFileSize failed : "
    // + name, "Unable to create file mapping for " + name + " : " + the system's message (also written to
    // the debug output) and "MapViewOfFile failed : " + name (11001).
    CXFileMemoryMapped(const CStr& name, int systemFile, XF_TEXT_MODE mode, unsigned char readOnly, int size);
    // Unmaps and closes the file.
    ~CXFileMemoryMapped() override;

    // The mapping's changes and the file on disk, waited for.
    void Flush() override;
    // Remaps at the new length: read-only raises "cannot modify a read-only file" (10009), a failed cut
    // "Unable to perform a seek on the file!" (11001), a failed mapping the construction's messages.
    // Pointers handed out before are invalid afterwards.
    void SetFileLength(unsigned int length) override;

private:
    void Map();
    void Unmap() noexcept;

    int m_file;
};

class ZTBASE_API CXFileMemoryView : public CXFileMemoryBlock {
public:
    // data is the caller's and must outlive the body.
    CXFileMemoryView(const CStr& name, char* data, unsigned size, XF_TEXT_MODE mode, unsigned char readOnly)
        : CXFileMemoryBlock(name, mode, data, size, readOnly != 0) {}
};

class ZTBASE_API CXFileSubsetOfMemoryMappedFile : public CXFileMemoryView {
public:
    // size bytes at data, which lie inside the file whose body owner keeps alive.
    CXFileSubsetOfMemoryMappedFile(const CStr& name, char* data, unsigned size, XF_TEXT_MODE mode,
                                   unsigned char readOnly, const CXFile& owner)
        : CXFileMemoryView(name, data, size, mode, readOnly), m_owner(owner) {}

private:
    CXFile m_owner;
};

// Opens (or, with create, makes anew) the file at a native path and maps it. Others may read the file
// while it is open; a failed open raises "File open failed : " + path (11001).
ZTBASE_API CXFile OpenMappedDiskFile(const CStr& nativePath, unsigned char readOnly, int size,
                                     XF_TEXT_MODE mode, bool create);

// A view of the caller's block named "MemoryViewOf_" followed by a process-wide counter from 0.
ZTBASE_API CXFile CreateMemoryViewFile(char* data, unsigned size, unsigned char readOnly, XF_TEXT_MODE mode);

}  // namespace ZtBase
