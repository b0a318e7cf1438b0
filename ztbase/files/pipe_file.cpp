#include "ztbase/files/pipe_file.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ztbase/base/error_codes.h"
#include "ztbase/files/internal/xfile_errors.h"

namespace ZtBase {

namespace detail {

// The bytes between the two ends: a ring of kPipeCapacity bytes and the state of each end.
struct PipeChannel {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<char> ring = std::vector<char>(kPipeCapacity);
    unsigned start = 0, count = 0;
    bool writerOpened = false, writerClosed = false;
    bool readerOpened = false, readerClosed = false;
};

}  // namespace detail

namespace {

constexpr char kPipeRefusal[] = "Not supported for pipes";

// The open pipes by name (lower case, without the prefix).
struct PipeRegistry {
    std::mutex lock;
    std::map<std::string, std::shared_ptr<detail::PipeChannel>> pipes;
};
PipeRegistry& Registry() {
    static PipeRegistry* registry = new PipeRegistry;  // used from destructors of other globals: never freed
    return *registry;
}

std::string KeyOf(const CStr& name) {
    std::string key(name.c_str());
    key.erase(0, std::min<std::size_t>(key.size(), 7));  // "TTPIPE:"
    for (char& c : key)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return key;
}

// Finds or makes the pipe and marks the end opened; raises when that end was opened before.
std::shared_ptr<detail::PipeChannel> OpenEnd(const CStr& name, bool writer) {
    PipeRegistry& registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    auto& slot = registry.pipes[KeyOf(name)];
    if (!slot) slot = std::make_shared<detail::PipeChannel>();
    std::lock_guard<std::mutex> holdChannel(slot->lock);
    bool& opened = writer ? slot->writerOpened : slot->readerOpened;
    if (opened)
        detail::ThrowXFile(
            kErrWrongState,
            writer ? "The pipe already has a writer : " : "The pipe already has a reader : ", name, __LINE__);
    opened = true;
    return slot;
}

CXFile OpenPipe(const CStr& name, XF_TEXT_MODE mode, bool writer) {
    if (!IsValidMode(mode)) detail::ThrowXFile(detail::kErrInvalidFile, "Invalid CXFile", name, __LINE__);
    return CXFile(new CXPipeFile(name, mode, OpenEnd(name, writer), writer));
}

}  // namespace

CXPipeFile::CXPipeFile(const CStr& name, XF_TEXT_MODE mode, std::shared_ptr<detail::PipeChannel> channel,
                       bool writer)
    : CXStreamFile(name, mode, !writer, writer, kPipeRefusal),
      m_channel(std::move(channel)),
      m_writer(writer) {}

// Closing an end: what is buffered goes first; then the other end is told, and the name is let go once
// nothing more can pass.
CXPipeFile::~CXPipeFile() {
    FlushQuietly();
    bool finished;
    {
        std::lock_guard<std::mutex> hold(m_channel->lock);
        (m_writer ? m_channel->writerClosed : m_channel->readerClosed) = true;
        finished = m_channel->readerClosed && (m_channel->writerClosed || !m_channel->writerOpened);
        m_channel->changed.notify_all();
    }
    if (finished) {
        PipeRegistry& registry = Registry();
        std::lock_guard<std::mutex> hold(registry.lock);
        const auto found = registry.pipes.find(KeyOf(GetName()));
        if (found != registry.pipes.end() && found->second == m_channel) registry.pipes.erase(found);
    }
}

unsigned CXPipeFile::Receive(char* buffer, unsigned count) {
    detail::PipeChannel& c = *m_channel;
    std::unique_lock<std::mutex> hold(c.lock);
    c.changed.wait(hold, [&] { return c.count > 0 || c.writerClosed; });
    const unsigned n = std::min(count, c.count);
    const unsigned first = std::min(n, kPipeCapacity - c.start);
    std::memcpy(buffer, c.ring.data() + c.start, first);
    std::memcpy(buffer + first, c.ring.data(), n - first);
    c.start = (c.start + n) % kPipeCapacity;
    c.count -= n;
    if (n) c.changed.notify_all();
    return n;
}

void CXPipeFile::Send(const char* buffer, unsigned count) {
    detail::PipeChannel& c = *m_channel;
    std::unique_lock<std::mutex> hold(c.lock);
    while (count > 0) {
        c.changed.wait(hold, [&] { return c.count < kPipeCapacity || c.readerClosed; });
        if (c.readerClosed) detail::ThrowXFile(kErrIO, "The pipe's reader has gone : ", GetName(), __LINE__);
        const unsigned end = (c.start + c.count) % kPipeCapacity;
        const unsigned n = std::min({count, kPipeCapacity - c.count, kPipeCapacity - end});
        std::memcpy(c.ring.data() + end, buffer, n);
        c.count += n;
        buffer += n;
        count -= n;
        c.changed.notify_all();
    }
}

// ---- the space ------------------------------------------------------------------------------------
CXFile CXThreadToThreadPipeSpace::OpenExisting(const CStr& name, unsigned char, XF_TEXT_MODE mode,
                                               unsigned char readOnly, XF_SHARE_FLAGS) {
    return OpenPipe(name, mode, !readOnly);
}
CXFile CXThreadToThreadPipeSpace::Create(const CStr& name, unsigned char, XF_TEXT_MODE mode) {
    return OpenPipe(name, mode, true);
}
CXFile CXThreadToThreadPipeSpace::OpenForAppend(const CStr& name, unsigned char, XF_TEXT_MODE mode,
                                                XF_SHARE_FLAGS) {
    return OpenPipe(name, mode, true);
}

unsigned char CXThreadToThreadPipeSpace::Exist(CStr name) {
    PipeRegistry& registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    return registry.pipes.count(KeyOf(name)) ? 1 : 0;
}

int CXThreadToThreadPipeSpace::Size(CStr name) {
    PipeRegistry& registry = Registry();
    std::lock_guard<std::mutex> hold(registry.lock);
    const auto found = registry.pipes.find(KeyOf(name));
    if (found == registry.pipes.end()) return 0;
    std::lock_guard<std::mutex> holdChannel(found->second->lock);
    return static_cast<int>(found->second->count);
}

}  // namespace ZtBase
