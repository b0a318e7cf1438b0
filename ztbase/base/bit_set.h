// CZtBitSet: a fixed number of bits, all clear at first, with range operations that work a word at a
// time (the consistency check of a data table marks every byte of a file in one).
#pragma once

#include <cstdint>
#include <vector>

namespace ZtBase {

class CZtBitSet {
public:
    explicit CZtBitSet(std::size_t bits = 0) : m_bits(bits), m_words((bits + 63) / 64, 0) {}

    std::size_t GetSize() const noexcept { return m_bits; }
    bool Test(std::size_t bit) const noexcept {
        return bit < m_bits && (m_words[bit / 64] >> (bit % 64) & 1u);
    }

    // Sets bits [first, first + count) and tells whether any of them was set before. A range that runs
    // past the end sets nothing and counts as already set.
    bool SetRange(std::size_t first, std::size_t count) noexcept {
        if (first > m_bits || count > m_bits - first) return true;
        bool seen = false;
        std::size_t bit = first;
        const std::size_t end = first + count;
        while (bit < end) {
            const std::size_t word = bit / 64, shift = bit % 64;
            const std::size_t span = end - bit < 64 - shift ? end - bit : 64 - shift;
            const std::uint64_t mask = (span == 64 ? ~std::uint64_t{0} : ((std::uint64_t{1} << span) - 1))
                                       << shift;
            seen |= (m_words[word] & mask) != 0;
            m_words[word] |= mask;
            bit += span;
        }
        return seen;
    }

private:
    std::size_t m_bits;
    std::vector<std::uint64_t> m_words;
};

}  // namespace ZtBase
