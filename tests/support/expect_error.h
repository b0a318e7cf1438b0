// The library's error checked by class, code and message.
#pragma once

#include <gtest/gtest.h>
#include <ztbase/errors/exceptions.h>

#include <string>

namespace test_support {

inline std::string MessageOf(const ZtBase::CZtException& e) {
    return ZtBase::CUniStr(e.GetErrorString(0)).ToUtf8();
}

// Runs f and checks that it raises the exception class E (or one derived from it) with the code and
// message, and the module when one is given.
template <class E = ZtBase::CZtSimpleException, class F>
void ExpectError(F&& f, unsigned code, const std::string& message, const char* module = nullptr) {
    try {
        f();
        ADD_FAILURE() << "nothing was raised, expected " << message;
    } catch (const E& e) {
        EXPECT_EQ(e.GetExceptionErrorCode(), code);
        EXPECT_EQ(MessageOf(e), message);
        if (module) {
            EXPECT_EQ(ZtBase::CUniStr(e.GetModuleName()).ToUtf8(), module);
        }
    } catch (const ZtBase::CZtException& e) {
        ADD_FAILURE() << "another exception class: " << MessageOf(e);
    }
}

// The file layer's error (CZtXFileException) with its code and message.
template <class F>
void ExpectXFileError(F&& f, unsigned code, const std::string& message) {
    ExpectError<ZtBase::CZtXFileException>(f, code, message);
}

}  // namespace test_support
