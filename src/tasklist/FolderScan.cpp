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

// The names of the folder's entries that `keep` takes, in name order;
// hidden dot-entries never.
template <class Keep>
std::vector<std::string> namesIn(const std::string& folder, Keep keep)
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
        std::string name = it->path().filename().string();
        if (!name.empty() && name[0] != '.' && keep(*it, name))
            names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> scanFolder(const std::string& folder, const std::string& extension)
{
    return namesIn(folder, [&](const std::filesystem::directory_entry& e, const std::string& name) {
        std::error_code ec;
        return e.is_regular_file(ec) && endsWithIgnoringCase(name, extension);
    });
}

std::vector<std::string> scanSubfolders(const std::string& folder)
{
    return namesIn(folder, [](const std::filesystem::directory_entry& e, const std::string&) {
        std::error_code ec;
        return e.symlink_status(ec).type() == std::filesystem::file_type::directory;
    });
}

}  // namespace tasklist
