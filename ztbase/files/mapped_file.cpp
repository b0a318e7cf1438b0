#include "ztbase/files/mapped_file.h"

#include <atomic>
#include <cstring>
#include <string>

#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {

constexpr char kCR = 13;
constexpr char kLF = 10;

std::atomic<unsigned> gMemoryViewCounter{0};

}  // namespace

// ---- the shared frame -----------------------------------------------------------------------------------

unsigned CXFileMemoryBlock::Remaining() const noexcept {
    if (!m_data || m_position < 0 || static_cast<unsigned>(m_position) >= m_size) return 0;
    return m_size - static_cast<unsigned>(m_position);
}

unsigned int CXFileMemoryBlock::ReadBlock(char* buffer, unsigned int count) {
    const unsigned available = Remaining();
    const char* from = available ? m_data + m_position : nullptr;
    const XF_TEXT_MODE mode = GetTextMode();
    if (mode != XF_TEXT_CRLF && mode != XF_TEXT_CR) {
        const unsigned n = count < available ? count : available;
        if (n) std::memcpy(buffer, from, n);
        m_position += static_cast<int>(n);
        return n;
    }
    unsigned taken = 0, delivered = 0;
    while (delivered < count && taken < available) {
        const char c = from[taken++];
        if (c == kCR && mode == XF_TEXT_CRLF) continue;
        buffer[delivered++] = c == kCR ? kLF : c;
    }
    m_position += static_cast<int>(taken);
    return delivered;
}

unsigned int CXFileMemoryBlock::WriteBlock(const char* buffer, unsigned int count) {
    if (m_readOnly) return 0;
    const unsigned room = Remaining();
    char* to = room ? m_data + m_position : nullptr;
    const XF_TEXT_MODE mode = GetTextMode();
    if (mode != XF_TEXT_CRLF && mode != XF_TEXT_CR) {
        const unsigned n = count < room ? count : room;
        if (n) std::memcpy(to, buffer, n);
        m_position += static_cast<int>(n);
        return n;
    }
    unsigned stored = 0, taken = 0;
    while (taken < count && stored < room) {
        const char c = buffer[taken];
        if (c != kLF) {
            to[stored++] = c;
        } else if (mode == XF_TEXT_CR) {
            to[stored++] = kCR;
        } else {
            if (room - stored < 2) break;  // the pair does not fit
            to[stored++] = kCR;
            to[stored++] = kLF;
        }
        ++taken;
    }
    m_position += static_cast<int>(stored);
    return taken;
}

char* CXFileMemoryBlock::CreateMemoryView(int offset, int length) {
    if (!m_data || offset < 0 || length < 0) return nullptr;
    if (static_cast<long long>(offset) + length > static_cast<long long>(m_size)) return nullptr;
    return m_data + offset;
}

void CXFileMemoryBlock::SetFileLength(unsigned int) {
    detail::ThrowXFile(kErrWrongState, "not allowed for this file type", __LINE__);
}

// ---- mapped disk files ----------------------------------------------------------------------------------

CXFileMemoryMapped::CXFileMemoryMapped(const CStr& name, int systemFile, XF_TEXT_MODE mode,
                                       unsigned char readOnly, int size)
    : CXFileMemoryBlock(name, mode, nullptr, static_cast<unsigned>(size), readOnly != 0), m_file(systemFile) {
    if (systemFile == platform::kNoFile)
        detail::ThrowXFile(kErrWrongState, "Invalid initialization of CXFileMemoryMapped : ", name, __LINE__);
    try {
        if (size == 0) {
            int error = 0;
            const long long length = platform::FileSizeOf(m_file, error);
            if (length < 0 || length > 0xFFFFFFFELL)
                detail::ThrowXFile(kErrIO, "GetFileSize failed : ", name, __LINE__);
            SetBlock(nullptr, static_cast<unsigned>(length));
        }
        Map();
    } catch (...) {
        platform::CloseFile(m_file);
        throw;
    }
}

CXFileMemoryMapped::~CXFileMemoryMapped() {
    Unmap();
    platform::CloseFile(m_file);
}

void CXFileMemoryMapped::Map() {
    const bool write = !IsReadOnly();
    int error = 0;
    if (!platform::PrepareMapping(m_file, Size(), write, error)) {
        const CStr text = CStr("Unable to create file mapping for ") + GetName() + CStr(" : ") +
                          CStr(platform::ErrorText(error).c_str());
        const std::string line = std::string(text.c_str()) + "\n";
        platform::DebugOutput(line.data(), line.size());
        detail::ThrowXFile(kErrIO, "", text, __LINE__);
    }
    char* view = static_cast<char*>(platform::MapFile(m_file, Size(), write, error));
    if (!view) detail::ThrowXFile(kErrIO, "MapViewOfFile failed : ", GetName(), __LINE__);
    SetBlock(view, Size());
}

void CXFileMemoryMapped::Unmap() noexcept {
    platform::UnmapFile(Data(), Size());
    SetBlock(nullptr, Size());
}

void CXFileMemoryMapped::Flush() {
    int error = 0;
    if (!platform::SyncMappedFile(m_file, Data(), Size(), error))
        detail::ThrowXFile(kErrIO, "Unable to flush the file : ", GetName(), __LINE__);
}

void CXFileMemoryMapped::SetFileLength(unsigned int length) {
    if (IsReadOnly()) detail::ThrowXFile(kErrWrongState, "cannot modify a read-only file", __LINE__);
    Unmap();
    int error = 0;
    if (!platform::TruncateFile(m_file, length, error))
        detail::ThrowXFile(kErrIO, "Unable to perform a seek on the file!", __LINE__);
    SetBlock(nullptr, length);
    Map();
}

CXFile OpenMappedDiskFile(const CStr& nativePath, unsigned char readOnly, int size, XF_TEXT_MODE mode,
                          bool create) {
    int error = 0;
    const platform::FileId file = platform::OpenFile(
        nativePath.c_str(),
        readOnly && !create ? platform::FileAccess::kRead : platform::FileAccess::kReadWrite, XF_SHARE_READ,
        create ? platform::FileDisposition::kCreateAlways : platform::FileDisposition::kOpenExisting, error);
    if (file == platform::kNoFile)
        detail::ThrowXFileUnlogged(kErrIO, "File open failed : ", nativePath, __LINE__);
    return CXFile(new CXFileMemoryMapped(nativePath, file, mode, create ? 0 : readOnly, size));
}

CXFile CreateMemoryViewFile(char* data, unsigned size, unsigned char readOnly, XF_TEXT_MODE mode) {
    const unsigned number = gMemoryViewCounter.fetch_add(1, std::memory_order_relaxed);
    return CXFile(new CXFileMemoryView(CStr("MemoryViewOf_") + CStr(std::to_string(number).c_str()), data,
                                       size, mode, readOnly));
}

}  // namespace ZtBase
