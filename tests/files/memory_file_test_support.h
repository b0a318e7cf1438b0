// Helpers shared by the memory file and file handle tests: the bytes a memory file stores (before any
// reading translation), and 16-bit text as the bytes of a Unicode file.
#pragma once

#include <gtest/gtest.h>
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
