// Reading inputs and writing outputs: standard input and output for "-", output files written under a
// temporary name and renamed when complete, every error of the system reported with exit code 3.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "zt.h"

namespace zt {

namespace {

std::string SystemError(int error) {
    return std::strerror(error);
}

}  // namespace

Input ReadInput(const std::string& path) {
    Input in;
    const bool standardInput = path.empty() || path == "-";
    in.name = standardInput ? "-" : path;
    std::error_code ignored;
    if (!standardInput && std::filesystem::is_directory(path, ignored))
        throw Failure{kIoError, path + ": is a directory"};
    std::FILE* file = standardInput ? stdin : std::fopen(path.c_str(), "rb");
    if (!file) throw Failure{kIoError, path + ": " + SystemError(errno)};
    char buffer[65536];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) in.bytes.append(buffer, n);
    const bool failed = std::ferror(file) != 0;
    const int error = errno;
    if (!standardInput) std::fclose(file);
    if (failed) throw Failure{kIoError, in.name + ": " + SystemError(error)};
    return in;
}

Output::Output(const std::string& path) {
    if (path.empty() || path == "-") {
        m_path = "standard output";
        m_stdout = stdout;
        return;
    }
    m_path = path;
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw Failure{kIoError, path + ": is a directory"};
    if (!std::filesystem::is_directory(std::filesystem::path(path).parent_path().empty()
                                           ? std::filesystem::path(".")
                                           : std::filesystem::path(path).parent_path(),
                                       ignored))
        Fail(ENOENT);
    // In the same directory, so that the rename cannot cross file systems.
    const std::filesystem::path target(path);
    for (int attempt = 0; m_file.IsNull() && attempt < 100; ++attempt) {
        m_temporary = (target.parent_path() /
                       ("." + target.filename().string() + ".zt-" + std::to_string(attempt) + ".tmp"))
                          .string();
        if (std::filesystem::exists(m_temporary, ignored)) continue;
        try {
            m_file = ZtBase::CreateDiskFile(ZtBase::CStr(m_temporary.c_str()), 1, ZtBase::XF_BINARY);
        } catch (const ZtBase::CZtException& e) {
            // The file may exist by now (made, then refused): it is ours, as it did not exist before.
            std::filesystem::remove(m_temporary, ignored);
            Fail(e);
        }
    }
    if (m_file.IsNull()) Fail(EEXIST);
}

Output::~Output() {
    if (!m_file.IsNull()) {
        try {
            m_file.Release();  // a window not yet written goes quietly
        } catch (const ZtBase::CZtException&) {
        }
    }
    if (!m_committed && !m_temporary.empty()) {
        std::error_code ignored;
        std::filesystem::remove(m_temporary, ignored);
    }
}

void Output::Write(const std::string& bytes) {
    if (bytes.empty()) return;
    if (m_stdout) {
        if (std::fwrite(bytes.data(), 1, bytes.size(), m_stdout) != bytes.size()) Fail(errno);
        return;
    }
    try {
        for (std::size_t at = 0; at < bytes.size();) {
            const unsigned n = static_cast<unsigned>(std::min<std::size_t>(bytes.size() - at, 1u << 30));
            if (m_file.WriteBlock(bytes.data() + at, n) != n) Fail(EIO);
            at += n;
        }
    } catch (const ZtBase::CZtException& e) {
        Fail(e);
    }
}

void Output::Commit() {
    if (m_stdout) {
        if (std::fflush(m_stdout) != 0 || std::ferror(m_stdout)) Fail(errno);
        m_committed = true;
        return;
    }
    try {
        m_file.Flush();  // the bytes and the system's sync: on the disk before the rename
        m_file.Release();
    } catch (const ZtBase::CZtException& e) {
        Fail(e);
    }
    std::error_code error;
    std::filesystem::rename(m_temporary, m_path, error);
    if (error) throw Failure{kIoError, m_path + ": " + error.message()};
    m_committed = true;
}

void Output::Fail(int error) {
    throw Failure{kIoError, m_path + ": " + SystemError(error ? error : EIO)};
}

void Output::Fail(const ZtBase::CZtException& error) {
    throw Failure{kIoError, m_path + ": " + ZtBase::CUniStr(error.GetErrorString(0)).ToUtf8()};
}

int Report(const Failure& failure) {
    std::fflush(stdout);
    // An error in the input names its place itself (FILE:LINE:COLUMN: ...); the others are the tool's.
    std::fprintf(stderr, "%s%s\n", failure.code == kBadInput ? "" : "zt: ", failure.message.c_str());
    return failure.code;
}

}  // namespace zt
