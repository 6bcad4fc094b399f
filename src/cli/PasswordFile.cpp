#include "PasswordFile.h"

#include "platform/sys/Error.h"

#include <cerrno>
#include <fstream>

namespace cli {

std::vector<std::string> readPasswordFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw tb::fileError(errno, "Cannot read the password file", path);
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            out.push_back(std::move(line));
    }
    if (in.bad())
        throw tb::fileError(errno, "Cannot read the password file", path);
    return out;
}

}  // namespace cli
