// What the fuzz targets share: the input as 16-bit text, and a failed property reported as a crash (so
// that libFuzzer keeps the input and the replay fails).
#pragma once

#include <ztbase/ztbase.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

// Each byte is one unit, so that every unit below 256 (controls, quotes, brackets) is reachable.
inline ZtBase::CUniStr Utf16Text(const std::uint8_t* data, std::size_t size) {
    ZtBase::CUniStr text;
    text.Assure(static_cast<unsigned>(size) + 1);
    for (std::size_t i = 0; i < size; ++i)
        if (data[i]) text += static_cast<unsigned short>(data[i]);
    return text;
}

// The input as a read-only file over a copy of its bytes (copy must outlive the file): a read outside the
// input shows as an overflow of the copy, and the fuzzer's buffer stays intact. Inputs beyond 4 GiB are
// not files: the caller skips them.
inline ZtBase::CXFile InputFile(const std::uint8_t* data, std::size_t size, std::vector<char>& copy) {
    copy.assign(data, data + size);
    return ZtBase::gFileSystem.CreateFixedRAMFile(copy.data(), static_cast<unsigned>(copy.size()), 1,
                                                  ZtBase::XF_BINARY);
}

[[noreturn]] inline void Fail(const char* what, const ZtBase::CUniStr& text) {
    std::fprintf(stderr, "%s: %s\n", what, text.ToUtf8().c_str());
    std::abort();
}

// Numbers print with ten significant digits, so a value with one reads back close, not equal.
inline bool HasNumber(const ZtBase::CUniStr& text) {
    for (unsigned i = 0; i < text.Length(); ++i)
        if (text[i] >= '0' && text[i] <= '9') return true;
    return false;
}

// Whether the text holds the lower-case ASCII word, letters compared without case.
inline bool Contains(const ZtBase::CUniStr& text, const char* word) {
    std::string s = text.ToUtf8();
    for (char& c : s) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
    return s.find(word) != std::string::npos;
}

// Numbers whose text does not read back as one number: exponent form without a decimal point ("5e-008";
// the reader takes an exponent only after a decimal point), and infinities and not-a-number as the C
// library prints them ("inf", "-nan"), which read as symbols.
inline bool HasUnreadableNumber(const ZtBase::CUniStr& text) {
    const std::string s = text.ToUtf8();
    if (s.find("inf") != std::string::npos || s.find("nan") != std::string::npos) return true;
    for (unsigned i = 0; i + 2 < text.Length(); ++i)
        if (text[i] >= '0' && text[i] <= '9' && (text[i + 1] == 'e' || text[i + 1] == 'E') &&
            (text[i + 2] == '+' || text[i + 2] == '-'))
            return true;
    return false;
}

// A null value inside another value prints as nothing: an association "key=" (which reads back inside a
// bundle or at the end of the text, but before ")", "]", "," or a space the reader takes what follows as
// the value, or raises), a set element between "[" or "," and "," or "]", or a key before "=". The binary
// form writes nothing for a null key or value in an association or a bundle, so neither form reads back.
inline bool HasNullInside(const ZtBase::CUniStr& text) {
    const unsigned n = text.Length();
    if (n > 0 && (text[0u] == '=' || text[n - 1] == '=')) return true;
    for (unsigned i = 0; i + 1 < text.Length(); ++i) {
        const unsigned short a = text[i], b = text[i + 1];
        if (a == '=' && (b == ')' || b == ']' || b == ',' || b == ' ' || b == '}')) return true;
        if ((a == '[' || a == ',') && (b == ',' || b == ']')) return true;
        if (b == '=' && !(a == '_' || a == '~' || (a >= '0' && a <= '9') || (a >= 'A' && a <= 'Z') ||
                          (a >= 'a' && a <= 'z') || a >= 128))
            return true;  // a null key: "=" after something that cannot end a symbol
    }
    return false;
}

// Not-a-number equals nothing, itself included.
inline bool HasNaN(const ZtBase::CUniStr& text) {
    const std::string s = text.ToUtf8();
    return s.find("nan") != std::string::npos || s.find("NAN") != std::string::npos ||
           s.find("NaN") != std::string::npos;
}

// The bytes of a whole file.
inline std::string Contents(const ZtBase::CXFile& file) {
    std::string bytes(static_cast<std::size_t>(file.GetFileLength()), '\0');
    file.Seek(0);
    if (!bytes.empty()) file.ReadBlock(bytes.data(), static_cast<unsigned>(bytes.size()));
    return bytes;
}

}  // namespace fuzz
