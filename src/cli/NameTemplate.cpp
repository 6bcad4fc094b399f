#include "NameTemplate.h"

#include "platform/sys/Error.h"

#include <optional>

namespace cli {

namespace {

// The field a placeholder names, or nothing for one that is not a field.
std::optional<std::string> field(std::string_view key, const NameFields& f)
{
    if (key == "book")
        return f.book;
    if (key == "stem")
        return f.stem;
    if (key == "sheet")
        return f.sheet;
    if (key == "index")
        return std::to_string(f.index);
    if (key == "ext")
        return f.ext;
    return std::nullopt;
}

// Calls onText for literal text and onField for each placeholder's name;
// false at the first brace that opens no placeholder.
template <typename Text, typename Field>
bool walk(const std::string& tmpl, Text onText, Field onField)
{
    for (std::size_t i = 0; i < tmpl.size();) {
        const auto open = tmpl.find('{', i);
        onText(std::string_view(tmpl).substr(i, open == std::string::npos ? std::string::npos : open - i));
        if (open == std::string::npos)
            break;
        const auto close = tmpl.find('}', open);
        if (close == std::string::npos || !onField(std::string_view(tmpl).substr(open + 1, close - open - 1)))
            return false;
        i = close + 1;
    }
    return true;
}

std::string trimmedPart(std::string part)
{
    while (!part.empty() && (part.back() == '.' || part.back() == ' '))
        part.pop_back();
    return part;
}

}  // namespace

std::string templateProblem(const std::string& tmpl)
{
    std::string problem;
    const NameFields probe;
    const bool ok = walk(
        tmpl, [](std::string_view) {},
        [&](std::string_view key) {
            if (!field(key, probe))
                problem = "unknown field {" + std::string(key) + "} in --name (known: {book} {stem} {sheet} {index} {ext})";
            return problem.empty();
        });
    if (!ok && problem.empty())
        problem = "--name has a \"{\" without its \"}\"";
    if (problem.empty() && (tmpl.empty() || tmpl.front() == '/'))
        problem = "--name must be a path under the output folder";
    return problem;
}

std::string expandName(const std::string& tmpl, const NameFields& fields, const std::string& workbook)
{
    auto refuse = [&](const std::string& why) {
        return tb::Error(tb::err::EngineFailure, "Cannot save the worksheet '" + fields.sheet + "' of '" + workbook +
                                                     "': " + why + ". Nothing was written.");
    };
    std::string path;
    walk(tmpl, [&](std::string_view text) { path += text; },
         [&](std::string_view key) {
             const auto value = field(key, fields);
             if (value->find('/') != std::string::npos || value->find('\0') != std::string::npos)
                 throw refuse("its {" + std::string(key) + "} holds \"/\" or a NUL character, which would put the file "
                              "outside its folder");
             path += *value;
             return true;
         });
    std::string out;
    for (std::size_t start = 0; start <= path.size();) {
        auto end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = trimmedPart(path.substr(start, end - start));
        if (part.empty() || part == "." || part == "..")
            throw refuse("the name \"" + path + "\" has an empty part or one that leaves the output folder");
        out += (out.empty() ? "" : "/") + part;
        start = end + 1;
    }
    return out;
}

}  // namespace cli
