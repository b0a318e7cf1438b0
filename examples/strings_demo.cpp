// A tour of the foundation: 8-bit and 16-bit strings, the comparison modes, searching, number
// formatting and parsing, and a caught exception with its code, message, module and line.
#include <ztbase/ztbase.h>

#include <cstdio>

using namespace ZtBase;

static const char* Name(ECompare c) {
    switch (c) {
        case eLess:
            return "less";
        case eGreater:
            return "greater";
        case eEqual:
            return "equal";
        default:
            return "no result";
    }
}

int main() {
    // Copies share one body until one of them is written.
    CStr greeting("caf\xE9 au lait");
    CStr copy = greeting;
    copy.Upper();
    std::printf("original : %s\n", CUniStr(greeting).ToUtf8().c_str());
    std::printf("upper    : %s\n", CUniStr(copy).ToUtf8().c_str());

    // The library's collation: sort keys first, ranks only between strings of equal length.
    const char* pairs[][2] = {{"ab", "Ab"}, {"Ab", "abc"}, {"\xE9t\xE9", "ete"}, {"Zebra", "apple"}};
    const char* modes[] = {"exact", "ignore case", "ignore diacritics", "ignore both"};
    for (auto& p : pairs) {
        std::printf("%s vs %s:", CUniStr(p[0]).ToUtf8().c_str(), p[1]);
        for (int m = 0; m < 4; ++m)
            std::printf("  %s=%s", modes[m], Name(CStr(p[0]).Compare(p[1], static_cast<ECompareMode>(m))));
        std::printf("\n");
    }

    // Positions are counted from the start of the search.
    unsigned pos = 0;
    CStr text("abcab");
    if (text.Find(CStr("b"), pos, eExact, 2))
        std::printf("'b' after index 2 of 'abcab': pos %u from the start\n", pos);

    // 16-bit text: == is binary, Compare follows the collation of code units.
    CUniStr wide(u"\u0141\u00F3d\u017A");
    std::printf("16-bit   : %s, %u units, narrowed to '%s'\n", wide.ToUtf8().c_str(), wide.Length(),
                CUniStr(CStrFromUniStr(wide)).ToUtf8().c_str());

    // Numbers in and out.
    std::printf("MakeStr(-12, 5, decimal, '0') = '%s'\n", MakeStr(-12, 5, eDecimal, '0').c_str());
    std::printf("MakeStr(255, 4, hex, ' ')      = '%s'\n", MakeStr(255, 4, eHexadecimal, ' ').c_str());
    int value = 0;
    unsigned char ok = CStr("1 000").Convert(value);
    std::printf("'1 000' converts to %d (%s); ", value, ok ? "success" : "failure");
    ok = CStr("0").Convert(value);
    std::printf("'0' converts to %d (%s)\n", value, ok ? "success" : "failure");

    // Errors are exceptions thrown by value and caught by reference.
    try {
        ThrowArrayBoundsException();
    } catch (const CZtException& e) {
        const auto& coded = dynamic_cast<const CZtSimpleException&>(e);
        std::printf("caught   : code %d, \"%s\" from %s line %u\n", e.GetErrorCode(),
                    CUniStr(e.GetErrorString(0)).ToUtf8().c_str(),
                    CUniStr(coded.GetModuleName()).ToUtf8().c_str(), coded.GetLineNumber());
    }
    return 0;
}
