#include "ztbase/files/stream_file.h"

#include <algorithm>
#include <cstring>

#include "ztbase/base/error_codes.h"
#include "ztbase/files/internal/xfile_errors.h"

namespace ZtBase {

namespace {
constexpr unsigned short kCr = 13, kLf = 10;
}

CXStreamFile::CXStreamFile(const CStr& name, XF_TEXT_MODE mode, bool reads, bool writes, const char* refusal)
    : CXFileRep(name, mode), m_refusal(refusal), m_reads(reads), m_writes(writes) {
    if (!IsValidMode(mode)) detail::ThrowXFile(detail::kErrInvalidFile, "Invalid CXFile", name, __LINE__);
}

CXStreamFile::~CXStreamFile() = default;

void CXStreamFile::Refuse(unsigned line) const {
    detail::ThrowXFile(kErrWrongState, m_refusal, line);
}
void CXStreamFile::CheckReads(unsigned line) const {
    if (!m_reads) Refuse(line);
}
void CXStreamFile::CheckWrites(unsigned line) const {
    if (!m_writes) Refuse(line);
}

void CXStreamFile::Seek(int) {
    Refuse(__LINE__);
}
void CXStreamFile::SeekFromEnd(int) {
    Refuse(__LINE__);
}
void CXStreamFile::SeekRelative(int) {
    Refuse(__LINE__);
}
int CXStreamFile::GetFilePosition() {
    return static_cast<int>(m_passed);
}
int CXStreamFile::GetFileLength() {
    return static_cast<int>(m_passed);
}
char* CXStreamFile::CreateMemoryView(int, int) {
    return nullptr;
}
int CXStreamFile::LockRegion(int, int) {
    Refuse(__LINE__);
}
void CXStreamFile::UnlockRegion(int) {
    Refuse(__LINE__);
}
void CXStreamFile::SetFileLength(unsigned int) {
    Refuse(__LINE__);
}
CXFile CXStreamFile::GetDuplicateFile() {
    Refuse(__LINE__);
}
void CXStreamFile::GetWholeFile(CBlob&) {
    Refuse(__LINE__);
}

// ---- reading --------------------------------------------------------------------------------------
bool CXStreamFile::NextRaw(unsigned short& value) {
    const unsigned width = Units() ? 2 : 1;
    while (m_inEnd - m_inStart < width) {
        if (m_ended) return false;
        // Keep a half unit, then fill behind it.
        std::memmove(m_in, m_in + m_inStart, m_inEnd - m_inStart);
        m_inEnd -= m_inStart;
        m_inStart = 0;
        const unsigned got = Receive(m_in + m_inEnd, kBufferSize - m_inEnd);
        if (got == 0) m_ended = true;  // a half unit left at the end is dropped
        m_inEnd += got;
    }
    const auto* p = reinterpret_cast<const unsigned char*>(m_in + m_inStart);
    value = width == 2 ? static_cast<unsigned short>(p[0] | (p[1] << 8)) : p[0];
    m_inStart += width;
    return true;
}

bool CXStreamFile::NextTranslated(unsigned short& value) {
    const int mode = GetTextMode();
    for (;;) {
        if (!NextRaw(value)) return false;
        if (value != kCr) return true;
        if (mode == XF_TEXT_CR || mode == XF_UNICODE_CR) {
            value = kLf;
            return true;
        }
        if (mode != XF_TEXT_CRLF && mode != XF_UNICODE_CRLF) return true;
    }
}

unsigned int CXStreamFile::ReadBlock(char* buffer, unsigned int count) {
    CheckReads(__LINE__);
    const bool units = Units();
    if (units && (count & 1))
        detail::ThrowXFile(kErrIO, "A unicode file may only be read as aligned 2-byte.", GetName(), __LINE__);
    const int mode = GetTextMode();
    unsigned done = 0;
    if (mode == XF_BINARY || mode == XF_TEXT_LF || mode == XF_UNICODE_LF) {
        // Nothing to translate: whole buffered runs at a time.
        while (done < count) {
            if (m_inEnd - m_inStart < (units ? 2u : 1u)) {
                unsigned short value;
                if (!NextRaw(value)) break;
                buffer[done++] = static_cast<char>(value & 0xFF);
                if (units) buffer[done++] = static_cast<char>(value >> 8);
                continue;
            }
            unsigned n = std::min(count - done, m_inEnd - m_inStart);
            if (units) n &= ~1u;
            std::memcpy(buffer + done, m_in + m_inStart, n);
            m_inStart += n;
            done += n;
        }
    } else {
        unsigned short value;
        while (done < count && NextTranslated(value)) {
            buffer[done++] = static_cast<char>(value & 0xFF);
            if (units) buffer[done++] = static_cast<char>(value >> 8);
        }
    }
    m_passed += done;
    return done;
}

short CXStreamFile::GetChar() {
    CheckReads(__LINE__);
    unsigned short value;
    if (!NextTranslated(value)) return -1;
    m_passed += Units() ? 2 : 1;
    return static_cast<short>(value);
}

unsigned short CXStreamFile::UniGetChar() {
    CheckReads(__LINE__);
    unsigned short value;
    if (!NextTranslated(value)) return 0xFFFF;
    m_passed += Units() ? 2 : 1;
    return value;
}

unsigned char CXStreamFile::Eof() {
    if (!m_reads) return 1;
    const unsigned width = Units() ? 2 : 1;
    if (m_inEnd - m_inStart >= width) return 0;
    unsigned short value;
    if (!NextRaw(value)) return 1;
    m_inStart -= width;  // put it back: it is still in the buffer
    return 0;
}

// ---- writing --------------------------------------------------------------------------------------
void CXStreamFile::SendBuffered() {
    if (m_outCount == 0) return;
    const unsigned n = m_outCount;
    m_outCount = 0;  // a failed send drops what it could not send rather than sending it twice
    Send(m_out, n);
}

void CXStreamFile::PutRaw(unsigned short value) {
    const unsigned width = Units() ? 2 : 1;
    if (kBufferSize - m_outCount < width) SendBuffered();
    m_out[m_outCount++] = static_cast<char>(value & 0xFF);
    if (width == 2) m_out[m_outCount++] = static_cast<char>(value >> 8);
}

void CXStreamFile::PutTranslated(unsigned short value) {
    const int mode = GetTextMode();
    if (value == kLf) {
        if (mode == XF_TEXT_CR || mode == XF_UNICODE_CR) {
            value = kCr;
        } else if (mode == XF_TEXT_CRLF || mode == XF_UNICODE_CRLF) {
            PutRaw(kCr);
        }
    }
    PutRaw(value);
}

unsigned int CXStreamFile::WriteBlock(const char* buffer, unsigned int count) {
    CheckWrites(__LINE__);
    const int mode = GetTextMode();
    if (mode == XF_BINARY || mode == XF_TEXT_LF || mode == XF_UNICODE_LF) {
        SendBuffered();
        if (count) Send(buffer, count);
    } else if (Units()) {
        const auto* p = reinterpret_cast<const unsigned char*>(buffer);
        for (unsigned i = 0; i + 1 < count; i += 2)
            PutTranslated(static_cast<unsigned short>(p[i] | (p[i + 1] << 8)));
        if (count & 1) PutRaw(p[count - 1]);  // an odd last byte goes as it is
        SendBuffered();
    } else {
        for (unsigned i = 0; i < count; ++i) PutTranslated(static_cast<unsigned char>(buffer[i]));
        SendBuffered();
    }
    m_passed += count;
    return count;
}

short CXStreamFile::PutChar(short c) {
    CheckWrites(__LINE__);
    const unsigned short value = Units() ? static_cast<unsigned short>(c) : static_cast<unsigned char>(c);
    PutTranslated(value);
    m_passed += Units() ? 2 : 1;
    if (value == kLf) SendBuffered();
    return c;
}

unsigned short CXStreamFile::UniPutChar(unsigned short c) {
    CheckWrites(__LINE__);
    PutTranslated(Units() ? c : static_cast<unsigned char>(c));
    m_passed += Units() ? 2 : 1;
    if (c == kLf) SendBuffered();
    return c;
}

void CXStreamFile::Flush() {
    if (m_writes) SendBuffered();
}

void CXStreamFile::FlushQuietly() noexcept {
    try {
        if (m_writes) SendBuffered();
    } catch (...) {
        // The end is going away: nothing can report the loss now (the exception has written its line).
    }
}

}  // namespace ZtBase
