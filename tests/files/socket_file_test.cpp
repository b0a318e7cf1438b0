#include <gtest/gtest.h>
#include <ztbase/files/socket_file.h>

#include <chrono>
#include <string>
#include <thread>

#include "expect_error.h"
#include "loopback_server.h"

using namespace ZtBase;
using test_support::LoopbackServer;

namespace {

using test_support::ExpectXFileError;

CXFile Connect(const std::string& name, XF_TEXT_MODE mode = XF_BINARY) {
    CXFile f;
    f.OpenExisting(CStr(name.c_str()), 1, mode, 0, XF_SHARE_NONE);
    return f;
}

struct ShortTimeout {
    int before = CXSocketFileSpace::GetTimeoutMilliseconds();
    explicit ShortTimeout(int ms) { CXSocketFileSpace::SetTimeoutMilliseconds(ms); }
    ~ShortTimeout() { CXSocketFileSpace::SetTimeoutMilliseconds(before); }
};

TEST(SocketFile, LinesGoBothWaysTranslatedAndThePeersEndIsTheEndOfFile) {
    std::string received;
    LoopbackServer server([&](int s) {
        received = LoopbackServer::ReceiveUntil(s, "second\r\n");
        LoopbackServer::Send(s, "reply\r\nlast");
    });
    CXFile f = Connect(server.Name(), XF_TEXT_CRLF);
    f.WriteLn(CStr("first"));
    f.Write(CStr("second"));
    f.WriteLn();
    CStr line;
    ASSERT_TRUE(f.ReadLn(line));
    EXPECT_STREQ(line.c_str(), "reply");
    EXPECT_FALSE(f.ReadLn(line));
    EXPECT_STREQ(line.c_str(), "last");
    EXPECT_TRUE(f.Eof());
    EXPECT_EQ(received, "first\r\nsecond\r\n");
}

TEST(SocketFile, CreateConnectsTooAndReleasingSendsWhatIsBuffered) {
    std::string received;
    {
        LoopbackServer server([&](int s) { received = LoopbackServer::ReceiveAll(s); });
        CXFile f;
        f.Create(CStr(server.Name().c_str()), 1, XF_BINARY);
        f.PutChar('x');  // buffered until the block write
        f.WriteBlock("yz", 2);
        f.PutChar('!');  // buffered, sent when the last handle goes
    }                    // the server's handler has read to the end before the server is gone
    EXPECT_EQ(received, "xyz!");
}

TEST(SocketFile, ConnectionFailuresSayWhy) {
    const std::string unused = LoopbackServer::UnusedName();
    ExpectXFileError([&] { Connect(unused); }, 11001, "Connection refused : " + unused);
    ExpectXFileError([&] { Connect("SOCKET:no-such-host.invalid:80"); }, 11001,
                     "Unknown host : SOCKET:no-such-host.invalid:80");
    ExpectXFileError([&] { Connect("SOCKET:127.0.0.1"); }, 11001, "Unable to connect : SOCKET:127.0.0.1");
}

TEST(SocketFile, APeerThatGoesSilentCostsTheTimeoutAndNoMore) {
    ShortTimeout timeout(150);
    LoopbackServer server([](int s) { LoopbackServer::ReceiveAll(s); });
    CXFile f = Connect(server.Name());
    const auto start = std::chrono::steady_clock::now();
    ExpectXFileError([&] { f.GetChar(); }, 11001, "Error reading from a socket : " + server.Name());
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(140));
    EXPECT_LT(waited, std::chrono::seconds(5));
    f.Blank();  // ends the server's wait
}

TEST(SocketFile, APeerThatVanishesGivesErrorsNotAHang) {
    // The server resets the connection once the client has spoken (a reset before the connection is
    // complete would be a failed connect instead).
    LoopbackServer server([](int s) {
        LoopbackServer::ReceiveUntil(s, "!");
        LoopbackServer::Reset(s);
    });
    CXFile f = Connect(server.Name());
    f.WriteBlock("!", 1);
    ExpectXFileError([&] { f.GetChar(); }, 11001, "Error reading from a socket : " + server.Name());
    // Writing to it fails as soon as the system knows the connection is gone.
    const std::string block(65536, 'x');
    bool failed = false;
    for (int i = 0; i < 100 && !failed; ++i) {
        try {
            f.WriteBlock(block.data(), static_cast<unsigned>(block.size()));
        } catch (const CZtXFileException& e) {
            EXPECT_EQ(test_support::MessageOf(e), "Error writing to a socket : " + server.Name());
            failed = true;
        }
    }
    EXPECT_TRUE(failed);
}

TEST(SocketFile, StreamsRefuseWhatTheyDoNotOffer) {
    LoopbackServer server([](int s) { LoopbackServer::ReceiveAll(s); });
    CXFile f = Connect(server.Name());
    ExpectXFileError([&] { f.Seek(3); }, 10009, "Not supported");
    ExpectXFileError([&] { f.SetFileLength(3); }, 10009, "Not supported");
    ExpectXFileError([&] { f.GetDuplicateFile(); }, 10009, "Not supported");
}

}  // namespace
