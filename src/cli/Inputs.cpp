#include "Inputs.h"

#include "platform/sys/Error.h"
#include "platform/sys/PathRules.h"
#include "split/FolderOps.h"
#include "tasklist/FolderScan.h"

#include <filesystem>

namespace cli {

namespace {

void addFolder(excel::Application& app, tasklist::TaskList& list, const std::string& folder, bool recursive,
               tasklist::ListingReport& report)
{
    try {
        list.addFolder(app, folder, report);
        if (!recursive)
            return;
        for (const std::string& sub : tasklist::scanSubfolders(folder))
            addFolder(app, list, folder + sub + "/", recursive, report);
    } catch (const tb::Error& e) {
        report.failed(folder, e);
    }
}

}  // namespace

std::string fullPath(const std::string& p)
{
    std::error_code ec;
    auto abs = std::filesystem::absolute(p, ec);
    return (ec ? std::filesystem::path(p) : abs).lexically_normal().string();
}

void addInputs(excel::Application& app, tasklist::TaskList& list, const std::vector<std::string>& given,
               bool recursive, tasklist::ListingReport& report)
{
    for (const auto& g : given) {
        const std::string path = fullPath(g);
        if (split::FolderExists(path))
            addFolder(app, list, tb::fs::withTrailingSeparator(path), recursive, report);
        else
            list.addWorkbook(app, path, report);
    }
}

}  // namespace cli
