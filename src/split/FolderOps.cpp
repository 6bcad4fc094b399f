#include "FolderOps.h"

#include "platform/sys/Error.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace split {

bool FolderExists(const std::string& path)
{
    if (path.empty())
        return false;
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void CreateFolder(const std::string& path)
{
    for (const auto& part : std::filesystem::path(path)) {
        if (part == "." || part == "..")
            throw tb::Error(tb::err::PathNotFound, "Cannot make the folder '" + path + "': the name would leave its folder.");
    }
    if (::mkdir(path.c_str(), 0777) == 0)
        return;
    const int e = errno;
    if (e == EEXIST)
        throw tb::Error(58, "Cannot make the folder '" + path + "': a file of that name already exists.");
    if (e == ENOENT)
        throw tb::Error(tb::err::PathNotFound, "Cannot make the folder '" + path + "': its parent folder does not exist.");
    throw tb::fileError(e, "Cannot make the folder", path);
}

}  // namespace split
