#include <gtest/gtest.h>
#include <ztbase/files/file_system.h>
#include <ztbase/files/pipe_file.h>

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "expect_error.h"

using namespace ZtBase;

namespace {

using test_support::ExpectXFileError;

CXFile Writer(const char* name, XF_TEXT_MODE mode = XF_BINARY) {
    CXFile f;
    f.Create(name, 1, mode);
    return f;
}
CXFile Reader(const char* name, XF_TEXT_MODE mode = XF_BINARY) {
    CXFile f;
    f.OpenExisting(name, 1, mode, 1, XF_SHARE_READ);
    return f;
}

std::string ReadAll(const CXFile& f) {
    std::string all, chunk(1000, '\0');
    for (unsigned n; (n = f.ReadBlock(chunk.data(), 1000)) > 0;) all.append(chunk.data(), n);
    return all;
}

TEST(Pipe, BytesPassInOrderThroughTheBoundedBufferBetweenTwoThreads) {
    std::mt19937 random(7);
    std::string data(3 * kPipeCapacity + 12345, '\0');
    for (char& c : data) c = static_cast<char>(random());
    CXFile reader = Reader("TTPIPE:bulk");
    std::thread writing([&] {
        CXFile w = Writer("TTPIPE:bulk");
        // Blocks of every size, so that writes wrap around the ring's end.
        for (std::size_t at = 0, size = 1; at < data.size(); at += size, size = size * 3 % 9973 + 1) {
            size = std::min(size, data.size() - at);
            w.WriteBlock(data.data() + at, static_cast<unsigned>(size));
        }
    });  // the writer's end closes here, when its last handle goes
    std::string got;
    std::vector<char> chunk(7000);
    for (unsigned n; (n = reader.ReadBlock(chunk.data(), 7000)) > 0;) {
        got.append(chunk.data(), n);
        EXPECT_TRUE(n == 7000 || got.size() == data.size()) << "a short read before the end";
    }
    writing.join();
    EXPECT_EQ(got, data);
    EXPECT_TRUE(reader.Eof());
    EXPECT_EQ(reader.GetFilePosition(), static_cast<int>(data.size()));
}

TEST(Pipe, AFullBufferHoldsTheWriterUntilTheReaderTakes) {
    CXFile reader = Reader("TTPIPE:full");
    std::atomic<bool> written{false};
    std::thread writing([&] {
        CXFile w = Writer("TTPIPE:full");
        const std::string block(kPipeCapacity + 10, 'x');
        w.WriteBlock(block.data(), static_cast<unsigned>(block.size()));
        written = true;
    });
    while (gFileSystem.GetSpaces()[2].Size("TTPIPE:full") < static_cast<int>(kPipeCapacity))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(written) << "the writer went on past a full buffer";
    EXPECT_EQ(gFileSystem.GetSpaces()[2].Size("TTPIPE:full"), static_cast<int>(kPipeCapacity));
    EXPECT_EQ(ReadAll(reader).size(), kPipeCapacity + 10);
    writing.join();
    EXPECT_TRUE(written);
}

// Each end translates as its own mode says; a binary reader sees what went through.
TEST(Pipe, LinesAreTranslatedByEachEndsMode) {
    struct Case {
        XF_TEXT_MODE mode;
        std::string raw;
    };
    const Case cases[] = {
        {XF_TEXT_CRLF, "one\r\ntwo\r\n"},
        {XF_TEXT_LF, "one\ntwo\n"},
        {XF_TEXT_CR, "one\rtwo\r"},
        {XF_UNICODE_CRLF, std::string("o\0n\0e\0\r\0\n\0t\0w\0o\0\r\0\n\0", 20)},
        {XF_UNICODE_LF, std::string("o\0n\0e\0\n\0t\0w\0o\0\n\0", 16)},
        {XF_UNICODE_CR, std::string("o\0n\0e\0\r\0t\0w\0o\0\r\0", 16)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        {
            CXFile w = Writer("TTPIPE:lines", c.mode), r = Reader("TTPIPE:lines");
            w.UniWriteLn(CUniStr("one"));
            w.UniWriteLn(CUniStr("two"));
            w.Blank();
            EXPECT_EQ(ReadAll(r), c.raw);
        }
        {
            CXFile w = Writer("TTPIPE:lines"), r = Reader("TTPIPE:lines", c.mode);
            w.WriteBlock(c.raw.data(), static_cast<unsigned>(c.raw.size()));
            w.Blank();
            CUniStr line;
            ASSERT_TRUE(r.UniReadLn(line));
            EXPECT_EQ(line.ToUtf8(), "one");
            ASSERT_TRUE(r.UniReadLn(line));
            EXPECT_EQ(line.ToUtf8(), "two");
            EXPECT_FALSE(r.UniReadLn(line));
        }
    }
}

TEST(Pipe, AReaderWaitsForAWriterThatComesLater) {
    std::string got;
    std::thread reading([&] {
        CXFile r = Reader("TTPIPE:later", XF_TEXT_LF);
        CStr line;
        while (r.ReadLn(line)) got += std::string(line.c_str()) + "|";
        got += line.c_str();  // the last line has no line end: ReadLn gives it and says the file ended
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    {
        CXFile w = Writer("TTPIPE:later", XF_TEXT_LF);
        w.WriteLn(CStr("a"));
        w.Write('b');  // buffered until the end closes: the release without a flush still delivers it
    }
    reading.join();
    EXPECT_EQ(got, "a|b");
}

TEST(Pipe, WhatWasWrittenBeforeTheReaderCameWaitsForIt) {
    {
        CXFile w = Writer("TTPIPE:early");
        w.WriteBlock("early", 5);
    }
    EXPECT_TRUE(gFileSystem.Exist(eOpenCurrentDir, "TTPIPE:EARLY")) << "names ignore case";
    EXPECT_EQ(ReadAll(Reader("TTPIPE:Early")), "early");
    EXPECT_FALSE(gFileSystem.Exist(eOpenCurrentDir, "TTPIPE:early")) << "read to its end and closed: gone";
}

TEST(Pipe, EachEndOpensOnceAndTheNameIsFreeAfterBothClose) {
    CXFile w = Writer("TTPIPE:once"), r = Reader("TTPIPE:once");
    CXFile again;
    // Through the file system the pipe space's errors reach the caller rather than "File not found".
    ExpectXFileError([&] { again.Create("TTPIPE:once", 1, XF_BINARY); }, 10009,
                     "The pipe already has a writer : TTPIPE:once");
    ExpectXFileError([&] { again.OpenForAppend("TTPIPE:once", 1, XF_BINARY, XF_SHARE_NONE); }, 10009,
                     "The pipe already has a writer : TTPIPE:once");
    ExpectXFileError([&] { again.OpenExisting("TTPIPE:once", 1, XF_BINARY, 1, XF_SHARE_READ); }, 10009,
                     "The pipe already has a reader : TTPIPE:once");
    EXPECT_TRUE(again.IsNull());
    w.Blank();
    r.Blank();
    CXFile fresh = Writer("TTPIPE:once");
    fresh.WriteBlock("new", 3);
    EXPECT_EQ(gFileSystem.Size(eOpenCurrentDir, "TTPIPE:once"), 3);
}

TEST(Pipe, WritingAfterTheReaderHasGoneRaises) {
    CXFile w = Writer("TTPIPE:gone");
    Reader("TTPIPE:gone").Blank();
    ExpectXFileError([&] { w.WriteBlock("x", 1); }, 11001, "The pipe's reader has gone : TTPIPE:gone");
}

TEST(Pipe, OperationsAStreamDoesNotOfferAreRefused) {
    CXFile w = Writer("TTPIPE:refuse"), r = Reader("TTPIPE:refuse");
    const std::string refusal = "Not supported for pipes";
    ExpectXFileError([&] { r.Seek(0); }, 10009, refusal);
    ExpectXFileError([&] { w.SeekFromEnd(0); }, 10009, refusal);
    ExpectXFileError([&] { w.SetFileLength(0); }, 10009, refusal);
    ExpectXFileError([&] { w.LockRegion(0, 1); }, 10009, refusal);
    ExpectXFileError([&] { r.GetDuplicateFile(); }, 10009, refusal);
    ExpectXFileError([&] { w.GetChar(); }, 10009, refusal);      // the writing end does not read
    ExpectXFileError([&] { r.PutChar(0x78); }, 10009, refusal);  // the reading end does not write
    EXPECT_EQ(r.CreateMemoryView(0, 0), nullptr);
    EXPECT_TRUE(w.Eof());
    ExpectXFileError([&] { gFileSystem.Erase(eOpenCurrentDir, "TTPIPE:refuse"); }, 10009, refusal);
}

}  // namespace
