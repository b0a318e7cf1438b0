// Helpers shared by the memory file and file handle tests: the bytes a memory file stores (before any
// reading translation), and a check of an exception's class, code, message and module.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>
#include <ztbase/files/memory_file.h>

#include <string>

namespace ZtBase {

struct MemoryFileInspector {
    static const CXMemoryFile& Body(const CXFile& file) {
        return *static_cast<const CXMemoryFile*>(file.GetRep());
    }
    // Bytes 0 .. length-1 as stored in the pages.
    static std::string Stored(const CXFile& file) {
        const CXMemoryFile& body = Body(file);
        std::string out;
        for (int i = 0; i < body.m_length; ++i)
            out += body.m_pages[static_cast<std::size_t>(i / CXMemoryFile::kPageSize)]
                               [i % CXMemoryFile::kPageSize];
        return out;
    }
    static std::size_t PageCount(const CXFile& file) { return Body(file).m_pages.size(); }
};

}  // namespace ZtBase

namespace memfile_test {

inline std::string Narrow(const unsigned short* text) {
    std::string out;
    for (; text && *text; ++text) out += *text < 128 ? static_cast<char>(*text) : '?';
    return out;
}

// Runs f, which must raise E with these fields.
template <class E, class F>
void ExpectRaises(F&& f, unsigned code, const char16_t* message, const char16_t* module) {
    try {
        f();
        ADD_FAILURE() << "nothing was raised; expected " << code;
    } catch (const E& e) {
        EXPECT_EQ(e.GetExceptionErrorCode(), code);
        EXPECT_TRUE(ZtBase::CUniStr(e.GetErrorString(0)) == message) << Narrow(e.GetErrorString(0));
        EXPECT_TRUE(ZtBase::CUniStr(e.GetModuleName()) == module) << Narrow(e.GetModuleName());
    }
}

// 16-bit text as the bytes a Unicode file holds (little-endian).
inline std::string UnitBytes(std::u16string_view units) {
    std::string out;
    for (char16_t u : units) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    }
    return out;
}

}  // namespace memfile_test
