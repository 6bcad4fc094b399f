#include "ValuesNote.h"

#include <vector>

namespace split {

namespace {

std::string counted(std::size_t n, const char* one, const char* many)
{
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

std::string valuesNote(const excel::ValuesReport& r)
{
    std::vector<std::string> dropped;
    if (r.names)
        dropped.push_back(counted(r.names, "name", "names"));
    if (r.validations)
        dropped.push_back(counted(r.validations, "validation", "validations"));
    if (r.conditionalFormats)
        dropped.push_back(counted(r.conditionalFormats, "conditional format", "conditional formats"));
    std::string note;
    if (r.formulas)
        note = counted(r.formulas, "formula", "formulas") + " written as values";
    if (!dropped.empty()) {
        std::string list;
        for (std::size_t i = 0; i < dropped.size(); ++i)
            list += (i == 0 ? "" : i + 1 == dropped.size() ? " and " : ", ") + dropped[i];
        note += (note.empty() ? "" : "; ") + list + " dropped";
    }
    return note.empty() ? note : note + " (they reach outside the sheet)";
}

}  // namespace split
