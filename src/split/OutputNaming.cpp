#include "OutputNaming.h"

#include "platform/sys/Error.h"
#include "platform/sys/PathRules.h"

#include <cstdint>
#include <vector>

namespace split {

namespace {

// Byte offsets of the starts of the UTF-16 units of a UTF-8 string; a
// character outside the basic plane is two units that share one start, so
// that a cut between them drops the character whole.
std::vector<std::size_t> unitStarts(const std::string& s)
{
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        std::size_t len = 1;
        if (c >= 0xF0)
            len = 4;
        else if (c >= 0xE0)
            len = 3;
        else if (c >= 0xC0)
            len = 2;
        if (i + len > s.size())
            len = s.size() - i;
        starts.push_back(i);
        if (len == 4)
            starts.push_back(i);
        i += len;
    }
    return starts;
}

}  // namespace

std::string GetWorkbookShortName(const std::string& workbookName)
{
    const auto starts = unitStarts(workbookName);
    if (starts.size() > 32767)
        throw tb::Error(tb::err::Overflow, "Overflow: the workbook name '" + workbookName + "' is longer than 32767 characters.");
    const auto count = static_cast<std::int16_t>(starts.size());
    const int keep = count - 4;
    if (keep < 0)
        throw tb::Error(tb::err::InvalidArgument, "Invalid procedure call or argument: the workbook name '" + workbookName +
                                                      "' has fewer than 4 characters, so no extension can be cut from it.");
    const auto k = static_cast<std::size_t>(keep);
    if (k >= starts.size())
        return workbookName;
    // A cut inside a surrogate pair keeps neither half.
    std::size_t end = starts[k];
    return workbookName.substr(0, end);
}

std::string perWorkbookFolder(const std::string& chosenFolder, const std::string& shortName)
{
    using tb::fs::withTrailingSeparator;
    return withTrailingSeparator(withTrailingSeparator(chosenFolder) + tb::fs::trimComponent(shortName));
}

std::string sheetFileName(const std::string& folder, const std::string& sheetName, const std::string& workbook)
{
    for (char c : sheetName) {
        if (c == '/' || c == '\0')
            throw tb::Error(tb::err::EngineFailure,
                            "Cannot save the worksheet '" + std::string(sheetName.c_str()) + "' of '" + workbook +
                                "': its name holds " + (c == '/' ? "\"/\"" : "a NUL character") +
                                ", which would put the file outside the folder '" + folder + "'. Nothing was written.");
    }
    return folder + sheetName + ".xls ";
}

}  // namespace split
