#pragma once
// `--json`: one JSON object a line on standard output, for scripts.

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

// `s` as a JSON string, quotes included. Bytes that are not valid UTF-8
// become U+FFFD, so that every line parses.
std::string jsonString(std::string_view s);

struct SheetLine {
    std::string source;
    std::string sheet;
    std::string output;  // empty: null
    std::string status;  // "written", "skipped" or "failed"
    std::string reason;  // empty: null
    std::uint64_t bytes = 0;
    std::uint64_t ms = 0;
};

std::string toJson(const SheetLine& line);

struct SummaryLine {
    int written = 0;
    int skipped = 0;
    int failed = 0;
    int workbooksFailed = 0;
    std::uint64_t bytes = 0;
    std::uint64_t ms = 0;
    int exitStatus = 0;
};

std::string toJson(const SummaryLine& summary);

}  // namespace cli
