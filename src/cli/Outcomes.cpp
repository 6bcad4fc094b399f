#include "Outcomes.h"

#include <cstdio>
#include <sys/stat.h>

namespace cli {

void Outcomes::emit(const SheetLine& line)
{
    std::printf("%s\n", toJson(line).c_str());
    std::fflush(stdout);
}

void Outcomes::written(const std::string& source, const std::string& sheet, const std::string& output, std::uint64_t ms)
{
    ++summary_.written;
    std::uint64_t bytes = 0;
    struct stat st {};
    if (!dryRun_ && ::stat(output.c_str(), &st) == 0)
        bytes = static_cast<std::uint64_t>(st.st_size);
    summary_.bytes += bytes;
    if (json_) {
        emit({source, sheet, output, dryRun_ ? "planned" : "written", {}, bytes, ms});
    } else {
        std::printf("%s\n", output.c_str());
        std::fflush(stdout);
    }
}

void Outcomes::skipped(const std::string& source, const std::string& sheet, const std::string& reason)
{
    ++summary_.skipped;
    if (json_)
        emit({source, sheet, {}, "skipped", reason, 0, 0});
    else if (dryRun_)
        std::fprintf(stderr, "tamberlin-split: %s: the worksheet '%s' is skipped: %s.\n", source.c_str(), sheet.c_str(),
                     reason.c_str());
}

void Outcomes::failed(const std::string& source, const std::string& sheet, const std::string& reason)
{
    ++(sheet.empty() ? summary_.workbooksFailed : summary_.failed);
    if (json_)
        emit({source, sheet, {}, "failed", reason, 0, 0});
}

void Outcomes::add(const SummaryLine& part)
{
    summary_.written += part.written;
    summary_.skipped += part.skipped;
    summary_.failed += part.failed;
    summary_.workbooksFailed += part.workbooksFailed;
    summary_.bytes += part.bytes;
}

void Outcomes::finish(std::uint64_t ms)
{
    summary_.ms = ms;
    summary_.exitStatus = exitStatus();
    if (json_) {
        std::printf("%s\n", toJson(summary_).c_str());
        std::fflush(stdout);
    }
}

}  // namespace cli
