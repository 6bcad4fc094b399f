#include "RowNames.h"

#include "NameTemplate.h"
#include "platform/sys/PathRules.h"
#include "split/OutputNaming.h"

#include <filesystem>
#include <unordered_map>

namespace cli {

namespace {

std::string shortNameOr(const std::string& fileName)
{
    try {
        return split::GetWorkbookShortName(fileName);
    } catch (const tb::Error&) {
        return {};  // as the run: no short name
    }
}

NameFields fieldsOf(const tasklist::TaskRow& row)
{
    const std::filesystem::path source(row.SourceFileName);
    const std::string fileName = source.filename().string();
    return {shortNameOr(fileName), source.stem().string(), row.WorkSheetName, row.SheetIndex, row.CopyExtension};
}

tb::Error sameFile(const tasklist::TaskRow& row, const tasklist::TaskRow& other, const std::string& path)
{
    return tb::Error(tb::err::EngineFailure, "Cannot save the worksheet '" + row.WorkSheetName + "' of '" +
                                                 row.SourceFileName + "': the worksheet '" + other.WorkSheetName +
                                                 "' of '" + other.SourceFileName + "' is named '" + path +
                                                 "' too. Neither is written.");
}

}  // namespace

std::vector<RowName> nameRows(const std::string& tmpl, const tasklist::TaskList& list)
{
    std::vector<RowName> names;
    std::unordered_map<std::string, std::size_t> firstOnPath;
    for (const tasklist::TaskRow& row : list.rows()) {
        RowName name;
        try {
            name.path = expandName(tmpl, fieldsOf(row), row.SourceFileName);
        } catch (const tb::Error& e) {
            name.refused = e;
        }
        if (!name.refused) {
            const auto [at, first] = firstOnPath.emplace(name.path, names.size());
            if (!first) {
                const std::size_t other = at->second;
                name.refused = sameFile(row, list.rows()[other], name.path);
                if (!names[other].refused)
                    names[other].refused = sameFile(list.rows()[other], row, name.path);
            }
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::string windowFolder(const std::string& chosenFolder, const tasklist::TaskRow& row)
{
    const std::string fileName = std::filesystem::path(row.SourceFileName).filename().string();
    return split::perWorkbookFolder(chosenFolder, shortNameOr(fileName));
}

std::string windowFile(const std::string& chosenFolder, const tasklist::TaskRow& row)
{
    const std::string folder = windowFolder(chosenFolder, row);
    const std::filesystem::path file(split::sheetFileName(folder, row.WorkSheetName, row.SourceFileName));
    return (file.parent_path() / tb::fs::trimComponent(file.filename().string())).lexically_normal().string();
}

}  // namespace cli
