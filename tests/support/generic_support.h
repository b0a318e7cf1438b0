// Helpers shared by the tests of generic values: texts as UTF-8, binary forms as byte vectors, and the
// library's error checked by code and message.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/ztbase.h>

#include <atomic>
#include <initializer_list>
#include <string>
#include <vector>

#include "expect_error.h"

namespace generic_support {

using namespace ZtBase;

inline std::string Utf8(const CUniStr& s) {
    return s.ToUtf8();
}

// Each unit narrowed to its low byte (the texts of these tests are 8-bit).
inline std::string Narrow(const CUniStr& s) {
    std::string out;
    for (unsigned short c : s) out += static_cast<char>(c);
    return out;
}

inline CGeneric Read(const char16_t* text) {
    return CGeneric::CreateFromString(CUniStr(text));
}
inline std::string Text(const CGeneric& g) {
    return Utf8(g.GetString());
}
inline CGeneric Num(double v) {
    return CGeneric(v);
}
inline CGeneric Str(const char16_t* text) {
    return CGenericString(text);
}
inline CGeneric Sym(const char* text) {
    return CSymbol(text);
}
inline CGenericSet SetOf(std::initializer_list<CGeneric> values) {
    CGenericSet s = MakeSet();
    for (const CGeneric& v : values) s.Add(v);
    return s;
}

// A symbol whose text no other test has interned, so that its number is larger than any made before.
inline CSymbol FreshSymbol(const std::string& stem) {
    static std::atomic<int> counter{0};
    return CSymbol((stem + "_" + std::to_string(counter++)).c_str());
}

inline CXFile RamFile() {
    return gFileSystem.CreateRamFile(XF_BINARY);
}

// The whole content of a file; the file is left at its start.
inline std::vector<unsigned char> Bytes(const CXFile& f) {
    const int length = f.GetFileLength();
    std::vector<unsigned char> out(static_cast<std::size_t>(length));
    f.Seek(0);
    if (length) f.ReadBlock(reinterpret_cast<char*>(out.data()), static_cast<unsigned>(length));
    f.Seek(0);
    return out;
}

// A memory file holding bytes, positioned at its start.
inline CXFile FileOf(const std::vector<unsigned char>& bytes) {
    CXFile f = RamFile();
    if (!bytes.empty()) f.WriteBlock(reinterpret_cast<const char*>(bytes.data()), unsigned(bytes.size()));
    f.Seek(0);
    return f;
}

inline CGeneric Load(const CXFile& f) {
    CGeneric g;
    g << f;
    return g;
}

// A memory file holding value's binary form, positioned at its start.
inline CXFile StoreAndRewind(const CGeneric& value) {
    CXFile f = RamFile();
    value >> f;
    f.Seek(0);
    return f;
}

// Stores value, loads it back and checks that loading read every stored byte.
inline CGeneric StoreAndLoad(const CGeneric& value, std::vector<unsigned char>* bytes = nullptr) {
    CXFile f = RamFile();
    value >> f;
    if (bytes) *bytes = Bytes(f);
    f.Seek(0);
    CGeneric loaded = Load(f);
    EXPECT_EQ(f.GetFilePosition(), f.GetFileLength()) << "the load read every stored byte";
    return loaded;
}

using test_support::ExpectError;

}  // namespace generic_support
