// CXStreamFile: the common part of the kinds of file that are streams rather than stored bytes (pipes and
// sockets). A stream is read and written in order only: it has no seeking, no length to set, no locks, no
// view and no duplicate, and those operations raise the kind's refusal (10009). Reading blocks until the
// bytes asked for have come or the stream has ended; ReadBlock returns fewer only at the end. The line ends
// are translated as in memory files: modes 1 and 4 drop CR when reading and write LF as CR LF, modes 3 and 6
// read CR as LF and write LF as CR, on bytes in modes 1 to 3 and on 16-bit units in modes 4 to 6.
// Written bytes are gathered in a small buffer that goes out at the end of every block write, at every
// line feed, on Flush, when it is full and when the end closes.
#pragma once

#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"

namespace ZtBase {

class ZTBASE_API CXStreamFile : public CXFileRep {
public:
    ~CXStreamFile() override;

    // Refused: a stream has no position to set.
    void Seek(int position) override;
    void SeekFromEnd(int offset) override;
    void SeekRelative(int offset) override;
    // The bytes delivered to the caller (a reading end) or taken from it (a writing end) so far.
    int GetFilePosition() override;
    // The same count: a stream's length is what has passed so far.
    int GetFileLength() override;
    unsigned int ReadBlock(char* buffer, unsigned int count) override;
    // Returns the caller's count, whatever the translation sent.
    unsigned int WriteBlock(const char* buffer, unsigned int count) override;
    short PutChar(short c) override;
    short GetChar() override;
    unsigned short UniPutChar(unsigned short c) override;
    unsigned short UniGetChar() override;
    void Flush() override;
    // Waits until a byte can be read or the stream has ended (then true). An end that cannot read is
    // always at its end.
    unsigned char Eof() override;
    char* CreateMemoryView(int offset, int length) override;  // null: a stream is not in memory
    int LockRegion(int offset, int length) override;
    void UnlockRegion(int lockId) override;
    void SetFileLength(unsigned int length) override;
    CXFile GetDuplicateFile() override;
    void GetWholeFile(CBlob& result) override;

protected:
    // refusal: the kind's message for the operations it does not offer.
    CXStreamFile(const CStr& name, XF_TEXT_MODE mode, bool reads, bool writes, const char* refusal);
    // Up to count bytes, at least one unless the stream has ended (then 0); raises on failure.
    virtual unsigned Receive(char* buffer, unsigned count) = 0;
    // All count bytes; raises on failure.
    virtual void Send(const char* buffer, unsigned count) = 0;
    // Sends what is buffered; the subclass's destructor calls it before it lets its end go, and reports
    // nothing (a destructor cannot raise).
    void FlushQuietly() noexcept;
    [[noreturn]] void Refuse(unsigned line) const;

private:
    static constexpr unsigned kBufferSize = 4096;
    bool Units() const noexcept { return IsUnicodeMode(GetTextMode()); }
    void CheckReads(unsigned line) const;
    void CheckWrites(unsigned line) const;
    // The next byte or unit as it came, false at the end.
    bool NextRaw(unsigned short& value);
    // The next byte or unit after translation, false at the end.
    bool NextTranslated(unsigned short& value);
    void PutRaw(unsigned short value);
    void PutTranslated(unsigned short value);
    void SendBuffered();

    const char* m_refusal;
    bool m_reads, m_writes;
    bool m_ended = false;
    unsigned m_inStart = 0, m_inEnd = 0, m_outCount = 0;
    unsigned long long m_passed = 0;  // bytes delivered or taken
    char m_in[kBufferSize];
    char m_out[kBufferSize];
};

}  // namespace ZtBase
