#include "ztbase/generic/internal/binary_io.h"

#include <cstring>
#include <vector>

#include "ztbase/files/internal/xfile_errors.h"

namespace ZtBase::detail {

namespace {
[[noreturn]] void WriteFailed(unsigned line) {
    ThrowXFile(kErrIO, "Write operation failed", line);
}
[[noreturn]] void ReadFailed(unsigned line) {
    ThrowXFile(kErrIO, "Read operation failed", line);
}

void WriteAll(CXFile& file, const void* bytes, unsigned n) {
    if (file.WriteBlock(static_cast<const char*>(bytes), n) != n) WriteFailed(__LINE__);
}
void ReadAll(const CXFile& file, void* bytes, unsigned n) {
    if (file.ReadBlock(static_cast<char*>(bytes), n) != n) ReadFailed(__LINE__);
}
unsigned Remaining(const CXFile& file) {
    const int left = file.GetFileLength() - file.GetFilePosition();
    return left > 0 ? static_cast<unsigned>(left) : 0u;
}
}  // namespace

void WriteU32(CXFile& file, unsigned int value) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                    static_cast<unsigned char>(value >> 16),
                                    static_cast<unsigned char>(value >> 24)};
    WriteAll(file, bytes, 4);
}

void WriteDouble(CXFile& file, double value) {
    unsigned long long bits;
    std::memcpy(&bits, &value, 8);
    unsigned char bytes[8];
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(bits >> (8 * i));
    WriteAll(file, bytes, 8);
}

void WriteText(CXFile& file, const CUniStr& text) {
    const unsigned n = text.Length();
    WriteU32(file, 2 * n);
    std::vector<unsigned char> bytes(2 * std::size_t(n));
    for (unsigned i = 0; i < n; ++i) {
        bytes[2 * i] = static_cast<unsigned char>(text[i] & 0xFF);
        bytes[2 * i + 1] = static_cast<unsigned char>(text[i] >> 8);
    }
    if (n) WriteAll(file, bytes.data(), 2 * n);
}

unsigned int ReadU32(const CXFile& file) {
    unsigned char b[4];
    ReadAll(file, b, 4);
    return b[0] | unsigned(b[1]) << 8 | unsigned(b[2]) << 16 | unsigned(b[3]) << 24;
}

double ReadDouble(const CXFile& file) {
    unsigned char b[8];
    ReadAll(file, b, 8);
    unsigned long long bits = 0;
    for (int i = 7; i >= 0; --i) bits = bits << 8 | b[i];
    double value;
    std::memcpy(&value, &bits, 8);
    return value;
}

CUniStr ReadText(const CXFile& file) {
    const unsigned bytes = ReadU32(file);
    if (bytes % 2 != 0 || bytes > Remaining(file)) ReadFailed(__LINE__);
    const unsigned n = bytes / 2;
    std::vector<unsigned char> raw(bytes);
    if (bytes) ReadAll(file, raw.data(), bytes);
    CUniStr text;
    text.Assure(n + 1);
    for (unsigned i = 0; i < n; ++i)
        text += static_cast<unsigned short>(raw[2 * i] | raw[2 * i + 1] << 8);  // a zero unit is not kept
    return text;
}

unsigned int ReadCount(const CXFile& file, unsigned int minBytesPerItem) {
    const unsigned count = ReadU32(file);
    if (static_cast<unsigned long long>(count) * minBytesPerItem > Remaining(file)) ReadFailed(__LINE__);
    return count;
}

}  // namespace ZtBase::detail
