// The README's example: strings, a caught exception, a file written and read back through gFileSystem,
// and a value read from its text form. Built with the library and run by the tests.
#include <ztbase/ztbase.h>

#include <cstdio>

using namespace ZtBase;

int main() {
    CStr a("Ab"), b("abc");
    const bool less = a < b;  // true: strings of different lengths order by length
    CUniStr w(u"caf\u00e9");
    unsigned pos = 0;
    const bool found = w.Find(CUniStr(u"e"), pos, eIgnoreDiacritics);  // true, pos 3
    int code = 0;
    try {
        ThrowArrayBoundsException();
    } catch (const CZtException& e) {
        code = e.GetErrorCode();  // 10007
    }

    // Files are opened through gFileSystem by purpose code (1: the current directory, 5: the temporary one).
    CXFile out;
    out.Create(eOpenTempDir, "notes.txt", 1, XF_TEXT_LF);  // buffered, LF line ends
    out.WriteLn(CStr("first line"));
    out.Blank();  // closes the file
    CXFile in;
    in.OpenExisting(eOpenTempDir, "notes.txt", 1, XF_TEXT_LF, 1, XF_SHARE_READ);
    CStr line;
    in.ReadLn(line);  // "first line"
    in.Blank();
    gFileSystem.Erase(eOpenTempDir, "notes.txt");

    // Values: read from their text form, printed back.
    const CGeneric value = CGeneric::CreateFromString(CUniStr(u"{cat = N, agr = {num = sg}}"));
    const std::string text = value.GetString().ToUtf8();  // "{cat=N,agr={num=sg}}"

    std::printf("%d %d %u %d %s %s\n", less, found, pos, code, line.c_str(), text.c_str());
    return less && found && pos == 3 && code == 10007 && line == "first line" ? 0 : 1;
}
