#include "PartName.h"

#include "excel/zip/ZipReader.h"
#include "platform/sys/AsciiCase.h"

#include <vector>

namespace excel::ooxml {

std::string folderOf(const std::string& part)
{
    const auto slash = part.rfind('/');
    return slash == std::string::npos ? std::string() : part.substr(0, slash);
}

std::string relsPartOf(const std::string& part)
{
    if (part.empty())
        return "_rels/.rels";
    const auto slash = part.rfind('/');
    if (slash == std::string::npos)
        return "_rels/" + part + ".rels";
    return part.substr(0, slash) + "/_rels/" + part.substr(slash + 1) + ".rels";
}

namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string percentDecode(const std::string& s)
{
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size() + 0 && hexValue(s[i + 1]) >= 0 && hexValue(s[i + 2]) >= 0) {
            out += static_cast<char>(hexValue(s[i + 1]) * 16 + hexValue(s[i + 2]));
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

std::vector<std::string> split(const std::string& s)
{
    std::vector<std::string> parts;
    std::string cur;
    for (char c : s) {
        if (c == '/' || c == '\\') {
            parts.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    parts.push_back(cur);
    return parts;
}

}  // namespace

std::string resolveTarget(const std::string& source, const std::string& rawTarget)
{
    std::string target = percentDecode(rawTarget);
    // A fragment or query is not part of the part name.
    if (const auto hash = target.find('#'); hash != std::string::npos)
        target.resize(hash);
    std::vector<std::string> stack;
    if (target.empty() || target[0] != '/') {
        for (auto& p : split(folderOf(source))) {
            if (!p.empty())
                stack.push_back(p);
        }
    }
    for (auto& p : split(target)) {
        if (p.empty() || p == ".")
            continue;
        if (p == "..") {
            if (stack.empty())
                return {};
            stack.pop_back();
            continue;
        }
        stack.push_back(p);
    }
    std::string out;
    for (std::size_t i = 0; i < stack.size(); ++i) {
        if (i)
            out += '/';
        out += stack[i];
    }
    return out;
}

std::string relativeTarget(const std::string& source, const std::string& part)
{
    const auto from = split(folderOf(source));
    const auto to = split(part);
    std::vector<std::string> fromParts;
    for (auto& p : from) {
        if (!p.empty())
            fromParts.push_back(p);
    }
    std::size_t common = 0;
    while (common < fromParts.size() && common + 1 < to.size() && fromParts[common] == to[common])
        ++common;
    std::string out;
    for (std::size_t i = common; i < fromParts.size(); ++i)
        out += "../";
    for (std::size_t i = common; i < to.size(); ++i) {
        out += to[i];
        if (i + 1 < to.size())
            out += '/';
    }
    return out;
}

std::string extensionOf(const std::string& part)
{
    const auto slash = part.rfind('/');
    const auto dot = part.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return {};
    return tb::foldAscii(part.substr(dot + 1));
}

}  // namespace excel::ooxml
