#include "PathRules.h"

namespace tb::fs {

std::string withTrailingSeparator(const std::string& path)
{
    if (!path.empty() && path.back() == '/')
        return path;
    return path + "/";
}

std::string trimComponent(const std::string& component)
{
    if (component == "." || component == "..")
        return component;
    std::size_t end = component.size();
    while (end > 0 && (component[end - 1] == '.' || component[end - 1] == ' '))
        --end;
    return component.substr(0, end);
}

std::string whyUnwritable(const std::filesystem::path& p)
{
    const std::string s = p.string();
    if (s.empty())
        return "the name is empty";
    for (unsigned char c : s) {
        if (c < 0x20 || c == 0x7f)
            return "the name holds a control character";
    }
    if (s.back() == '/')
        return "the name names a folder, not a file";
    if (trimComponent(p.filename().string()).empty())
        return "the name is made only of periods and blanks";
    for (const auto& part : p) {
        const std::string c = part.string();
        if (c == "/")
            continue;
        if (c == "." || c == "..")
            return "the name would leave its folder";
        if (c.size() > 255)
            return "a part of the name is longer than 255 bytes";
    }
    return {};
}

}  // namespace tb::fs
