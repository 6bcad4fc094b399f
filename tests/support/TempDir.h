#pragma once
// A fresh folder for one test, removed afterwards.

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace support {

class TempDir {
public:
    TempDir()
    {
        std::random_device rd;
        path_ = std::filesystem::temp_directory_path() / ("tamberlin-test-" + std::to_string(rd()) + std::to_string(rd()));
        std::filesystem::create_directories(path_);
    }
    ~TempDir()
    {
        std::error_code ec;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

inline std::vector<char> readBytes(const std::filesystem::path& p)
{
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const std::filesystem::path& p, const std::vector<char>& bytes)
{
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// UTF-16LE with a byte-order mark, each line ended by CR LF: the settings
// file as the program writes it. Input lines are UTF-8.
inline std::vector<char> utf16File(const std::vector<std::u16string>& lines, bool bom = true)
{
    std::vector<char> out;
    if (bom) {
        out.push_back(static_cast<char>(0xFF));
        out.push_back(static_cast<char>(0xFE));
    }
    for (const auto& l : lines) {
        for (char16_t c : l + u"\r\n") {
            out.push_back(static_cast<char>(c & 0xFF));
            out.push_back(static_cast<char>(c >> 8));
        }
    }
    return out;
}

}  // namespace support
