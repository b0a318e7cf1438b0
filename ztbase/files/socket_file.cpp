#include "ztbase/files/socket_file.h"

#include <atomic>
#include <string>

#include "ztbase/base/error_codes.h"
#include "ztbase/files/file_name.h"
#include "ztbase/files/internal/xfile_errors.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

namespace {

std::atomic<int> gSocketTimeout{30000};

int SocketFor(const CStr& name, XF_TEXT_MODE mode) {
    if (!IsValidMode(mode)) detail::ThrowXFile(detail::kErrInvalidFile, "Invalid CXFile", name, __LINE__);
    const CXFileName parsed(name);
    const CStr host = parsed.GetDirectories().size() > 0 ? parsed.GetDirectories()[0] : CStr();
    const CStr port = parsed.GetFileName();
    platform::ConnectFailure why = platform::ConnectFailure::kOther;
    int error = 0;
    std::string message;
    const int s =
        host.GetLength() == 0 || port.GetLength() == 0
            ? platform::kNoSocket
            : platform::ConnectStream(host.c_str(), port.c_str(), gSocketTimeout.load(), why, error, message);
    if (s != platform::kNoSocket) return s;
    const char* text = why == platform::ConnectFailure::kUnknownHost ? "Unknown host : "
                       : why == platform::ConnectFailure::kRefused   ? "Connection refused : "
                       : why == platform::ConnectFailure::kTimedOut  ? "Connection timed out : "
                                                                     : "Unable to connect : ";
    detail::ThrowXFile(kErrIO, text, name, __LINE__);
}

}  // namespace

CXSocketFile::CXSocketFile(const CStr& name, XF_TEXT_MODE mode)
    : CXStreamFile(name, mode, true, true, "Not supported"), m_socket(SocketFor(name, mode)) {}

CXSocketFile::~CXSocketFile() {
    FlushQuietly();
    platform::CloseSocket(m_socket);
}

unsigned CXSocketFile::Receive(char* buffer, unsigned count) {
    int error = 0;
    const long long got = platform::ReceiveSocket(m_socket, buffer, count, gSocketTimeout.load(), error);
    if (got < 0) detail::ThrowXFile(kErrIO, "Error reading from a socket : ", GetName(), __LINE__);
    return static_cast<unsigned>(got);
}

void CXSocketFile::Send(const char* buffer, unsigned count) {
    int error = 0;
    if (platform::SendSocket(m_socket, buffer, count, gSocketTimeout.load(), error) < 0)
        detail::ThrowXFile(kErrIO, "Error writing to a socket : ", GetName(), __LINE__);
}

// ---- the space ------------------------------------------------------------------------------------
void CXSocketFileSpace::SetTimeoutMilliseconds(int milliseconds) noexcept {
    gSocketTimeout.store(milliseconds < 1 ? 1 : milliseconds);
}
int CXSocketFileSpace::GetTimeoutMilliseconds() noexcept {
    return gSocketTimeout.load();
}

CXFile CXSocketFileSpace::OpenExisting(const CStr& name, unsigned char, XF_TEXT_MODE mode, unsigned char,
                                       XF_SHARE_FLAGS) {
    return CXFile(new CXSocketFile(name, mode));
}
CXFile CXSocketFileSpace::Create(const CStr& name, unsigned char, XF_TEXT_MODE mode) {
    return CXFile(new CXSocketFile(name, mode));
}
CXFile CXSocketFileSpace::OpenForAppend(const CStr& name, unsigned char, XF_TEXT_MODE mode, XF_SHARE_FLAGS) {
    return CXFile(new CXSocketFile(name, mode));
}

}  // namespace ZtBase
