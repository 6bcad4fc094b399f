#include "JsonLines.h"

#include <cstdio>

namespace cli {

namespace {

// Length of the valid UTF-8 sequence at s[i], or 0.
std::size_t utf8Length(std::string_view s, std::size_t i)
{
    const auto b = static_cast<unsigned char>(s[i]);
    const std::size_t len = b < 0x80 ? 1 : (b >= 0xC2 && b < 0xE0) ? 2 : (b >= 0xE0 && b < 0xF0) ? 3 : (b >= 0xF0 && b < 0xF5) ? 4 : 0;
    if (len == 0 || i + len > s.size())
        return 0;
    for (std::size_t k = 1; k < len; ++k) {
        if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80)
            return 0;
    }
    return len;
}

std::string orNull(const std::string& s) { return s.empty() ? "null" : jsonString(s); }

}  // namespace

std::string jsonString(std::string_view s)
{
    std::string out = "\"";
    for (std::size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        const std::size_t len = utf8Length(s, i);
        if (len == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out.append(s.substr(i, len));
        }
        i += len;
    }
    return out + "\"";
}

std::string toJson(const SheetLine& l)
{
    return "{\"source\":" + jsonString(l.source) + ",\"sheet\":" + orNull(l.sheet) + ",\"output\":" + orNull(l.output) +
           ",\"status\":" + jsonString(l.status) + ",\"reason\":" + orNull(l.reason) +
           ",\"bytes\":" + std::to_string(l.bytes) + ",\"ms\":" + std::to_string(l.ms) + "}";
}

std::string toJson(const SummaryLine& s)
{
    return "{\"summary\":true,\"written\":" + std::to_string(s.written) + ",\"skipped\":" + std::to_string(s.skipped) +
           ",\"failed\":" + std::to_string(s.failed) + ",\"workbooks_failed\":" + std::to_string(s.workbooksFailed) +
           ",\"bytes\":" + std::to_string(s.bytes) + ",\"ms\":" + std::to_string(s.ms) +
           ",\"exit_status\":" + std::to_string(s.exitStatus) + "}";
}

}  // namespace cli
