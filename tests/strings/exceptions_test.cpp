#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>

using namespace ZtBase;

namespace {

CUniStr U(const unsigned short* s) {
    return CUniStr(s);
}

TEST(Exceptions, BaseAndMemoryErrorsHaveFixedCodesAndTexts) {
    CZtException base;
    EXPECT_EQ(base.GetErrorCode(), 1002);
    EXPECT_TRUE(U(base.GetErrorString(0)) == u"Base Exception");
    CMemoryError memory;
    EXPECT_EQ(memory.GetErrorCode(), 1001);
    EXPECT_TRUE(U(memory.GetErrorString(7)) == u"Out of memory");
    const CZtException& asBase = memory;
    EXPECT_EQ(asBase.GetErrorCode(), 1001);  // virtual through the base
}

template <class E>
void ExpectFields(const E& e, unsigned code, const char16_t* message, const char16_t* module, unsigned line) {
    EXPECT_EQ(e.GetErrorCode(), static_cast<int>(code));
    EXPECT_EQ(e.GetExceptionErrorCode(), code);
    EXPECT_TRUE(U(e.GetErrorString(0)) == message);
    EXPECT_TRUE(U(e.GetErrorString(-5)) == message) << "the argument is ignored";
    EXPECT_TRUE(U(e.GetModuleName()) == module);
    EXPECT_EQ(e.GetLineNumber(), line);
}

TEST(Exceptions, EveryConstructorFormStoresTheFourFields) {
    const CUniStr msg(u"threading error"), mod(u".\\ztprocess");
    ExpectFields(CZtUnloggedException(10005, msg, mod, 150), 10005, u"threading error", u".\\ztprocess", 150);
    ExpectFields(CZtUnloggedException(10005, msg, ".\\ztprocess", 150), 10005, u"threading error",
                 u".\\ztprocess", 150);
    ExpectFields(CZtUnloggedException(10005, msg.c_str(), mod.c_str(), 150), 10005, u"threading error",
                 u".\\ztprocess", 150);
    ExpectFields(CZtUnloggedException(10005, msg.c_str(), ".\\ztprocess", 150), 10005, u"threading error",
                 u".\\ztprocess", 150);
    ExpectFields(CZtSimpleException(11002, CUniStr(u"File not found : a.txt"), ".\\xfile", 7), 11002,
                 u"File not found : a.txt", u".\\xfile", 7);
    // An 8-bit module name is widened byte by byte.
    ExpectFields(CZtSimpleException(1, msg, "mod\xE9", 0), 1, u"threading error", u"mod\u00E9", 0);
}

TEST(Exceptions, CopiesReportTheSameFieldsAndSubclassesKeepTheirType) {
    CZtSimpleException original(10009, CUniStr(u"Invalid call for this type of file"), ".\\xfile", 321);
    CZtSimpleException copy(original);
    ExpectFields(copy, 10009, u"Invalid call for this type of file", u".\\xfile", 321);
    CZtSimpleException assigned(1, CUniStr(u"x"), "y", 2);
    assigned = original;
    ExpectFields(assigned, 10009, u"Invalid call for this type of file", u".\\xfile", 321);

    try {
        throw CZtXFileException(11001, CUniStr(u"File read failed : b"), ".\\xfile", 12);
    } catch (const CZtSimpleException& e) {
        EXPECT_NE(dynamic_cast<const CZtXFileException*>(&e), nullptr);
        ExpectFields(e, 11001, u"File read failed : b", u".\\xfile", 12);
    }
    try {
        throw CZtMappedDataTableException(10501, CUniStr(u"Not a valid data table"), ".\\DataTable", 3);
    } catch (const CZtException& e) {
        EXPECT_EQ(e.GetErrorCode(), 10501);
    }
}

TEST(Exceptions, ArrayBoundsErrorHasItsFixedCodeMessageAndOrigin) {
    try {
        ThrowArrayBoundsException();
        FAIL() << "no exception";
    } catch (const CZtSimpleException& e) {
        ExpectFields(e, 10007, u"subscript out of range", u".\\ztbase", 520);
    }
}

}  // namespace
