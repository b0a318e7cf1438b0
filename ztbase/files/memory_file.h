// CXMemoryFile: a file kept in memory in zero-filled pages of 4096 bytes that grows as it is written.
// It does the full line-end translation of every text mode (16-bit units in the Unicode modes), can be
// duplicated into an independent copy, and holds its own lock for the whole of every operation, so one
// body may be used from several threads (a sequence such as seek-then-read is not atomic as a whole).
#pragma once

#include <vector>

#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/process/locks.h"

namespace ZtBase {

class ZTBASE_API CXMemoryFile : public CXFileRep {
public:
    static constexpr int kPageSize = 4096;

    CXMemoryFile(const CStr& name, XF_TEXT_MODE mode);
    CXMemoryFile(const CXMemoryFile&) = delete;
    CXMemoryFile& operator=(const CXMemoryFile&) = delete;
    ~CXMemoryFile() override;

    // The position is clamped to 0..length; seeking is never an error.
    void Seek(int position) override;
    void SeekFromEnd(int offset) override;
    void SeekRelative(int offset) override;
    int GetFilePosition() override;
    int GetFileLength() override;
    // Translated as the mode says. Modes 4 to 6 need an even position and count: otherwise 11001 "A unicode
    // file may only be read as aligned 2-byte." (the same text for writing). A mode above 6: 10005.
    unsigned int ReadBlock(char* buffer, unsigned int count) override;
    // Returns the caller's count, whatever the translation stored.
    unsigned int WriteBlock(const char* buffer, unsigned int count) override;
    // One byte in modes 0 to 3, one 16-bit unit in modes 4 to 6 (an odd position there raises 11001
    // "unicode files must be aligned"), translated like the block operations.
    short PutChar(short c) override;
    short GetChar() override;
    unsigned short UniPutChar(unsigned short c) override;
    unsigned short UniGetChar() override;
    void Flush() override;
    unsigned char Eof() override;
    // The pages are not contiguous: no view.
    char* CreateMemoryView(int offset, int length) override;
    unsigned char IsLockingSupported() override;
    int LockRegion(int offset, int length) override;
    void UnlockRegion(int lockId) override;
    // Sets the length and nothing else: no page is made or freed and the position stays. Reading below a
    // length grown this way past the last page raises the page array's index error.
    void SetFileLength(unsigned int length) override;
    // An independent copy named after this file with "_dup", with the same pages, position and length.
    CXFile GetDuplicateFile() override;

private:
    friend struct MemoryFileInspector;  // lets the tests see the stored bytes

    void CheckMode() const;
    void CheckBlockAlignment(unsigned count) const;
    void CheckCharAlignment() const;
    const char* PageForRead(int index) const;
    char* PageForWrite(int index);
    // Copies n bytes to the position, making pages as needed; in mode 3 (mode 6) LF bytes (units) are
    // stored as CR. Advances the position and extends the length.
    void Store(const char* bytes, unsigned n, bool lfAsCr = false, bool units = false);
    unsigned ReadUnlocked(char* buffer, unsigned count);
    unsigned WriteUnlocked(const char* buffer, unsigned count);
    unsigned ReadRaw(char* buffer, unsigned count);
    unsigned ReadBytesTranslated(char* buffer, unsigned count);
    unsigned ReadUnitsTranslated(char* buffer, unsigned count);
    // The next byte (unit) of the file without translation, or false at the end.
    bool NextByte(unsigned char& b);
    bool NextUnit(unsigned short& u);

    std::vector<char*> m_pages;  // page k holds bytes k*4096 .. k*4096+4095
    int m_position = 0;
    int m_length = 0;
    CQuickLock m_lock;
};

// A new, empty memory file named "MemoryFile_" followed by a process-wide counter that starts at 0.
ZTBASE_API CXFile CreateMemoryFile(XF_TEXT_MODE mode);

}  // namespace ZtBase
