#include "ztbase/strings/format.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace ZtBase {

namespace {

// One unit of the result from a code: the 8-bit result keeps codes below 256 only.
template <class Ch>
inline Ch ToUnit(unsigned code) noexcept {
    if constexpr (sizeof(Ch) == 1)
        return static_cast<Ch>(code < 256 ? code : '?');
    else
        return static_cast<Ch>(code);
}

enum class Length {
    kNone,
    kChar,
    kShort,
    kLong,
    kLongLong,
    kSize,
    kMax,
    kPtrDiff,
    kLongDouble,
    kWide,
    kInt32
};

struct Conversion {
    bool left = false, plus = false, space = false, alt = false, zero = false;
    int width = 0;
    int precision = -1;  // -1: none
    Length length = Length::kNone;
};

template <class Ch>
class Writer {
public:
    Writer(Ch* buffer, std::size_t limit) : m_buffer(buffer), m_limit(limit) {}

    std::size_t Position() const noexcept { return m_pos; }
    bool Put(Ch c) noexcept {
        if (m_pos >= m_limit) return false;
        m_buffer[m_pos++] = c;
        return true;
    }
    bool Fill(Ch c, std::size_t n) noexcept {
        if (n > m_limit - m_pos) return false;
        for (Ch *p = m_buffer + m_pos, *e = p + n; p != e; ++p) *p = c;
        m_pos += n;
        return true;
    }
    // n source units, converted: Src is char (widened byte by byte) or unsigned short.
    template <class Src>
    bool Copy(const Src* s, std::size_t n) noexcept {
        if (n > m_limit - m_pos) return false;
        Ch* p = m_buffer + m_pos;
        for (std::size_t i = 0; i < n; ++i) {
            if constexpr (sizeof(Src) == 1)
                p[i] = ToUnit<Ch>(static_cast<unsigned char>(s[i]));
            else
                p[i] = ToUnit<Ch>(s[i]);
        }
        m_pos += n;
        return true;
    }
    // Text of the given length padded to the conversion's width.
    template <class Src>
    bool Padded(const Conversion& c, const Src* s, std::size_t n) noexcept {
        const std::size_t pad = c.width > 0 && static_cast<std::size_t>(c.width) > n ? c.width - n : 0;
        if (!c.left && pad && !Fill(Ch(' '), pad)) return false;
        if (!Copy(s, n)) return false;
        return !(c.left && pad && !Fill(Ch(' '), pad));
    }
    void Terminate() noexcept {
        if (m_pos < m_limit) m_buffer[m_pos] = 0;
    }

private:
    Ch* m_buffer;
    std::size_t m_limit;
    std::size_t m_pos = 0;
};

template <class Src>
std::size_t BoundedLength(const Src* s, int precision) noexcept {
    const std::size_t max = precision < 0 ? SIZE_MAX : static_cast<std::size_t>(precision);
    std::size_t n = 0;
    while (n < max && s[n]) ++n;
    return n;
}

template <class Ch, class Src>
bool PutString(Writer<Ch>& out, const Conversion& c, const Src* s) {
    if (!s) {
        static constexpr char kNull[] = "(null)";
        const std::size_t n = c.precision >= 0 && c.precision < 6 ? static_cast<std::size_t>(c.precision) : 6;
        return out.Padded(c, kNull, n);
    }
    return out.Padded(c, s, BoundedLength(s, c.precision));
}

// Reads an integer argument of the conversion's length; negative values set negative and give the magnitude.
unsigned long long IntegerArgument(va_list& args, Length length, bool isSigned, bool& negative) {
    negative = false;
    if (isSigned) {
        long long v;
        switch (length) {
            case Length::kChar:
                v = static_cast<signed char>(va_arg(args, int));
                break;
            case Length::kShort:
                v = static_cast<short>(va_arg(args, int));
                break;
            case Length::kLong:
                v = va_arg(args, long);
                break;
            case Length::kLongLong:
            case Length::kLongDouble:
                v = va_arg(args, long long);
                break;
            case Length::kSize:
            case Length::kPtrDiff:
                v = va_arg(args, std::ptrdiff_t);
                break;
            case Length::kMax:
                v = static_cast<long long>(va_arg(args, std::intmax_t));
                break;
            default:
                v = va_arg(args, int);
                break;
        }
        negative = v < 0;
        return negative ? 0ull - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
    }
    switch (length) {
        case Length::kChar:
            return static_cast<unsigned char>(va_arg(args, unsigned));
        case Length::kShort:
            return static_cast<unsigned short>(va_arg(args, unsigned));
        case Length::kLong:
            return va_arg(args, unsigned long);
        case Length::kLongLong:
        case Length::kLongDouble:
            return va_arg(args, unsigned long long);
        case Length::kSize:
        case Length::kPtrDiff:
            return va_arg(args, std::size_t);
        case Length::kMax:
            return static_cast<unsigned long long>(va_arg(args, std::uintmax_t));
        default:
            return va_arg(args, unsigned);
    }
}

template <class Ch>
bool PutInteger(Writer<Ch>& out, Conversion c, char conv, unsigned long long value, bool negative) {
    char digits[72];
    char* end = digits + sizeof(digits);
    char* p = end;
    const unsigned base = conv == 'o' ? 8 : (conv == 'x' || conv == 'X') ? 16 : 10;
    const char* set = conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    for (unsigned long long v = value; v != 0; v /= base) *--p = set[v % base];
    std::size_t ndigits = static_cast<std::size_t>(end - p);
    // Leading zeros asked for by the precision (precision 0 prints nothing for the value 0).
    std::size_t zeros = c.precision < 0                                   ? (value == 0 ? 1 : 0)
                        : static_cast<std::size_t>(c.precision) > ndigits ? c.precision - ndigits
                                                                          : 0;
    if (conv == 'o' && c.alt && zeros == 0 && (ndigits == 0 || *p != '0')) zeros = 1;

    char prefix[2];
    std::size_t nprefix = 0;
    if (conv == 'd' || conv == 'i') {
        if (negative)
            prefix[nprefix++] = '-';
        else if (c.plus)
            prefix[nprefix++] = '+';
        else if (c.space)
            prefix[nprefix++] = ' ';
    } else if (c.alt && value != 0 && (conv == 'x' || conv == 'X')) {
        prefix[nprefix++] = '0';
        prefix[nprefix++] = conv;
    }
    const std::size_t body = nprefix + zeros + ndigits;
    std::size_t pad = c.width > 0 && static_cast<std::size_t>(c.width) > body ? c.width - body : 0;
    if (c.zero && !c.left && c.precision < 0) {
        zeros += pad;
        pad = 0;
    }
    if (!c.left && pad && !out.Fill(Ch(' '), pad)) return false;
    if (nprefix && !out.Copy(prefix, nprefix)) return false;
    if (zeros && !out.Fill(Ch('0'), zeros)) return false;
    if (!out.Copy(p, ndigits)) return false;
    return !(c.left && pad && !out.Fill(Ch(' '), pad));
}

// Floating point goes through the C library's narrow formatter, then is copied (widened when needed).
template <class Ch>
bool PutFloat(Writer<Ch>& out, const Conversion& c, char conv, va_list& args) {
    char narrowFormat[32];
    char* s = narrowFormat;
    *s++ = '%';
    if (c.left) *s++ = '-';
    if (c.plus) *s++ = '+';
    if (c.space) *s++ = ' ';
    if (c.alt) *s++ = '#';
    if (c.zero) *s++ = '0';
    *s++ = '*';
    *s++ = '.';
    *s++ = '*';
    const bool isLong = c.length == Length::kLongDouble;
    if (isLong) *s++ = 'L';
    *s++ = conv;
    *s = 0;
    const int precision = c.precision;  // negative: the default precision
    char local[128];
    int n;
    long double ld = 0;
    double d = 0;
    if (isLong) {
        ld = va_arg(args, long double);
        n = std::snprintf(local, sizeof(local), narrowFormat, c.width, precision, ld);
    } else {
        d = va_arg(args, double);
        n = std::snprintf(local, sizeof(local), narrowFormat, c.width, precision, d);
    }
    if (n < 0) return false;  // wider than any result can be
    if (static_cast<std::size_t>(n) < sizeof(local)) return out.Copy(local, static_cast<std::size_t>(n));
    std::unique_ptr<char[]> big(new char[static_cast<std::size_t>(n) + 1]);
    if (isLong)
        std::snprintf(big.get(), static_cast<std::size_t>(n) + 1, narrowFormat, c.width, precision, ld);
    else
        std::snprintf(big.get(), static_cast<std::size_t>(n) + 1, narrowFormat, c.width, precision, d);
    return out.Copy(big.get(), static_cast<std::size_t>(n));
}

template <class Ch>
bool PutPointer(Writer<Ch>& out, const Conversion& c, const void* pointer) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    char digits[2 * sizeof(void*)];
    auto v = reinterpret_cast<std::uintptr_t>(pointer);
    for (std::size_t i = sizeof(digits); i-- > 0; v >>= 4) digits[i] = kHex[v & 15];
    return out.Padded(c, digits, sizeof(digits));
}

inline int ClampedAdd(int value, int digit) noexcept {
    return value > (INT_MAX - digit) / 10 ? INT_MAX : value * 10 + digit;
}

template <class Ch>
int Format(Ch* buffer, std::size_t limit, const Ch* f, va_list& args) {
    if (limit > static_cast<std::size_t>(INT_MAX)) limit = INT_MAX;
    Writer<Ch> out(buffer, limit);
    constexpr bool kWideFormat = sizeof(Ch) == 2;
    for (;;) {
        // Literal text up to the next conversion.
        const Ch* run = f;
        while (*f != Ch('%') && *f != 0) ++f;
        if (f != run && !out.Copy(run, static_cast<std::size_t>(f - run))) return -1;
        if (*f == 0) break;

        const Ch* start = f++;
        Conversion c;
        for (;; ++f) {
            if (*f == Ch('-'))
                c.left = true;
            else if (*f == Ch('+'))
                c.plus = true;
            else if (*f == Ch(' '))
                c.space = true;
            else if (*f == Ch('#'))
                c.alt = true;
            else if (*f == Ch('0'))
                c.zero = true;
            else
                break;
        }
        if (*f == Ch('*')) {
            ++f;
            const int w = va_arg(args, int);
            if (w < 0) {
                c.left = true;
                c.width = w == INT_MIN ? INT_MAX : -w;
            } else {
                c.width = w;
            }
        } else {
            while (*f >= Ch('0') && *f <= Ch('9'))
                c.width = ClampedAdd(c.width, static_cast<int>(*f++ - Ch('0')));
        }
        if (*f == Ch('.')) {
            ++f;
            c.precision = 0;
            if (*f == Ch('*')) {
                ++f;
                const int prec = va_arg(args, int);
                c.precision = prec < 0 ? -1 : prec;
            } else {
                while (*f >= Ch('0') && *f <= Ch('9'))
                    c.precision = ClampedAdd(c.precision, static_cast<int>(*f++ - Ch('0')));
            }
        }
        switch (*f) {
            case Ch('h'):
                ++f;
                c.length = Length::kShort;
                if (*f == Ch('h')) {
                    ++f;
                    c.length = Length::kChar;
                }
                break;
            case Ch('l'):
                ++f;
                c.length = Length::kLong;
                if (*f == Ch('l')) {
                    ++f;
                    c.length = Length::kLongLong;
                }
                break;
            case Ch('w'):
                ++f, c.length = Length::kWide;
                break;
            case Ch('z'):
                ++f, c.length = Length::kSize;
                break;
            case Ch('j'):
                ++f, c.length = Length::kMax;
                break;
            case Ch('t'):
                ++f, c.length = Length::kPtrDiff;
                break;
            case Ch('L'):
                ++f, c.length = Length::kLongDouble;
                break;
            case Ch('I'):
                ++f;
                if (f[0] == Ch('6') && f[1] == Ch('4')) {
                    f += 2;
                    c.length = Length::kLongLong;
                } else if (f[0] == Ch('3') && f[1] == Ch('2')) {
                    f += 2;
                    c.length = Length::kInt32;
                } else {
                    c.length = Length::kPtrDiff;  // pointer-sized
                }
                break;
            default:
                break;
        }

        const Ch conv = *f;
        if (conv == 0) {  // a conversion cut short by the end of the format: copied as it stands
            if (!out.Copy(start, static_cast<std::size_t>(f - start))) return -1;
            break;
        }
        ++f;
        // Whether a string or character argument is 16-bit: the format's own width for lower case, the
        // other width for upper case, unless h (8-bit) or l/w (16-bit) says otherwise.
        const bool wideArgument = c.length == Length::kShort                               ? false
                                  : c.length == Length::kLong || c.length == Length::kWide ? true
                                  : (conv == Ch('s') || conv == Ch('c'))                   ? kWideFormat
                                                                                           : !kWideFormat;
        bool ok = true;
        switch (conv) {
            case Ch('%'):
                ok = out.Put(Ch('%'));
                break;
            case Ch('d'):
            case Ch('i'):
            case Ch('u'):
            case Ch('x'):
            case Ch('X'):
            case Ch('o'): {
                bool negative;
                const bool isSigned = conv == Ch('d') || conv == Ch('i');
                const unsigned long long v = IntegerArgument(args, c.length, isSigned, negative);
                ok = PutInteger(out, c, static_cast<char>(conv), v, negative);
                break;
            }
            case Ch('e'):
            case Ch('E'):
            case Ch('f'):
            case Ch('F'):
            case Ch('g'):
            case Ch('G'):
            case Ch('a'):
            case Ch('A'):
                ok = PutFloat(out, c, static_cast<char>(conv), args);
                break;
            case Ch('p'):
                ok = PutPointer(out, c, va_arg(args, const void*));
                break;
            case Ch('s'):
            case Ch('S'):
                if (wideArgument)
                    ok = PutString(out, c, va_arg(args, const unsigned short*));
                else
                    ok = PutString(out, c, va_arg(args, const char*));
                break;
            case Ch('c'):
            case Ch('C'): {
                const int v = va_arg(args, int);
                const unsigned short unit =
                    wideArgument ? static_cast<unsigned short>(v) : static_cast<unsigned char>(v);
                c.precision = -1;
                ok = out.Padded(c, &unit, 1);
                break;
            }
            default:
                ok = out.Copy(start, static_cast<std::size_t>(f - start));
                break;
        }
        if (!ok) return -1;
    }
    out.Terminate();
    return static_cast<int>(out.Position());
}

}  // namespace

int FormatTextV(char* buffer, std::size_t limit, const char* format, va_list args) {
    va_list a;
    va_copy(a, args);
    const int n = Format(buffer, limit, format, a);
    va_end(a);
    return n;
}

int FormatTextV(unsigned short* buffer, std::size_t limit, const unsigned short* format, va_list args) {
    va_list a;
    va_copy(a, args);
    const int n = Format(buffer, limit, format, a);
    va_end(a);
    return n;
}

int FormatText(char* buffer, std::size_t limit, const char* format, ...) {
    va_list a;
    va_start(a, format);
    const int n = Format(buffer, limit, format, a);
    va_end(a);
    return n;
}

int FormatText(unsigned short* buffer, std::size_t limit, const unsigned short* format, ...) {
    va_list a;
    va_start(a, format);
    const int n = Format(buffer, limit, format, a);
    va_end(a);
    return n;
}

int FormatText(unsigned short* buffer, std::size_t limit, const char16_t* format, ...) {
    va_list a;
    va_start(a, format);
    const int n = Format(buffer, limit, reinterpret_cast<const unsigned short*>(format), a);
    va_end(a);
    return n;
}

}  // namespace ZtBase
