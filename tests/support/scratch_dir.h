// A scratch directory for tests that touch the disk: unique per process and test, under the system's
// temporary directory, removed with everything in it when the object goes.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

class ScratchDir {
public:
    explicit ScratchDir(const std::string& tag) {
        path_ = std::filesystem::temp_directory_path() /
                ("ztbase-" + tag + "-" + std::to_string(std::random_device{}()) + "-" +
                 std::to_string(counter_++));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    // The directory with a final separator, and names in it, in the system's own form ("\\" on Windows).
    std::string Dir() const { return path_.string() + char(std::filesystem::path::preferred_separator); }
    std::string operator/(const std::string& name) const { return (path_ / name).make_preferred().string(); }

    static void WriteBytes(const std::string& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::string ReadBytes(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    std::filesystem::path path_;
    static inline int counter_ = 0;
};
