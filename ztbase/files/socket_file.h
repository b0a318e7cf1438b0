// Socket files: "SOCKET:host:port" opened through the file system connects a TCP client stream to the
// host (a name or a numeric address) and port. Every open of the space (OpenExisting, Create,
// OpenForAppend) gives the same kind of end, which both reads and writes; reading blocks until the bytes
// asked for have come or the peer has ended its side (end of file); lines are translated as the text mode
// says (stream_file.h). Releasing the last handle sends what is buffered and closes the connection.
//
// Errors, each 11001 with the name as opened after " : ":
//   "Unknown host : "            the host's name does not resolve
//   "Connection refused : "      nothing listens there
//   "Connection timed out : "    no answer within the timeout
//   "Unable to connect : "       any other refusal (no port, unreachable network)
//   "Error reading from a socket : ", "Error writing to a socket : "
//                                the connection broke, or no byte could pass within the timeout
// The timeout (CXSocketFileSpace::SetTimeoutMilliseconds, 30 s unless set) bounds every wait, so a peer that
// disappears without a word costs at most that long.
#pragma once

#include "ztbase/files/file_space.h"
#include "ztbase/files/stream_file.h"

namespace ZtBase {

class ZTBASE_API CXSocketFile : public CXStreamFile {
public:
    // Connects; raises the errors above.
    CXSocketFile(const CStr& name, XF_TEXT_MODE mode);
    ~CXSocketFile() override;

protected:
    unsigned Receive(char* buffer, unsigned count) override;
    void Send(const char* buffer, unsigned count) override;

private:
    int m_socket;
};

}  // namespace ZtBase
