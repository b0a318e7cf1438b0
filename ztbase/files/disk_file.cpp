#include "ztbase/files/disk_file.h"

#include <algorithm>
#include <cstring>
#include <string>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

using detail::ThrowXFile;
using detail::ThrowXFileUnlogged;
namespace pf = platform;

namespace {

constexpr char kCR = '\r';
constexpr char kLF = '\n';

int ClampToInt(long long v) {
    if (v < 0) return 0;
    if (v > 0x7FFFFFFF) return 0x7FFFFFFF;
    return static_cast<int>(v);
}

// The first byte of [p, p + n) equal to a, b or c, or null: 16 bytes at a time where the processor can.
const char* FindAnyOf(const char* p, std::size_t n, char a, char b, char c) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i va = _mm_set1_epi8(a), vb = _mm_set1_epi8(b), vc = _mm_set1_epi8(c);
    for (; i + 16 <= n; i += 16) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const __m128i hit =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(x, va), _mm_cmpeq_epi8(x, vb)), _mm_cmpeq_epi8(x, vc));
        if (const int mask = _mm_movemask_epi8(hit))
            return p + i + __builtin_ctz(static_cast<unsigned>(mask));
    }
#endif
    for (; i < n; ++i)
        if (p[i] == a || p[i] == b || p[i] == c) return p + i;
    return nullptr;
}

}  // namespace

// ---- the buffered kind --------------------------------------------------------------------------------

CXFileBuffered::CXFileBuffered(const CStr& name, int systemFile, XF_TEXT_MODE mode, unsigned char readOnly)
    : CXFileRep(name, mode), m_file(systemFile), m_readOnly(readOnly) {
    if (!IsValidMode(mode)) {
        pf::CloseFile(m_file);
        m_file = pf::kNoFile;
        ThrowXFile(detail::kErrInvalidFile, "Invalid CXFile", __LINE__);
    }
    int error = 0;
    const long long size = pf::FileSizeOf(m_file, error);
    if (size < 0) {
        pf::CloseFile(m_file);
        m_file = pf::kNoFile;
        ThrowXFile(kErrIO, "GetFileSize failed : ", name, __LINE__);
    }
    m_length = ClampToInt(size);
}

CXFileBuffered::~CXFileBuffered() {
    WriteBack(false);
    pf::CloseFile(m_file);
}

void CXFileBuffered::Seek(int position) {
    m_position = position < 0 ? 0 : position >= m_length ? m_length : position;
}

void CXFileBuffered::SeekFromEnd(int offset) {
    Seek(ClampToInt(static_cast<long long>(m_length) - offset));
}

void CXFileBuffered::SeekRelative(int offset) {
    const long long target = static_cast<long long>(m_position) + offset;
    Seek(target < 0 ? 0 : ClampToInt(target));
}

bool CXFileBuffered::WriteBack(bool raise) {
    if (m_file == pf::kNoFile || !m_dirty || m_count < 1) return true;
    int error = 0;
    m_fileOffset = -1;
    if (pf::SeekFile(m_file, m_windowStart, pf::SeekFrom::kBegin, error) < 0) {
        if (raise) ThrowXFile(kErrIO, "Seek failed -- there was some loss of data : ", GetName(), __LINE__);
        return false;
    }
    if (pf::WriteFile(m_file, m_buffer, static_cast<std::size_t>(m_count), error) < 0) {
        // The window stays dirty: nothing given to the body is dropped by a failed write.
        if (raise) ThrowXFile(kErrIO, "File write failed : ", GetName(), __LINE__);
        return false;
    }
    m_dirty = 0;
    m_fileOffset = static_cast<long long>(m_windowStart) + m_count;
    return true;
}

void CXFileBuffered::Refill() {
    WriteBack(true);
    m_windowStart = m_position;
    m_count = 0;
    int error = 0;
    // Reading on from where the last read or write left the file needs no seek: half the system calls of
    // a sequential read.
    if (m_fileOffset != m_position) {
        m_fileOffset = -1;
        if (pf::SeekFile(m_file, m_position, pf::SeekFrom::kBegin, error) < 0)
            ThrowXFile(kErrIO, "Seek failed : ", GetName(), __LINE__);
    }
    m_fileOffset = -1;
    const long long n = pf::ReadFile(m_file, m_buffer, kWindowSize, error);
    if (n < 0) ThrowXFile(kErrIO, "ReadFile failed : ", GetName(), __LINE__);
    m_count = static_cast<int>(n);
    m_fileOffset = m_position + n;
}

unsigned int CXFileBuffered::ReadBlock(char* buffer, unsigned int count) {
    if (m_file == pf::kNoFile) return 0;
    if (!Raw()) return ReadTranslated(buffer, count);
    unsigned int delivered = 0;
    while (delivered < count) {
        if (m_position < 0 || m_position >= m_length) break;
        if (!InValidWindow(m_position)) {
            Refill();
            if (!InValidWindow(m_position)) break;
        }
        const unsigned int available = static_cast<unsigned>(m_windowStart + m_count - m_position);
        const unsigned int n = std::min(available, count - delivered);
        std::memcpy(buffer + delivered, m_buffer + (m_position - m_windowStart), n);
        m_position += static_cast<int>(n);
        delivered += n;
    }
    return delivered;
}

unsigned int CXFileBuffered::ReadTranslated(char* buffer, unsigned int count) {
    const XF_TEXT_MODE mode = GetTextMode();
    unsigned int delivered = 0;
    while (delivered < count) {
        if (m_position < 0 || m_position >= m_length) break;
        if (!InValidWindow(m_position)) {
            Refill();
            if (!InValidWindow(m_position)) break;
        }
        const char c = m_buffer[m_position - m_windowStart];
        ++m_position;
        if (c == kCR) {
            if (mode == XF_TEXT_CRLF) continue;
            if (mode == XF_TEXT_CR) {
                buffer[delivered++] = kLF;
                continue;
            }
        }
        buffer[delivered++] = c;
    }
    return delivered;
}

void CXFileBuffered::PrepareWrite(int need) {
    const bool continues = m_position >= m_windowStart && m_position - m_windowStart <= m_count &&
                           m_position - m_windowStart + need <= kWindowSize;
    if (continues) return;
    WriteBack(true);
    m_windowStart = m_position;
    m_count = 0;
}

unsigned int CXFileBuffered::WriteBlock(const char* buffer, unsigned int count) {
    if (m_file == pf::kNoFile) return 0;
    if (m_readOnly)
        ThrowXFile(kErrWrongState, "Attempted to write to a read-only file : ", GetName(), __LINE__);
    if (!Raw()) return WriteTranslated(buffer, count);
    unsigned int taken = 0;
    while (taken < count) {
        PrepareWrite(1);
        const unsigned int room = static_cast<unsigned>(m_windowStart + kWindowSize - m_position);
        const unsigned int n = std::min(room, count - taken);
        std::memcpy(m_buffer + (m_position - m_windowStart), buffer + taken, n);
        m_dirty = 1;
        m_position += static_cast<int>(n);
        taken += n;
        if (m_position > m_length) m_length = m_position;
        m_count = std::max(m_count, m_position - m_windowStart);
    }
    return taken;
}

// Text and Unicode modes: the length field stays as it was at the open (deliberately), so Seek, Eof and
// GetFileLength keep that length until the file is opened again.
unsigned int CXFileBuffered::WriteTranslated(const char* buffer, unsigned int count) {
    const XF_TEXT_MODE mode = GetTextMode();
    unsigned int taken = 0;
    for (; taken < count; ++taken) {
        const char c = buffer[taken];
        if (c == kLF && mode == XF_TEXT_CRLF) {
            // The pair never straddles two windows.
            PrepareWrite(2);
            char* p = m_buffer + (m_position - m_windowStart);
            p[0] = kCR;
            p[1] = kLF;
            m_position += 2;
        } else {
            PrepareWrite(1);
            m_buffer[m_position - m_windowStart] = (c == kLF && mode == XF_TEXT_CR) ? kCR : c;
            m_position += 1;
        }
        m_dirty = 1;
        m_count = std::max(m_count, m_position - m_windowStart);
    }
    return taken;
}

unsigned char CXFileBuffered::ReadLn(CStr& line) {
    const XF_TEXT_MODE mode = GetTextMode();
    if (IsUnicodeMode(mode)) return CXFileRep::ReadLn(line);
    line.Clear();
    if (m_file == pf::kNoFile) return 0;
    for (;;) {
        if (m_position < 0 || m_position >= m_length) return 0;
        if (!InValidWindow(m_position)) {
            Refill();
            if (!InValidWindow(m_position)) return 0;
        }
        // The bytes a character reader would get from here: to the window's end or the length. One scan
        // finds the line end and the bytes a line never keeps (a zero byte; a CR in mode 1).
        const int end = std::min(m_windowStart + m_count, m_length);
        const char* const start = m_buffer + (m_position - m_windowStart);
        const char* p = start;
        std::size_t n = static_cast<std::size_t>(end - m_position);
        const char special = mode == XF_TEXT_LF || mode == XF_BINARY ? kLF : kCR;
        for (;;) {
            const char* stop = FindAnyOf(p, n, kLF, special, 0);
            const std::size_t run = stop ? std::size_t(stop - p) : n;
            if (run) line.Append(p, static_cast<unsigned>(run));
            if (!stop) {
                m_position += static_cast<int>(p + run - start);
                break;
            }
            p += run + 1;
            n -= run + 1;
            if (*stop == kLF || (*stop == kCR && mode == XF_TEXT_CR)) {
                m_position += static_cast<int>(p - start);
                return 1;
            }
        }
    }
}

short CXFileBuffered::PutChar(short c) {
    return PutCharAsBlock(c);
}

short CXFileBuffered::GetChar() {
    return GetCharAsBlock();
}
unsigned short CXFileBuffered::UniPutChar(unsigned short c) {
    return UniPutCharAsBlock(c);
}
unsigned short CXFileBuffered::UniGetChar() {
    return UniGetCharAsBlock();
}

void CXFileBuffered::Flush() {
    WriteBack(true);
    if (m_readOnly || m_file == pf::kNoFile) return;
    int error = 0;
    if (!pf::SyncFile(m_file, error)) {
        std::string text = pf::ErrorText(error);
        if (text.size() > 512) text.resize(512);
        const std::string message = "I/O error on file:\n        " + text;
        ThrowXFile(kErrIO, message.c_str(), __LINE__);
    }
}

int CXFileBuffered::LockRegion(int, int) {
    return -1;
}
void CXFileBuffered::UnlockRegion(int) {}

void CXFileBuffered::SetFileLength(unsigned int length) {
    if (m_readOnly) ThrowXFile(kErrWrongState, "Cannot modify a read-only file!", __LINE__);
    if (m_file == pf::kNoFile) return;
    WriteBack(true);
    m_count = 0;
    m_windowStart = 0;
    int error = 0;
    m_fileOffset = -1;
    if (pf::SeekFile(m_file, length, pf::SeekFrom::kBegin, error) < 0)
        ThrowXFile(kErrIO, "Seek failed -- there was some loss of data : ", GetName(), __LINE__);
    if (!pf::TruncateFile(m_file, length, error))
        ThrowXFile(kErrIO, "SetEndOfFile failed : ", GetName(), __LINE__);
}

// ---- the unbuffered kind ------------------------------------------------------------------------------

CXFileUnbuffered::CXFileUnbuffered(const CStr& name, int systemFile, unsigned char readOnly)
    : CXFileRep(name, XF_BINARY), m_file(systemFile), m_readOnly(readOnly) {}

CXFileUnbuffered::~CXFileUnbuffered() {
    pf::CloseFile(m_file);
}

long long CXFileUnbuffered::SeekTo(long long offset, int from) {
    int error = 0;
    const long long result = pf::SeekFile(m_file, offset, static_cast<pf::SeekFrom>(from), error);
    if (result < 0) ThrowXFile(kErrIO, "File seek failed : ", GetName(), __LINE__);
    return result;
}

void CXFileUnbuffered::Seek(int position) {
    SeekTo(position, int(pf::SeekFrom::kBegin));
}
void CXFileUnbuffered::SeekFromEnd(int offset) {
    SeekTo(offset, int(pf::SeekFrom::kEnd));
}
void CXFileUnbuffered::SeekRelative(int offset) {
    SeekTo(offset, int(pf::SeekFrom::kCurrent));
}

int CXFileUnbuffered::GetFilePosition() {
    int error = 0;
    const long long result = pf::SeekFile(m_file, 0, pf::SeekFrom::kCurrent, error);
    if (result < 0) ThrowXFile(kErrIO, "File GetFilePosition failed : ", GetName(), __LINE__);
    return ClampToInt(result);
}

int CXFileUnbuffered::GetFileLength() {
    int error = 0;
    const long long size = pf::FileSizeOf(m_file, error);
    if (size < 0) ThrowXFile(kErrIO, "GetFileSize failed : ", GetName(), __LINE__);
    return ClampToInt(size);
}

unsigned int CXFileUnbuffered::ReadBlock(char* buffer, unsigned int count) {
    int error = 0;
    const long long n = pf::ReadFile(m_file, buffer, count, error);
    if (n < 0) ThrowXFile(kErrIO, "File read failed : ", GetName(), __LINE__);
    return static_cast<unsigned>(n);
}

unsigned int CXFileUnbuffered::WriteBlock(const char* buffer, unsigned int count) {
    if (m_readOnly)
        ThrowXFile(kErrWrongState, "Attempted to write to a read-only file : ", GetName(), __LINE__);
    int error = 0;
    const long long n = pf::WriteFile(m_file, buffer, count, error);
    if (n < 0) ThrowXFile(kErrIO, "File write failed : ", GetName(), __LINE__);
    return static_cast<unsigned>(n);
}

short CXFileUnbuffered::PutChar(short c) {
    return c > 255 ? short(-1) : PutCharAsBlock(c);
}

short CXFileUnbuffered::GetChar() {
    return GetCharAsBlock();
}
unsigned short CXFileUnbuffered::UniPutChar(unsigned short c) {
    return UniPutCharAsBlock(c);
}
unsigned short CXFileUnbuffered::UniGetChar() {
    return UniGetCharAsBlock();
}

void CXFileUnbuffered::Flush() {
    if (m_readOnly) return;
    int error = 0;
    if (!pf::SyncFile(m_file, error)) ThrowXFile(kErrIO, "I/O error on file : ", GetName(), __LINE__);
}

unsigned char CXFileUnbuffered::Eof() {
    return GetFilePosition() >= GetFileLength() ? 1 : 0;
}

int CXFileUnbuffered::LockRegion(int offset, int length) {
    // The system takes 32-bit unsigned offsets and lengths.
    const unsigned start = static_cast<unsigned>(offset);
    const unsigned count = static_cast<unsigned>(length);
    // A region this open already holds cannot be locked again (the system would merge the two).
    for (std::size_t i = 0; i < m_lockInUse.size(); ++i) {
        if (!m_lockInUse[i] || count == 0 || m_lockLengths[i] == 0) continue;
        const unsigned long long a0 = start, a1 = a0 + count;
        const unsigned long long b0 = m_lockOffsets[i], b1 = b0 + m_lockLengths[i];
        if (a0 < b1 && b0 < a1)
            ThrowXFileUnlogged(kErrIO, "Error returned for lock file : ", GetName(), __LINE__);
    }
    int error = 0;
    if (!pf::LockFileRange(m_file, start, count, error))
        ThrowXFileUnlogged(kErrIO, "Error returned for lock file : ", GetName(), __LINE__);
    std::size_t slot = 0;
    while (slot < m_lockInUse.size() && m_lockInUse[slot]) ++slot;
    if (slot == m_lockInUse.size()) {
        m_lockOffsets.push_back(start);
        m_lockLengths.push_back(count);
        m_lockInUse.push_back(1);
    } else {
        m_lockOffsets[slot] = start;
        m_lockLengths[slot] = count;
        m_lockInUse[slot] = 1;
    }
    return static_cast<int>(slot);
}

void CXFileUnbuffered::UnlockRegion(int lockId) {
    if (lockId < 0 || static_cast<std::size_t>(lockId) >= m_lockInUse.size() || !m_lockInUse[lockId]) return;
    int error = 0;
    if (!pf::UnlockFileRange(m_file, m_lockOffsets[lockId], m_lockLengths[lockId], error))
        ThrowXFile(kErrIO, "UnlockFile failed : ", GetName(), __LINE__);
    m_lockInUse[lockId] = 0;
}

void CXFileUnbuffered::SetFileLength(unsigned int length) {
    if (m_readOnly) ThrowXFile(kErrWrongState, "Cannot modify a read-only file!", __LINE__);
    // The position is not moved by cutting or extending the file.
    int error = 0;
    if (!pf::TruncateFile(m_file, length, error))
        ThrowXFile(kErrIO, "SetEndOfFile failed : ", GetName(), __LINE__);
}

// ---- the factories ------------------------------------------------------------------------------------

CXFile OpenDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                    XF_SHARE_FLAGS share) {
    if (buffered) {
        if (!(share == XF_SHARE_NONE || (share == XF_SHARE_READ && readOnly)))
            ThrowXFile(kErrWrongState,
                       "Invalid combination -- buffered and read/write and not exclusive : ", nativePath,
                       __LINE__);
    } else if (mode != XF_BINARY) {
        ThrowXFile(kErrWrongState, "Invalid combination -- unbuffered and not binary : ", nativePath,
                   __LINE__);
    }
    int error = 0;
    const pf::FileId file =
        pf::OpenFile(nativePath.c_str(), readOnly ? pf::FileAccess::kRead : pf::FileAccess::kReadWrite, share,
                     pf::FileDisposition::kOpenExisting, error);
    if (file == pf::kNoFile) {
        if (!buffered) ThrowXFileUnlogged(kErrIO, "File open failed : ", nativePath, __LINE__);
        const CStr detail = nativePath + "\n    message = " + CStr(pf::ErrorText(error).c_str());
        ThrowXFile(kErrIO, "File open failed on file: ", detail, __LINE__);
    }
    if (buffered) return CXFile(new CXFileBuffered(nativePath, file, mode, readOnly ? 1 : 0));
    return CXFile(new CXFileUnbuffered(nativePath, file, readOnly ? 1 : 0));
}

CXFile CreateDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode) {
    if (!buffered && mode != XF_BINARY)
        ThrowXFile(kErrWrongState, "non-binary and unbuffered requested together : ", nativePath, __LINE__);
    int error = 0;
    const pf::FileId file = pf::OpenFile(nativePath.c_str(), pf::FileAccess::kReadWrite, XF_SHARE_NONE,
                                         pf::FileDisposition::kCreateAlways, error);
    if (file == pf::kNoFile) {
        if (buffered) ThrowXFile(kErrIO, "File open failed : ", nativePath, __LINE__);
        ThrowXFileUnlogged(kErrIO, "File creation failed : ", nativePath, __LINE__);
    }
    if (buffered) return CXFile(new CXFileBuffered(nativePath, file, mode, 0));
    return CXFile(new CXFileUnbuffered(nativePath, file, 0));
}

CXFile AppendDiskFile(const CStr& nativePath, unsigned char buffered, XF_TEXT_MODE mode, XF_SHARE_FLAGS) {
    if (!buffered && mode != XF_BINARY)
        ThrowXFile(kErrWrongState, "non-binary and unbuffered requested together : ", nativePath, __LINE__);
    int error = 0;
    const pf::FileId file = pf::OpenFile(nativePath.c_str(), pf::FileAccess::kReadWrite, XF_SHARE_NONE,
                                         pf::FileDisposition::kOpenAlways, error);
    if (file == pf::kNoFile) ThrowXFile(kErrIO, "File open failed : ", nativePath, __LINE__);
    CXFile result(buffered ? static_cast<CXFileRep*>(new CXFileBuffered(nativePath, file, mode, 0))
                           : static_cast<CXFileRep*>(new CXFileUnbuffered(nativePath, file, 0)));
    result.SeekFromEnd(0);
    return result;
}

}  // namespace ZtBase
