// Thread-to-thread pipes: "TTPIPE:name" opened through the file system by one thread for writing and by
// another for reading. The bytes go through a bounded buffer of kPipeCapacity bytes in memory: the writer
// waits while it is full, the reader waits until bytes come or the writer's end closes (then end of file).
//
// Which end an open gets: Create and OpenForAppend give the writing end; OpenExisting gives the reading
// end when asked read-only and the writing end otherwise. A pipe has one writing end and one reading end,
// each opened once: opening an end that has been opened before raises 10009 "The pipe already has a
// writer : " or "The pipe already has a reader : " with the name. The pipe comes into being at the first
// open of either end. Bytes written before the reader opens wait for it (and an end written and closed
// before the reader comes is read to its end). An end closes when the last handle on it is released,
// whether or not it was flushed or closed otherwise: the reader then sees the end of the stream. Writing
// after the reader has closed raises 11001 "The pipe's reader has gone : " with the name. The name is free
// for a new pipe once the reader has closed and the writer has closed or never opened.
//
// Names are compared ignoring case, as the prefix is. Pipes live in this process only.
#pragma once

#include <memory>

#include "ztbase/files/file_space.h"
#include "ztbase/files/stream_file.h"

namespace ZtBase {

inline constexpr unsigned kPipeCapacity = 65536;

namespace detail {
struct PipeChannel;
}

// One end of a pipe.
class ZTBASE_API CXPipeFile : public CXStreamFile {
public:
    CXPipeFile(const CStr& name, XF_TEXT_MODE mode, std::shared_ptr<detail::PipeChannel> channel,
               bool writer);
    ~CXPipeFile() override;

protected:
    unsigned Receive(char* buffer, unsigned count) override;
    void Send(const char* buffer, unsigned count) override;

private:
    std::shared_ptr<detail::PipeChannel> m_channel;
    bool m_writer;
};

}  // namespace ZtBase
