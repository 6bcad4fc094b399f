#include "FolderScan.h"

#include "platform/sys/Error.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tasklist {

namespace {
bool endsWithIgnoringCase(const std::string& name, const std::string& ext)
{
    if (name.size() <= ext.size())
        return false;
    return std::equal(ext.rbegin(), ext.rend(), name.rbegin(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}
}  // namespace

std::vector<std::string> scanFolder(const std::string& folder, const std::string& extension)
{
    std::error_code ec;
    std::filesystem::directory_iterator it(folder, ec);
    if (ec)
        throw tb::Error(tb::err::PathNotFound,
                        "Path not found: the folder '" + folder + "' cannot be read (" + ec.message() + ").");
    std::vector<std::string> names;
    for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
        if (ec)
            throw tb::Error(tb::err::PathNotFound, "Path not found: the folder '" + folder + "' cannot be read.");
        const std::string name = it->path().filename().string();
        std::error_code typeEc;
        if (name.empty() || name[0] == '.' || !it->is_regular_file(typeEc))
            continue;
        if (endsWithIgnoringCase(name, extension))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> scanSubfolders(const std::string& folder)
{
    std::error_code ec;
    std::filesystem::directory_iterator it(folder, ec);
    if (ec)
        throw tb::Error(tb::err::PathNotFound,
                        "Path not found: the folder '" + folder + "' cannot be read (" + ec.message() + ").");
    std::vector<std::string> names;
    for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
        if (ec)
            throw tb::Error(tb::err::PathNotFound, "Path not found: the folder '" + folder + "' cannot be read.");
        const std::string name = it->path().filename().string();
        std::error_code typeEc;
        if (!name.empty() && name[0] != '.' && it->symlink_status(typeEc).type() == std::filesystem::file_type::directory)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tasklist
