// Helpers for the data table tests: 16-bit keys from UTF-8 and a table file built word by word.
#pragma once

#include <ztbase/strings/unistr.h>

#include <cstring>
#include <string>
#include <vector>

namespace table_support {

inline std::u16string U(const std::string& s) {
    return ZtBase::CUniStr::FromUtf8(s).ToU16();
}
inline const unsigned short* K(const std::u16string& s) {
    return reinterpret_cast<const unsigned short*>(s.c_str());
}

// A table file laid out by hand: 32-bit little-endian words and 16-bit keys at chosen offsets.
class FileImage {
public:
    explicit FileImage(unsigned size) : bytes_(size, '\0') {}
    void Put(unsigned at, unsigned value) { std::memcpy(&bytes_[at], &value, 4); }
    unsigned Get(unsigned at) const {
        unsigned v;
        std::memcpy(&v, &bytes_[at], 4);
        return v;
    }
    void PutText(unsigned at, const std::string& text) { std::memcpy(&bytes_[at], text.data(), text.size()); }
    void PutKey(unsigned at, const std::u16string& key) {
        std::memcpy(&bytes_[at], key.data(), 2 * key.size());
        bytes_[at + 2 * key.size()] = bytes_[at + 2 * key.size() + 1] = 0;
    }
    // Header: magic, file length, end of used space, root.
    void Header(unsigned used, unsigned root) {
        PutText(0, std::string("DataTableV1.0", 14));
        Put(20, static_cast<unsigned>(bytes_.size()));
        Put(24, used);
        Put(28, root);
    }
    void Index(unsigned at, std::vector<unsigned> heads, unsigned records) {
        Put(at, static_cast<unsigned>(heads.size()));
        Put(at + 4, records);
        for (unsigned i = 0; i < heads.size(); ++i) Put(at + 12 + 4 * i, heads[i]);
    }
    // A record whose data (if any) starts at the rounded data offset; returns the record's length.
    unsigned Record(unsigned at, const std::u16string& key, unsigned next, unsigned sub,
                    const std::string& data) {
        const unsigned k = static_cast<unsigned>(key.size());
        const unsigned dataAt = (at + 2 * k + 29) & ~7u;
        const unsigned length = dataAt - at + static_cast<unsigned>(data.size());
        Put(at + 4, next);
        Put(at + 8, sub);
        Put(at + 12, k);
        Put(at + 16, length);
        PutKey(at + 20, key);
        PutText(dataAt, data);
        return length;
    }
    std::string& Bytes() { return bytes_; }

private:
    std::string bytes_;
};

}  // namespace table_support
