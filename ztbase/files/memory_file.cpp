#include "ztbase/files/memory_file.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "ztbase/files/internal/xfile_errors.h"

namespace ZtBase {

namespace {

constexpr char kCR = 13;
constexpr char kLF = 10;
constexpr char kUnitCR[2] = {kCR, 0};
constexpr char kCRLF[2] = {kCR, kLF};
constexpr char kUnitCRLF[4] = {kCR, 0, kLF, 0};

// Names of new memory files. Only a source of distinct names, so relaxed ordering is enough; it is atomic
// because files may be created on several threads at once, and a plain int incremented there would be a
// data race.
std::atomic<unsigned> gMemoryFileCounter{0};

[[noreturn]] void ThrowOutOfMemory(unsigned line) {
    throw CZtMemoryException(kErrFileMemory, CUniStr(u"Out of memory!"), detail::kXFileModule, line);
}

bool IsLineFeedUnit(const char* p) {
    return p[0] == kLF && p[1] == 0;
}
bool IsCarriageReturnUnit(const char* p) {
    return p[0] == kCR && p[1] == 0;
}

}  // namespace

CXMemoryFile::CXMemoryFile(const CStr& name, XF_TEXT_MODE mode) : CXFileRep(name, mode) {}

CXMemoryFile::~CXMemoryFile() {
    for (char* page : m_pages) std::free(page);
}

// ---- checks and pages -----------------------------------------------------------------------------------

void CXMemoryFile::CheckMode() const {
    if (!IsValidMode(GetTextMode())) detail::ThrowXFile(detail::kErrInvalidFile, "Invalid CXFile", __LINE__);
}

void CXMemoryFile::CheckBlockAlignment(unsigned count) const {
    if ((static_cast<unsigned>(m_position) | count) & 1u)
        detail::ThrowXFile(kErrIO, "A unicode file may only be read as aligned 2-byte.", __LINE__);
}

void CXMemoryFile::CheckCharAlignment() const {
    if (m_position & 1) detail::ThrowXFile(kErrIO, "unicode files must be aligned", __LINE__);
}

const char* CXMemoryFile::PageForRead(int index) const {
    // Only a length grown by SetFileLength can reach past the last page.
    if (index < 0 || static_cast<std::size_t>(index) >= m_pages.size()) ThrowArrayBoundsException();
    return m_pages[static_cast<std::size_t>(index)];
}

char* CXMemoryFile::PageForWrite(int index) {
    const auto need = static_cast<std::size_t>(index) + 1;
    if (m_pages.size() < need) {
        try {
            if (m_pages.capacity() < need) m_pages.reserve(std::max(need, 2 * m_pages.capacity()));
        } catch (const std::bad_alloc&) {
            throw CMemoryError();
        }
        while (m_pages.size() < need) {
            char* page = static_cast<char*>(std::calloc(kPageSize, 1));
            if (!page) throw CMemoryError();
            m_pages.push_back(page);  // cannot throw: the room was reserved
        }
    }
    return m_pages[static_cast<std::size_t>(index)];
}

void CXMemoryFile::Store(const char* bytes, unsigned n, bool lfAsCr, bool units) {
    // Offsets are 32-bit signed: a file cannot grow past them.
    if (static_cast<long long>(m_position) + n > INT_MAX) throw CMemoryError();
    while (n > 0) {
        const int offset = m_position % kPageSize;
        char* page = PageForWrite(m_position / kPageSize);
        const unsigned take = std::min(n, static_cast<unsigned>(kPageSize - offset));
        char* to = page + offset;
        std::memcpy(to, bytes, take);
        if (lfAsCr) {
            if (units) {
                // The position is even here, and so is every page's size: units never straddle pages.
                for (unsigned k = 0; k + 1 < take; k += 2)
                    if (IsLineFeedUnit(to + k)) to[k] = kCR;
            } else {
                std::replace(to, to + take, kLF, kCR);
            }
        }
        m_position += static_cast<int>(take);
        if (m_position > m_length) m_length = m_position;
        bytes += take;
        n -= take;
    }
}

bool CXMemoryFile::NextByte(unsigned char& b) {
    if (m_position >= m_length) return false;
    b = static_cast<unsigned char>(PageForRead(m_position / kPageSize)[m_position % kPageSize]);
    ++m_position;
    return true;
}

bool CXMemoryFile::NextUnit(unsigned short& u) {
    if (m_length - m_position < 2) return false;
    const char* p = PageForRead(m_position / kPageSize) + m_position % kPageSize;
    u = static_cast<unsigned short>(static_cast<unsigned char>(p[0]) | static_cast<unsigned char>(p[1]) << 8);
    m_position += 2;
    return true;
}

// ---- reading --------------------------------------------------------------------------------------------

unsigned CXMemoryFile::ReadRaw(char* buffer, unsigned count) {
    unsigned done = 0;
    while (done < count && m_position < m_length) {
        const int offset = m_position % kPageSize;
        const char* page = PageForRead(m_position / kPageSize);
        const unsigned take = std::min({count - done, static_cast<unsigned>(kPageSize - offset),
                                        static_cast<unsigned>(m_length - m_position)});
        std::memcpy(buffer + done, page + offset, take);
        done += take;
        m_position += static_cast<int>(take);
    }
    return done;
}

// Mode 1 drops every CR, mode 3 delivers it as LF. A CR is consumed only while the caller still wants
// bytes.
unsigned CXMemoryFile::ReadBytesTranslated(char* buffer, unsigned count) {
    const bool drop = GetTextMode() == XF_TEXT_CRLF;
    unsigned done = 0;
    while (done < count && m_position < m_length) {
        const int offset = m_position % kPageSize;
        const char* from = PageForRead(m_position / kPageSize) + offset;
        const char* p = from;
        const char* end = p + std::min(kPageSize - offset, m_length - m_position);
        while (p < end && done < count) {
            const char b = *p++;
            if (b != kCR)
                buffer[done++] = b;
            else if (!drop)
                buffer[done++] = kLF;
        }
        m_position += static_cast<int>(p - from);
    }
    return done;
}

// Mode 4 drops every CR unit, mode 6 delivers it as LF. Only whole units below the length are read.
unsigned CXMemoryFile::ReadUnitsTranslated(char* buffer, unsigned count) {
    const bool drop = GetTextMode() == XF_UNICODE_CRLF;
    unsigned done = 0;
    while (done < count && m_length - m_position >= 2) {
        const int offset = m_position % kPageSize;
        const char* from = PageForRead(m_position / kPageSize) + offset;
        const char* p = from;
        const char* end = p + (std::min(kPageSize - offset, m_length - m_position) & ~1);
        for (; p < end && done < count; p += 2) {
            if (!IsCarriageReturnUnit(p)) {
                buffer[done] = p[0];
                buffer[done + 1] = p[1];
                done += 2;
            } else if (!drop) {
                buffer[done] = kLF;
                buffer[done + 1] = 0;
                done += 2;
            }
        }
        m_position += static_cast<int>(p - from);
    }
    return done;
}

unsigned CXMemoryFile::ReadUnlocked(char* buffer, unsigned count) {
    CheckMode();
    switch (GetTextMode()) {
        case XF_TEXT_CRLF:
        case XF_TEXT_CR:
            return ReadBytesTranslated(buffer, count);
        case XF_UNICODE_CRLF:
        case XF_UNICODE_CR:
            CheckBlockAlignment(count);
            return ReadUnitsTranslated(buffer, count);
        default:
            return ReadRaw(buffer, count);
    }
}

// ---- writing --------------------------------------------------------------------------------------------

unsigned CXMemoryFile::WriteUnlocked(const char* buffer, unsigned count) {
    CheckMode();
    switch (GetTextMode()) {
        case XF_TEXT_CRLF: {
            // Each LF is stored as CR LF. The pair goes through the page-spanning store as one piece, so a
            // CR that fills a page is followed by its LF at the start of the next, without a second CR.
            const char* p = buffer;
            const char* end = buffer + count;
            while (p < end) {
                const char* lf =
                    static_cast<const char*>(std::memchr(p, kLF, static_cast<std::size_t>(end - p)));
                const char* runEnd = lf ? lf : end;
                Store(p, static_cast<unsigned>(runEnd - p));
                if (!lf) break;
                Store(kCRLF, 2);
                p = lf + 1;
            }
            break;
        }
        case XF_TEXT_CR:
            Store(buffer, count, true);
            break;
        case XF_UNICODE_CRLF: {
            CheckBlockAlignment(count);
            unsigned start = 0;
            for (unsigned k = 0; k < count; k += 2) {
                if (!IsLineFeedUnit(buffer + k)) continue;
                Store(buffer + start, k - start);
                Store(kUnitCRLF, 4);
                start = k + 2;
            }
            Store(buffer + start, count - start);
            break;
        }
        case XF_UNICODE_CR:
            CheckBlockAlignment(count);
            Store(buffer, count, true, true);
            break;
        default:
            Store(buffer, count);
            break;
    }
    return count;
}

// ---- the operations -------------------------------------------------------------------------------------

void CXMemoryFile::Seek(int position) {
    CGetLock guard(m_lock);
    m_position = position < 0 ? 0 : std::min(position, m_length);
}

void CXMemoryFile::SeekFromEnd(int offset) {
    CGetLock guard(m_lock);
    const long long target = static_cast<long long>(m_length) - offset;
    m_position = target < 0 ? 0 : static_cast<int>(std::min<long long>(target, m_length));
}

void CXMemoryFile::SeekRelative(int offset) {
    CGetLock guard(m_lock);
    const long long target = static_cast<long long>(m_position) + offset;
    m_position = target < 0 ? 0 : static_cast<int>(std::min<long long>(target, m_length));
}

int CXMemoryFile::GetFilePosition() {
    CGetLock guard(m_lock);
    return m_position;
}

int CXMemoryFile::GetFileLength() {
    CGetLock guard(m_lock);
    return m_length;
}

unsigned int CXMemoryFile::ReadBlock(char* buffer, unsigned int count) {
    CGetLock guard(m_lock);
    return ReadUnlocked(buffer, count);
}

unsigned int CXMemoryFile::WriteBlock(const char* buffer, unsigned int count) {
    CGetLock guard(m_lock);
    return WriteUnlocked(buffer, count);
}

short CXMemoryFile::PutChar(short c) {
    CGetLock guard(m_lock);
    CheckMode();
    const int mode = GetTextMode();
    if (!IsUnicodeMode(mode)) {
        const char b = static_cast<char>(c);
        if (b == kLF && mode == XF_TEXT_CRLF)
            Store(kCRLF, 2);
        else
            Store(&b, 1, mode == XF_TEXT_CR);
        return c;
    }
    CheckCharAlignment();
    const auto u = static_cast<unsigned short>(c);
    const char unit[2] = {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
    if (mode == XF_UNICODE_CRLF && IsLineFeedUnit(unit))
        Store(kUnitCRLF, 4);
    else if (mode == XF_UNICODE_CR && IsLineFeedUnit(unit))
        Store(kUnitCR, 2);
    else
        Store(unit, 2);
    return c;
}

short CXMemoryFile::GetChar() {
    CGetLock guard(m_lock);
    CheckMode();
    const int mode = GetTextMode();
    if (!IsUnicodeMode(mode)) {
        for (unsigned char b; NextByte(b);) {
            if (b != kCR) return static_cast<short>(b);
            if (mode == XF_TEXT_CR) return kLF;
            if (mode != XF_TEXT_CRLF) return static_cast<short>(b);
        }
        return -1;
    }
    CheckCharAlignment();
    for (unsigned short u; NextUnit(u);) {
        if (u != static_cast<unsigned short>(kCR)) return static_cast<short>(u);
        if (mode == XF_UNICODE_CR) return kLF;
        if (mode != XF_UNICODE_CRLF) return static_cast<short>(u);
    }
    return -1;
}

unsigned short CXMemoryFile::UniPutChar(unsigned short c) {
    CGetLock guard(m_lock);
    const char unit[2] = {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    return WriteUnlocked(unit, 2) == 2 ? c : static_cast<unsigned short>(0xFFFF);
}

unsigned short CXMemoryFile::UniGetChar() {
    CGetLock guard(m_lock);
    char unit[2];
    if (ReadUnlocked(unit, 2) != 2) return 0xFFFF;
    return static_cast<unsigned short>(static_cast<unsigned char>(unit[0]) |
                                       static_cast<unsigned char>(unit[1]) << 8);
}

void CXMemoryFile::Flush() {
    CGetLock guard(m_lock);
}

unsigned char CXMemoryFile::Eof() {
    CGetLock guard(m_lock);
    return m_position >= m_length ? 1 : 0;
}

char* CXMemoryFile::CreateMemoryView(int, int) {
    CGetLock guard(m_lock);
    return nullptr;
}

unsigned char CXMemoryFile::IsLockingSupported() {
    CGetLock guard(m_lock);
    return 0;
}

int CXMemoryFile::LockRegion(int offset, int length) {
    CGetLock guard(m_lock);
    return CXFileRep::LockRegion(offset, length);
}

void CXMemoryFile::UnlockRegion(int lockId) {
    CGetLock guard(m_lock);
    CXFileRep::UnlockRegion(lockId);
}

void CXMemoryFile::SetFileLength(unsigned int length) {
    CGetLock guard(m_lock);
    m_length = static_cast<int>(length);
}

CXFile CXMemoryFile::GetDuplicateFile() {
    CGetLock guard(m_lock);
    CXMemoryFile* copy = nullptr;
    try {
        copy = new CXMemoryFile(GetName() + CStr("_dup"), GetTextMode());
    } catch (const std::bad_alloc&) {
        ThrowOutOfMemory(__LINE__);
    }
    CXFile result(copy);  // frees the copy if a page cannot be had
    try {
        copy->m_pages.reserve(m_pages.size());
    } catch (const std::bad_alloc&) {
        ThrowOutOfMemory(__LINE__);
    }
    for (const char* page : m_pages) {
        char* fresh = static_cast<char*>(std::malloc(kPageSize));
        if (!fresh) ThrowOutOfMemory(__LINE__);
        std::memcpy(fresh, page, kPageSize);
        copy->m_pages.push_back(fresh);
    }
    copy->m_position = m_position;
    copy->m_length = m_length;
    return result;
}

CXFile CreateMemoryFile(XF_TEXT_MODE mode) {
    const unsigned number = gMemoryFileCounter.fetch_add(1, std::memory_order_relaxed);
    return CXFile(new CXMemoryFile(CStr("MemoryFile_") + CStr(std::to_string(number).c_str()), mode));
}

}  // namespace ZtBase
