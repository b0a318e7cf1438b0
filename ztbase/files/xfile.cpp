#include "ztbase/files/xfile.h"

#include <cstdlib>

#include "ztbase/files/file_system.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/strings/blob.h"

namespace ZtBase {

namespace detail {
void ThrowXFile(unsigned code, const char* message, unsigned line) {
    throw CZtXFileException(code, CUniStr(message), kXFileModule, line);
}
void ThrowXFile(unsigned code, const char* message, const CStr& name, unsigned line) {
    throw CZtXFileException(code, CUniStr(CStr(message) + name), kXFileModule, line);
}
void ThrowXFileUnlogged(unsigned code, const char* message, const CStr& name, unsigned line) {
    throw CZtUnloggedException(code, CUniStr(CStr(message) + name), kXFileModule, line);
}
}  // namespace detail

namespace {
constexpr unsigned short kEnd = 0xFFFF;
constexpr unsigned short kLineFeed = 10;
constexpr char kDot = '.';

bool EightBit(int mode) {
    return mode >= XF_BINARY && mode <= XF_TEXT_CR;
}
// The 16-bit line and character operations use 16-bit units in binary mode too.
bool UnitsFor16Bit(int mode) {
    return mode == XF_BINARY || IsUnicodeMode(mode);
}
bool Text8Bit(int mode) {
    return mode >= XF_TEXT_CRLF && mode <= XF_TEXT_CR;
}
}  // namespace

// ---- the body's line and character operations ---------------------------------------------------------

CXFileRep::~CXFileRep() = default;

unsigned char CXFileRep::ReadLn(CStr& line) {
    line.Blank();
    const int mode = m_mode;
    if (!IsValidMode(mode)) return 0;
    const bool wide = IsUnicodeMode(mode);
    for (;;) {
        const unsigned short c = wide ? UniGetChar() : static_cast<unsigned short>(GetChar());
        if (c == kEnd) return 0;
        if (c == kLineFeed) return 1;
        // A character with a high byte is stored as "."; in text modes the block reader has already
        // translated line ends, in binary mode a CR before the LF stays in the line.
        line += (c & 0xFF00) ? kDot : static_cast<char>(c);
    }
}

unsigned char CXFileRep::UniReadLn(CUniStr& line) {
    line.Blank();
    const int mode = m_mode;
    if (!IsValidMode(mode)) return 0;
    const bool units = UnitsFor16Bit(mode);
    for (;;) {
        const unsigned short c = units ? UniGetChar() : static_cast<unsigned short>(GetChar());
        if (c == kEnd) return 0;
        if (c == kLineFeed) return 1;
        line += c;
    }
}

void CXFileRep::WriteLn() {
    if (EightBit(m_mode))
        PutChar(kLineFeed);
    else if (IsUnicodeMode(m_mode))
        UniPutChar(kLineFeed);
}

void CXFileRep::UniWriteLn() {
    if (UnitsFor16Bit(m_mode))
        UniPutChar(kLineFeed);
    else if (Text8Bit(m_mode))
        PutChar(kLineFeed);
}

void CXFileRep::WriteLn(const CStr& line) {
    Write(line);
    WriteLn();
}

void CXFileRep::UniWriteLn(const CUniStr& line) {
    UniWrite(line);
    UniWriteLn();
}

void CXFileRep::Write(char c) {
    if (EightBit(m_mode))
        PutChar(static_cast<unsigned char>(c));
    else if (IsUnicodeMode(m_mode))
        UniPutChar(static_cast<unsigned short>(static_cast<signed char>(c)));  // sign-extended, deliberately
}

void CXFileRep::Write(const CStr& text) {
    if (EightBit(m_mode)) {
        if (text.Length()) WriteBlock(text.c_str(), text.Length());
    } else if (IsUnicodeMode(m_mode)) {
        const CUniStr wide(text);
        if (wide.Length()) WriteBlock(reinterpret_cast<const char*>(wide.c_str()), 2 * wide.Length());
    }
}

void CXFileRep::UniWrite(unsigned short c) {
    if (UnitsFor16Bit(m_mode))
        UniPutChar(c);
    else if (Text8Bit(m_mode))
        PutChar((c & 0xFF00) ? kDot : static_cast<short>(c));
}

void CXFileRep::UniWrite(const CUniStr& text) {
    if (UnitsFor16Bit(m_mode)) {
        if (text.Length()) WriteBlock(reinterpret_cast<const char*>(text.c_str()), 2 * text.Length());
    } else if (Text8Bit(m_mode)) {
        const CStr narrow = text.ConvertTo8Bit();
        if (narrow.Length()) WriteBlock(narrow.c_str(), narrow.Length());
    }
}

short CXFileRep::PutCharAsBlock(short c) {
    const char byte = static_cast<char>(c);
    return WriteBlock(&byte, 1) == 1 ? c : short(-1);
}

short CXFileRep::GetCharAsBlock() {
    unsigned char byte;
    return ReadBlock(reinterpret_cast<char*>(&byte), 1) == 1 ? short(byte) : short(-1);
}

unsigned short CXFileRep::UniPutCharAsBlock(unsigned short c) {
    const char bytes[2] = {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    return WriteBlock(bytes, 2) == 2 ? c : kEnd;
}

unsigned short CXFileRep::UniGetCharAsBlock() {
    unsigned char bytes[2];
    if (ReadBlock(reinterpret_cast<char*>(bytes), 2) != 2) return kEnd;
    return static_cast<unsigned short>(bytes[0] | bytes[1] << 8);
}

char* CXFileRep::CreateMemoryView(int, int) {
    return nullptr;
}
unsigned char CXFileRep::IsLockingSupported() {
    return 0;
}
int CXFileRep::LockRegion(int, int) {
    detail::ThrowXFile(kErrWrongState, "Locking not supported", __LINE__);
}
void CXFileRep::UnlockRegion(int) {
    detail::ThrowXFile(kErrWrongState, "Locking not supported", __LINE__);
}
CXFile CXFileRep::GetDuplicateFile() {
    detail::ThrowXFile(kErrWrongState, "Invalid call for this type of file", __LINE__);
}

void CXFileRep::GetWholeFile(CBlob& result) {
    result.Release();
    const int n = GetFileLength();
    if (n <= 0) return;
    Seek(0);
    const bool doubled = m_mode == XF_TEXT_CRLF || m_mode == XF_UNICODE_CRLF;
    const std::size_t room = doubled ? 2 * std::size_t(n) + 2 : std::size_t(n);
    char* buffer = static_cast<char*>(std::calloc(room, 1));
    if (!buffer) throw CMemoryError();
    try {
        ReadBlock(buffer, static_cast<unsigned>(room));
    } catch (...) {
        std::free(buffer);
        throw;
    }
    result = CBlob(buffer, n);
}

// ---- the handle -----------------------------------------------------------------------------------------

void CXFile::OpenExisting(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                          unsigned char readOnly, XF_SHARE_FLAGS share) {
    *this = gFileSystem.OpenExisting(code, name, buffered, mode, readOnly, share);
}
void CXFile::Create(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) {
    *this = gFileSystem.Create(code, name, buffered, mode);
}
void CXFile::OpenForAppend(EOpenCode code, const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                           XF_SHARE_FLAGS share) {
    *this = gFileSystem.OpenForAppend(code, name, buffered, mode, share);
}
void CXFile::OpenExisting(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode, unsigned char readOnly,
                          XF_SHARE_FLAGS share) {
    OpenExisting(eOpenCurrentDir, name, buffered, mode, readOnly, share);
}
void CXFile::Create(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode) {
    Create(eOpenCurrentDir, name, buffered, mode);
}
void CXFile::OpenForAppend(const CStr& name, unsigned char buffered, XF_TEXT_MODE mode,
                           XF_SHARE_FLAGS share) {
    OpenForAppend(eOpenCurrentDir, name, buffered, mode, share);
}

void CXFile::Seek(int p) const {
    if (m_rep) m_rep->Seek(p);
}
void CXFile::SeekFromEnd(int o) const {
    if (m_rep) m_rep->SeekFromEnd(o);
}
void CXFile::SeekRelative(int o) const {
    if (m_rep) m_rep->SeekRelative(o);
}
int CXFile::GetFilePosition() const {
    return m_rep ? m_rep->GetFilePosition() : 0;
}
int CXFile::GetFileLength() const {
    return m_rep ? m_rep->GetFileLength() : 0;
}
unsigned int CXFile::ReadBlock(char* b, unsigned int n) const {
    return m_rep ? m_rep->ReadBlock(b, n) : 0;
}
unsigned int CXFile::WriteBlock(const char* b, unsigned int n) const {
    return m_rep ? m_rep->WriteBlock(b, n) : 0;
}
unsigned char CXFile::ReadLn(CStr& line) const {
    return m_rep ? m_rep->ReadLn(line) : 0;
}
void CXFile::WriteLn() const {
    if (m_rep) m_rep->WriteLn();
}
void CXFile::WriteLn(const CStr& line) const {
    if (m_rep) m_rep->WriteLn(line);
}
void CXFile::Write(char c) const {
    if (m_rep) m_rep->Write(c);
}
void CXFile::Write(const CStr& text) const {
    if (m_rep) m_rep->Write(text);
}
short CXFile::PutChar(short c) const {
    return m_rep ? m_rep->PutChar(c) : short(-1);
}
short CXFile::GetChar() const {
    return m_rep ? m_rep->GetChar() : short(-1);
}
unsigned char CXFile::UniReadLn(CUniStr& line) const {
    return m_rep ? m_rep->UniReadLn(line) : 0;
}
void CXFile::UniWriteLn() const {
    if (m_rep) m_rep->UniWriteLn();
}
void CXFile::UniWriteLn(const CUniStr& line) const {
    if (m_rep) m_rep->UniWriteLn(line);
}
void CXFile::UniWrite(unsigned short c) const {
    if (m_rep) m_rep->UniWrite(c);
}
void CXFile::UniWrite(const CUniStr& text) const {
    if (m_rep) m_rep->UniWrite(text);
}
unsigned short CXFile::UniPutChar(unsigned short c) const {
    return m_rep ? m_rep->UniPutChar(c) : kEnd;
}
unsigned short CXFile::UniGetChar() const {
    return m_rep ? m_rep->UniGetChar() : kEnd;
}
void CXFile::Flush() const {
    if (m_rep) m_rep->Flush();
}
unsigned char CXFile::Eof() const {
    return m_rep ? m_rep->Eof() : 1;
}
char* CXFile::CreateMemoryView(int, int) const {
    return m_rep ? m_rep->CreateMemoryView(0, 0) : nullptr;
}
unsigned char CXFile::IsLockingSupported() const {
    return m_rep ? m_rep->IsLockingSupported() : 0;
}
int CXFile::LockRegion(int offset, int length) const {
    return m_rep ? m_rep->LockRegion(offset, length) : 0;
}
void CXFile::UnlockRegion(int id) const {
    if (m_rep) m_rep->UnlockRegion(id);
}
void CXFile::SetFileLength(unsigned int n) const {
    if (m_rep) m_rep->SetFileLength(n);
}
CXFile CXFile::GetDuplicateFile() const {
    return m_rep ? m_rep->GetDuplicateFile() : CXFile();
}
void CXFile::GetWholeFile(CBlob& result) const {
    if (m_rep) m_rep->GetWholeFile(result);
}
CStr CXFile::GetName() const {
    return m_rep ? m_rep->GetName() : CStr();
}
XF_TEXT_MODE CXFile::GetTextMode() const {
    return m_rep ? m_rep->GetTextMode() : XF_BINARY;
}

CStr CXFile::ReadIntoString() const {
    CStr out;
    if (!m_rep) return out;
    const int position = GetFilePosition();
    const int remaining = GetFileLength() - position;
    if (remaining < 1) return out;
    if (const char* view = m_rep->CreateMemoryView(0, 0)) {
        const char* p = view + position;
        unsigned n = 0;
        while (n < unsigned(remaining) && p[n]) ++n;
        out.Append(p, n);
        SeekFromEnd(0);
        return out;
    }
    for (short c; (c = GetChar()) != -1 && c != 0;) out += static_cast<char>(c);
    return out;
}

CUniStr CXFile::ReadIntoStringW() const {
    CUniStr out;
    if (!m_rep) return out;
    const int position = GetFilePosition();
    const int remaining = GetFileLength() - position;
    if (remaining < 1) return out;
    if (const char* view = m_rep->CreateMemoryView(0, 0)) {
        const char* p = view + position;
        const unsigned units = unsigned(remaining) / 2;
        for (unsigned i = 0; i < units; ++i) {
            const unsigned short u = static_cast<unsigned short>(
                static_cast<unsigned char>(p[2 * i]) | static_cast<unsigned char>(p[2 * i + 1]) << 8);
            if (u == 0) break;
            out += u;
        }
        SeekFromEnd(0);
        return out;
    }
    for (unsigned short c; (c = UniGetChar()) != kEnd && c != 0;) out += c;
    return out;
}

}  // namespace ZtBase
