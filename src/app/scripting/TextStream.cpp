#include "TextStream.h"

#include "platform/sys/AtomicFile.h"
#include "platform/sys/Error.h"
#include "platform/sys/FileBytes.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace scripting {

std::vector<std::u16string> parseUtf16Lines(std::span<const std::byte> bytes)
{
    std::size_t pos = 0;
    if (bytes.size() >= 2 && bytes[0] == std::byte{0xFF} && bytes[1] == std::byte{0xFE})
        pos = 2;
    std::vector<std::u16string> lines;
    std::u16string current;
    bool pending = false;  // `current` holds a line not yet ended
    const std::size_t end = bytes.size() - (bytes.size() - pos) % 2;
    for (; pos < end; pos += 2) {
        const auto c = static_cast<char16_t>(std::to_integer<unsigned>(bytes[pos]) |
                                             (std::to_integer<unsigned>(bytes[pos + 1]) << 8));
        if (c == u'\r' || c == u'\n') {
            lines.push_back(std::move(current));
            current.clear();
            pending = false;
            if (c == u'\r' && pos + 2 < end) {
                const auto next = static_cast<char16_t>(std::to_integer<unsigned>(bytes[pos + 2]) |
                                                        (std::to_integer<unsigned>(bytes[pos + 3]) << 8));
                if (next == u'\n')
                    pos += 2;
            }
            continue;
        }
        current.push_back(c);
        pending = true;
    }
    if (pending)
        lines.push_back(std::move(current));
    return lines;
}

std::vector<std::byte> encodeUtf16Lines(const std::vector<std::u16string>& lines)
{
    std::vector<std::byte> out{std::byte{0xFF}, std::byte{0xFE}};
    auto put = [&out](char16_t c) {
        out.push_back(static_cast<std::byte>(c & 0xFF));
        out.push_back(static_cast<std::byte>(c >> 8));
    };
    for (const auto& line : lines) {
        for (char16_t c : line)
            put(c);
        put(u'\r');
        put(u'\n');
    }
    return out;
}

std::vector<std::u16string> readUtf16File(const std::filesystem::path& path)
{
    auto file = tb::fs::openFileBytes(path);
    return parseUtf16Lines(file->bytes());
}

void rewriteUtf16File(const std::filesystem::path& path, const std::vector<std::u16string>& lines)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        throw tb::fileError(errno, "Cannot write the file", path.string());
    if (!S_ISREG(st.st_mode))
        throw tb::Error(tb::err::PathFileAccess, "Cannot write the file '" + path.string() + "': it is not an ordinary file.");
    // The file is replaced by renaming, which a read-only file would not
    // stop: ask as a writer would be asked.
    if (::access(path.c_str(), W_OK) != 0)
        throw tb::fileError(errno, "Cannot write the file", path.string());
    const auto bytes = encodeUtf16Lines(lines);
    tb::fs::AtomicFile out(path);
    out.write(bytes);
    out.commit();  // keep the file's own permissions after the swap:
    ::chmod(path.c_str(), st.st_mode & 07777);
}

}  // namespace scripting
