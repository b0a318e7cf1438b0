// Layout shared by the pretty printers of sets and bundles.
#pragma once

#include <vector>

#include "ztbase/strings/unistr.h"

namespace ZtBase::detail {

inline bool HasLineFeed(const CUniStr& text) noexcept {
    for (unsigned short c : text)
        if (c == 10) return true;
    return false;
}

// Indentation stops growing at this many spaces: a line that has them already gets no more, so that the
// text of a deeply nested value grows with its size and not with the square of its depth.
inline constexpr unsigned kMaxIndent = 80;

// Whether the line of text that starts at at begins with kMaxIndent spaces.
inline bool FullyIndented(const CUniStr& text, unsigned at) noexcept {
    const unsigned n = text.Length();
    unsigned k = 0;
    while (k < kMaxIndent && at + k < n && text[at + k] == ' ') ++k;
    return k == kMaxIndent;
}

// open + items separated by ", " + close when that is shorter than 50 units and holds no line feed;
// otherwise open and a line feed, each item followed by ", " when another follows and a line feed, then
// close and a line feed. Each item is printed once by the caller.
inline CUniStr PrettyLayout(unsigned short open, unsigned short close, const std::vector<CUniStr>& items) {
    static constexpr U16Literal kSeparator(u", ");
    CUniStr line;
    line += open;
    for (std::size_t i = 0; i < items.size() && line.Length() < 50; ++i) {
        if (i) line.Append(kSeparator, 2);
        line += items[i];
    }
    line += close;
    if (line.Length() < 50 && !HasLineFeed(line)) return line;
    CUniStr text;
    text += open;
    text += static_cast<unsigned short>(10);
    for (std::size_t i = 0; i < items.size(); ++i) {
        text += items[i];
        if (i + 1 < items.size()) text.Append(kSeparator, 2);
        text += static_cast<unsigned short>(10);
    }
    text += close;
    text += static_cast<unsigned short>(10);
    return text;
}

}  // namespace ZtBase::detail
