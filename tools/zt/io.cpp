// Reading inputs and writing outputs: standard input and output for "-", output files written under a
// temporary name and renamed when complete, every error of the system reported with exit code 3.
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
        m_file = stdout;
        return;
    }
    m_path = path;
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw Failure{kIoError, path + ": is a directory"};
    // In the same directory, so that the rename cannot cross file systems.
    const std::filesystem::path target(path);
    for (int attempt = 0; !m_file && attempt < 100; ++attempt) {
        m_temporary = (target.parent_path() /
                       ("." + target.filename().string() + ".zt-" + std::to_string(attempt) + ".tmp"))
                          .string();
        if (std::filesystem::exists(m_temporary, ignored)) continue;
        m_file = std::fopen(m_temporary.c_str(), "wbx");
        if (!m_file && errno != EEXIST) Fail(errno);
    }
    if (!m_file) Fail(EEXIST);
}

Output::~Output() {
    if (m_file && m_file != stdout) std::fclose(m_file);
    if (!m_committed && !m_temporary.empty()) {
        std::error_code ignored;
        std::filesystem::remove(m_temporary, ignored);
    }
}

void Output::Write(const std::string& bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), m_file) != bytes.size()) Fail(errno);
}

void Output::Commit() {
    if (std::fflush(m_file) != 0 || std::ferror(m_file)) Fail(errno);
    if (m_file == stdout) {
        m_committed = true;
        return;
    }
    const int closed = std::fclose(m_file);
    m_file = nullptr;
    if (closed != 0) Fail(errno);
    std::error_code error;
    std::filesystem::rename(m_temporary, m_path, error);
    if (error) throw Failure{kIoError, m_path + ": " + error.message()};
    m_committed = true;
}

void Output::Fail(int error) {
    throw Failure{kIoError, m_path + ": " + SystemError(error ? error : EIO)};
}

int Report(const Failure& failure) {
    std::fflush(stdout);
    // An error in the input names its place itself (FILE:LINE:COLUMN: ...); the others are the tool's.
    std::fprintf(stderr, "%s%s\n", failure.code == kBadInput ? "" : "zt: ", failure.message.c_str());
    return failure.code;
}

}  // namespace zt
