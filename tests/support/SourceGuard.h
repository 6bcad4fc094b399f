#pragma once
// Remembers a source workbook's bytes and modification time, so that a test
// that splits it can tell afterwards that nothing wrote to it: a source is
// only ever read. Plain C++, for every suite.
//
//   SourceGuard guard(path);
//   ... split ...
//   EXPECT_EQ(guard.changes(), "");

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace support {

class SourceGuard {
public:
    explicit SourceGuard(std::filesystem::path path) : path_(std::move(path))
    {
        bytes_ = read();
        time_ = std::filesystem::last_write_time(path_, ec_);
    }

    // Empty when the file is as it was; otherwise what changed, for the
    // failure message.
    std::string changes() const
    {
        std::error_code ec;
        if (!std::filesystem::exists(path_, ec))
            return path_.string() + ": the source file is gone";
        std::string why;
        if (read() != bytes_)
            why += path_.string() + ": the source file's bytes changed. ";
        if (std::filesystem::last_write_time(path_, ec) != time_)
            why += path_.string() + ": the source file's modification time changed.";
        return why;
    }

    const std::filesystem::path& path() const { return path_; }

private:
    std::vector<char> read() const
    {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    std::filesystem::path path_;
    std::vector<char> bytes_;
    std::filesystem::file_time_type time_{};
    std::error_code ec_;
};

// Guards every file of a folder (the inputs of a test) at once.
class SourceFolderGuard {
public:
    explicit SourceFolderGuard(const std::filesystem::path& folder)
    {
        for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
            if (e.is_regular_file())
                guards_.emplace_back(e.path());
    }
    std::string changes() const
    {
        std::string why;
        for (const auto& g : guards_)
            why += g.changes();
        return why;
    }

private:
    std::vector<SourceGuard> guards_;
};

}  // namespace support
