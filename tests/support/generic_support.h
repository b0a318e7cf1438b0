// Helpers shared by the tests of generic values: texts as UTF-8, binary forms as byte vectors, and the
// library's error checked by code and message.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/ztbase.h>

#include <string>
#include <vector>

namespace generic_support {

using namespace ZtBase;

inline std::string Utf8(const CUniStr& s) {
    return s.ToUtf8();
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

template <class F>
void ExpectError(F&& f, unsigned code, const std::string& message) {
    try {
        f();
        ADD_FAILURE() << "nothing was raised, expected " << message;
    } catch (const CZtSimpleException& e) {
        EXPECT_EQ(e.GetExceptionErrorCode(), code);
        EXPECT_EQ(Utf8(e.GetErrorString(0)), message);
    }
}

}  // namespace generic_support
